#pragma once

// What this process was given: its user, its folders, its executable. Paths are absolute and have
// no slash at the end (but "/" itself). Any thread; nothing here changes while the process lives,
// except what globallyUniqueString() answers.

#include <optional>
#include <string>

namespace cutstack {

class ProcessEnvironment {
public:
    virtual ~ProcessEnvironment() = default;

    /// Whether the process runs with user id 0.
    [[nodiscard]] virtual bool isRoot() const = 0;

    /// The short name of the user that the process runs as; nothing for an id without a name.
    [[nodiscard]] virtual std::optional<std::string> userName() const = 0;

    /// The home folder that the environment names, else the one in the user database.
    [[nodiscard]] virtual std::optional<std::string> homeFolder() const = 0;

    /// The folder that stands in for "/" as the root of everything that no user owns; nothing
    /// where it is "/" itself.
    [[nodiscard]] virtual std::optional<std::string> localRoot() const = 0;

    [[nodiscard]] virtual std::string temporaryFolder() const = 0;

    /// The running executable, links resolved; empty when the system cannot tell.
    [[nodiscard]] virtual std::string executablePath() const = 0;

    /// A string that no other call, process or machine gives.
    [[nodiscard]] virtual std::string globallyUniqueString() const = 0;
};

/// This process's environment. Lives as long as the process.
[[nodiscard]] ProcessEnvironment& processEnvironment();

} // namespace cutstack
