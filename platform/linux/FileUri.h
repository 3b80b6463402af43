#pragma once

// Files as "file:" URIs (RFC 8089), the form in which the desktop's interfaces name them. Pure; any
// thread.

#include <optional>
#include <string>
#include <string_view>

namespace cutstack {

/// The URI of the file at `path`, which is absolute.
[[nodiscard]] std::string fileUri(std::string_view path);

/// The absolute path that a "file:" URI of this machine names, with no host or "localhost";
/// nothing for anything else.
[[nodiscard]] std::optional<std::string> pathOfFileUri(std::string_view uri);

} // namespace cutstack
