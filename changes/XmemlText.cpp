#include "changes/XmemlText.h"

#include <algorithm>
#include <limits>

namespace cutstack {

namespace {

bool isDigit(char c) { return c >= '0' && c <= '9'; }
bool isAscii(char c) { return (static_cast<unsigned char>(c) & 0x80) == 0; }

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

std::int32_t integerValue(std::string_view text) {
    constexpr std::int64_t least = std::numeric_limits<std::int32_t>::min();
    constexpr std::int64_t most = std::numeric_limits<std::int32_t>::max();
    std::size_t at = std::min(text.find_first_not_of(" \t\r\n\v\f"), text.size());
    const bool negative = at < text.size() && text[at] == '-';
    if (at < text.size() && (text[at] == '-' || text[at] == '+'))
        ++at;
    std::int64_t value = 0;
    for (; at < text.size() && isDigit(text[at]); ++at)
        value = std::min(value * 10 + (text[at] - '0'), most + 1);
    return static_cast<std::int32_t>(std::clamp(negative ? -value : value, least, most));
}

std::optional<std::string> percentUnescaped(std::string_view text) {
    if (!std::ranges::all_of(text, isAscii))
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

std::int32_t wrappingSum(std::int32_t a, std::int32_t b) {
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(a) + static_cast<std::uint32_t>(b));
}

std::int32_t wrappingDifference(std::int32_t a, std::int32_t b) {
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(a) - static_cast<std::uint32_t>(b));
}

} // namespace cutstack
