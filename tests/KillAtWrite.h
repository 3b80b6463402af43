#pragma once

// Ends a program in the middle of what it writes, to see what is left. The program is traced, with
// all its threads and the programs that it starts; each system call by which it could change a file
// is a point, and the whole program is killed at one of them, before the call takes effect.

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace cutstack {

struct TracedRun {
    bool wasKilled = false;
    std::size_t points = 0; ///< that were reached
    int status = -1;        ///< the exit status of a run that came to its end
    std::string call;       ///< the name of the call at which the run was killed
};

/// Runs `arguments[0]` with the rest as its arguments in `environment` and kills it at the point
/// with that number, counted from 1; 0 is none. Points may come in another order in each run where
/// the program has threads. Nothing where this machine does not allow tracing.
std::optional<TracedRun> runKilledAt(std::size_t point, const std::vector<std::string>& arguments,
                                     const std::vector<std::string>& environment);

} // namespace cutstack
