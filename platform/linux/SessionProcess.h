#pragma once

// Processes that stand on their own: in a session of their own, out of reach of our terminal and
// its signals, with an environment that is told, signals as in a fresh process and no file open
// but three streams. Any thread.

#include <array>
#include <string>
#include <vector>

#include <sys/types.h>

namespace cutstack {

/// Standard input, output and error; -1 is the null device, other numbers are above those three.
using StandardStreams = std::array<int, 3>;

/// Starts the program that `words` begin with. Returns 0 with the new process in `process`, which
/// is then the caller's to wait for, or the number of the fault.
[[nodiscard]] int startInOwnSession(std::vector<std::string> words,
                                    std::vector<std::string> environment,
                                    const StandardStreams& streams, pid_t& process);

/// Waits for the end of the process; its exit status, 128 plus the number of the signal that ended
/// it, or -1, with errno, when it is none of ours.
[[nodiscard]] int exitStatusOf(pid_t process);

} // namespace cutstack
