#include "platform/linux/FileUri.h"

#include <algorithm>

namespace cutstack {

namespace {

constexpr std::string_view kScheme = "file:";
constexpr std::string_view kUpperHexDigits = "0123456789ABCDEF";
constexpr std::string_view kStandForThemselves = "ABCDEFGHIJKLMNOPQRSTUVWXYZ"
                                                 "abcdefghijklmnopqrstuvwxyz"
                                                 "0123456789-._~/";

char lowerCased(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

/// Takes `prefix`, in lower case, off the front of `text`, whatever its case there.
bool takePrefix(std::string_view& text, std::string_view prefix) {
    const auto agrees = [](char expected, char c) { return expected == lowerCased(c); };
    if (text.size() < prefix.size() ||
        !std::equal(prefix.begin(), prefix.end(), text.begin(), agrees))
        return false;
    text.remove_prefix(prefix.size());
    return true;
}

std::optional<unsigned> hexDigit(char c) {
    if (c >= '0' && c <= '9')
        return static_cast<unsigned>(c - '0');
    const char lower = lowerCased(c);
    if (lower >= 'a' && lower <= 'f')
        return static_cast<unsigned>(lower - 'a') + 10U;
    return std::nullopt;
}

/// The byte that the two digits behind a per-cent sign stand for; no path has a NUL in it.
std::optional<char> escapedByte(std::string_view digits) {
    if (digits.size() < 2)
        return std::nullopt;
    const auto high = hexDigit(digits[0]);
    const auto low = hexDigit(digits[1]);
    if (!high || !low || *high + *low == 0)
        return std::nullopt;
    return static_cast<char>(static_cast<unsigned char>(*high << 4U | *low));
}

std::optional<std::string> unescaped(std::string_view text) {
    std::string result;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '%') {
            result += text[i];
            continue;
        }
        const auto byte = escapedByte(text.substr(i + 1, 2));
        if (!byte)
            return std::nullopt;
        result += *byte;
        i += 2;
    }
    return result;
}

} // namespace

std::string fileUri(std::string_view path) {
    std::string uri = "file://";
    for (const char c : path) {
        if (kStandForThemselves.find(c) != std::string_view::npos) {
            uri += c;
            continue;
        }
        const auto byte = static_cast<unsigned char>(c);
        uri += {'%', kUpperHexDigits[byte >> 4U], kUpperHexDigits[byte & 0xFU]};
    }
    return uri;
}

std::optional<std::string> pathOfFileUri(std::string_view uri) {
    if (!takePrefix(uri, kScheme))
        return std::nullopt;
    if (uri.starts_with("//")) {
        uri.remove_prefix(2);
        takePrefix(uri, "localhost");
    }
    // A query or fragment is no part of a file's name; a name with such a letter has it escaped.
    if (!uri.starts_with('/') || uri.find_first_of("?#") != std::string_view::npos)
        return std::nullopt;
    return unescaped(uri);
}

} // namespace cutstack
