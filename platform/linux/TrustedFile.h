#pragma once

// Whether a program may be run as root: only root may be able to put another one in its place. Any
// thread.

#include <optional>
#include <string>

namespace cutstack {

/// Why the program at `path` is not to be run as root: it is missing, or it, or a folder above it,
/// belongs to another user than root or may be written to by one. Nothing when it may.
struct Distrust {
    int fault = 0; ///< as errno
    std::string reason;
};
[[nodiscard]] std::optional<Distrust> distrustOfProgram(const std::string& path);

} // namespace cutstack
