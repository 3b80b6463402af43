#include "changes/XmemlText.h"

#include "support/Unicode.h"

namespace cutstack {

namespace {

bool isDigit(char c) { return c >= '0' && c <= '9'; }

/// The value of a hexadecimal digit, -1 for another character.
int hexValue(char c) {
    if (isDigit(c))
        return c - '0';
    if (c >= 'a' && c <= 'f')
        return c - 'a' + 10;
    return c >= 'A' && c <= 'F' ? c - 'A' + 10 : -1;
}

/// The character that the escape at `at` stands for, if one stands there.
std::optional<char> escapedCharacter(std::string_view text, std::size_t at) {
    if (at + 2 >= text.size())
        return std::nullopt;
    const int high = hexValue(text[at + 1]);
    const int low = hexValue(text[at + 2]);
    if (high < 0 || low < 0 || high > 7)
        return std::nullopt;
    return static_cast<char>(high * 16 + low);
}

} // namespace

std::optional<std::string> percentUnescaped(std::string_view text) {
    if (!isAscii(text))
        return std::nullopt;
    std::string result;
    result.reserve(text.size());
    for (std::size_t at = 0; at < text.size(); ++at) {
        if (text[at] != '%') {
            result += text[at];
            continue;
        }
        const auto character = escapedCharacter(text, at);
        if (!character)
            return std::nullopt;
        result += *character;
        at += 2;
    }
    return result;
}

std::string unescapedOrRaw(std::string_view text) {
    auto unescaped = percentUnescaped(text);
    return unescaped ? *std::move(unescaped) : std::string(text);
}

std::string_view lastPathComponent(std::string_view path) {
    const std::size_t last = path.find_last_not_of('/');
    if (last == std::string_view::npos)
        return path.substr(0, 1);
    path = path.substr(0, last + 1);
    return path.substr(path.find_last_of('/') + 1);
}

std::string fileNameOfUrl(std::string_view url) { return unescapedOrRaw(lastPathComponent(url)); }

} // namespace cutstack
