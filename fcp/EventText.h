#pragma once

// Texts in the forms in which events carry them. Pure functions; any thread.

#include <string>
#include <string_view>

#include "platform/SharedBytes.h"

namespace cutstack {

/// Whether all of `bytes` is UTF-8 (without surrogates and overlong forms).
[[nodiscard]] bool isUtf8(std::string_view bytes);

/// `xml` with references for what the transfer would not keep: every UTF-16 unit above 159 becomes
/// "&#N;", a surrogate pair two of them, and a carriage return becomes "&#13;". Markup stays: the
/// text is well-formed already. Bytes that are not UTF-8 count as U+FFFD; the result is UTF-8.
[[nodiscard]] std::string escapeCharactersInXMLString(std::string_view xml);

/// `text` with every byte as "%XX" but those of the characters that may stand in a URL: the
/// reserved and the unreserved ones (RFC 2396, sections 2.2 and 2.3). A per-cent sign is escaped
/// too. Any bytes are taken, as a path may have any.
[[nodiscard]] std::string addingPercentEscapes(std::string_view text);

/// `data` without the zero byte that it may end with; the bytes are shared.
[[nodiscard]] SharedBytes formatData(const SharedBytes& data);

} // namespace cutstack
