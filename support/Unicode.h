#pragma once

// The few questions about Unicode text that the program asks, answered by ICU. Texts are UTF-8; a
// byte that is not may come back as U+FFFD. Pure functions; any thread.

#include <cstddef>
#include <string>
#include <string_view>

namespace cutstack {

[[nodiscard]] constexpr char asciiUpper(char c) {
    return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
}
[[nodiscard]] constexpr char asciiLower(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}
[[nodiscard]] constexpr bool isAscii(char c) {
    return (static_cast<unsigned char>(c) & 0x80U) == 0;
}
/// Whether every character is ASCII.
[[nodiscard]] bool isAscii(std::string_view text);

/// `text` with its first character in upper case, by Unicode's full mapping ("ß" becomes "SS").
[[nodiscard]] std::string withFirstCharacterUpperCased(std::string_view text);

/// `text` prepared for a comparison that ignores case: two texts are equal without regard to case
/// exactly when their folded forms are equal.
[[nodiscard]] std::string caseFolded(std::string_view text);

/// The same into a text whose memory is used again, for many texts after one another.
void foldCase(std::string_view text, std::string& folded);

/// The length of `text` in UTF-16 units, which is what rules that count characters count.
[[nodiscard]] std::size_t utf16Length(std::string_view text);

} // namespace cutstack
