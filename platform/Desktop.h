#pragma once

// The user's session: which applications run, starting one, having one open a file. Applications
// are named by their identifiers ("com.apple.FinalCutPro"). Any thread.

#include <string>
#include <vector>

namespace cutstack {

enum class LaunchOptions {
    launchDefault,    ///< without waiting for it; it comes to the front
    withoutActivation ///< the same in the background
};

class Desktop {
public:
    virtual ~Desktop() = default;

    /// Whether the application runs; an application that is only just starting does not.
    [[nodiscard]] virtual bool isRunning(const std::string& identifier) = 0;

    /// Has the application open the file at `path`, starting it if need be through the session's
    /// own activation, else from `executable` (empty: it has none) with the path as its argument.
    /// With an empty path the application is started, or brought to the front, without a file and
    /// without an argument; with an empty identifier there is only the executable.
    /// Returns as soon as the request is on its way. On failure, as when nothing is known by which
    /// it could be started, returns false with the reason in `error`.
    [[nodiscard]] virtual bool open(const std::string& path, const std::string& identifier,
                                    const std::string& executable, LaunchOptions options,
                                    std::string& error) = 0;

    /// Has the user's preferred application open the file.
    [[nodiscard]] virtual bool openWithPreferred(const std::string& path, std::string& error) = 0;

    /// Shows the file in the file manager.
    [[nodiscard]] virtual bool reveal(const std::string& path, std::string& error) = 0;

    /// Turns this process into an application with a window of its own in the session's eyes.
    /// Returns 0, or the system's number for a failure.
    virtual int becomeForegroundApplication() = 0;
};

/// The session of this process. Lives as long as the process.
[[nodiscard]] Desktop& desktop();

} // namespace cutstack
