#pragma once

// Where a medium lies, written so that two ways of writing the same place are the same text. Pure
// functions; any thread.

#include <string>
#include <string_view>

namespace cutstack::projecthost {

/// `text` in Unicode's composed form (NFC): Mac file systems decompose names, most others do not.
/// Bytes that are not UTF-8 stay as they are.
[[nodiscard]] std::string composed(std::string_view text);

/// The path that a `pathurl` names: scheme and host gone ("file://localhost/", "file:///" and a
/// bare path are the same), percent escapes replaced (RFC 3986; a per-cent sign that begins none
/// stays), composed. Empty for an empty URL.
[[nodiscard]] std::string pathOfUrl(std::string_view url);

/// What stands behind the last slash or backslash of a path.
[[nodiscard]] std::string_view fileNameOfPath(std::string_view path);

} // namespace cutstack::projecthost
