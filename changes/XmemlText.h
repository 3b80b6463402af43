#pragma once

// How the values of an export are read as numbers, names and paths. Pure functions; any thread.

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace cutstack {

/// The integer that a text begins with: white space, a sign, ASCII digits, as many as there are;
/// 0 when there are none. Clamped to 32 bits.
[[nodiscard]] std::int32_t integerValue(std::string_view text);

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

/// Sum and difference of 32-bit frame counts; they wrap instead of overflowing.
[[nodiscard]] std::int32_t wrappingSum(std::int32_t a, std::int32_t b);
[[nodiscard]] std::int32_t wrappingDifference(std::int32_t a, std::int32_t b);

} // namespace cutstack
