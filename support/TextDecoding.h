#pragma once

// Bytes of other programs as text. Pure; any thread.

#include <optional>
#include <string>
#include <string_view>

namespace cutstack {

/// The platform's numbers for encodings of text (NSStringEncoding).
enum class StringEncoding : unsigned long { ascii = 1, utf8 = 4, isoLatin1 = 5 };

/// `bytes` as UTF-8; nothing when they are no text in that encoding, or it is another one than the
/// three.
[[nodiscard]] std::optional<std::string> decodedText(std::string_view bytes,
                                                     StringEncoding encoding);

} // namespace cutstack
