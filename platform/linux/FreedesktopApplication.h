#pragma once

// The interface by which a session asks an application to show itself or to open files,
// org.freedesktop.Application of the Desktop Entry Specification. Functions of a message; any
// thread.

#include <optional>
#include <string>
#include <vector>

#include <systemd/sd-bus.h>

namespace cutstack {

inline constexpr auto kApplicationInterface = "org.freedesktop.Application";

/// The object that an application with that identifier offers the interface on.
[[nodiscard]] std::string applicationPath(const std::string& identifier);

/// Appends to a call of Open, signature "asa{sv}". Returns less than 0 on failure.
[[nodiscard]] int appendOpen(sd_bus_message* message, const std::vector<std::string>& paths,
                             bool inBackground);

/// Appends the last argument of all calls, the only one of Activate. Returns less than 0 on
/// failure.
[[nodiscard]] int appendPlatformData(sd_bus_message* message, bool inBackground);

/// The files of a call of Open, as absolute paths. Nothing, with the reason in `error`, when one of
/// them is not on this machine.
[[nodiscard]] std::optional<std::vector<std::string>> readPaths(sd_bus_message* message,
                                                                std::string& error);

/// What platform_data, the last argument of all calls, says about coming to the front.
[[nodiscard]] bool readInBackground(sd_bus_message* message);

} // namespace cutstack
