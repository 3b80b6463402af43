#pragma once

// How the values of an export are read as names and paths. Pure functions; any thread.

#include <optional>
#include <string>
#include <string_view>

namespace cutstack {

/// `text` with its percent escapes (RFC 3986) replaced, all of them or none: nothing when a
/// per-cent sign begins no escape, or when the text or the result is not ASCII.
[[nodiscard]] std::optional<std::string> percentUnescaped(std::string_view text);

/// percentUnescaped(), or the text as it is where that is not possible.
[[nodiscard]] std::string unescapedOrRaw(std::string_view text);

/// The part of a path behind its last slash; slashes at the end do not count. "/" for a path of
/// slashes alone.
[[nodiscard]] std::string_view lastPathComponent(std::string_view path);

/// The file name at the end of an escaped URL, readable: "file:///Media/My%20Clip.mov" gives
/// "My Clip.mov".
[[nodiscard]] std::string fileNameOfUrl(std::string_view url);

} // namespace cutstack
