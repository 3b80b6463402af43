#pragma once

// Who sits at the machine: its screen and keyboard, not a remote login. Any thread; the answers
// change as people log in and out.

#include <optional>
#include <string>

namespace cutstack {

/// What userAtConsole() answers while the login screen shows.
inline constexpr const char* kLoginWindowUser = "loginwindow";

class Console {
public:
    virtual ~Console() = default;

    /// The short name of the user who has the console now; kLoginWindowUser for the login screen,
    /// nothing where nobody is logged in or the machine has no console.
    [[nodiscard]] virtual std::optional<std::string> userAtConsole() const = 0;

    /// The home folder of a named user, by the user database.
    [[nodiscard]] virtual std::optional<std::string>
    homeFolderOf(const std::string& userName) const = 0;
};

/// The console of this machine. Lives as long as the process.
[[nodiscard]] Console& systemConsole();

} // namespace cutstack
