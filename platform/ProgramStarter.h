#pragma once

// Starting another program and waiting for its end. Any thread.

#include <optional>
#include <string>
#include <vector>

namespace cutstack {

/// How a program ended. `exitStatus` is missing when it could not be started, with the system's
/// wording in `error`; a program that a signal ended has 128 plus the signal's number.
struct ProgramEnd {
    std::optional<int> exitStatus;
    std::string error;
};

class ProgramStarter {
public:
    virtual ~ProgramStarter() = default;

    /// Runs the program at `path` with `arguments` (its own name not among them) and returns when
    /// it has ended. No shell is involved. The program gets this process's environment, its
    /// standard input, output and error, and no other open file.
    [[nodiscard]] virtual ProgramEnd run(const std::string& path,
                                         const std::vector<std::string>& arguments) = 0;
};

/// Starts real processes. Lives as long as the process.
[[nodiscard]] ProgramStarter& programStarter();

} // namespace cutstack
