#include "tools/projecthost/identity/MediumKey.h"

#include "support/Unicode.h"

#include <algorithm>
#include <cstdint>
#include <limits>
#include <optional>

#include <unicode/unorm2.h>
#include <unicode/ustring.h>

namespace cutstack::projecthost {

namespace {

std::optional<unsigned> hexDigit(char c) {
    if (c >= '0' && c <= '9')
        return static_cast<unsigned>(c - '0');
    const char lower = asciiLower(c);
    if (lower >= 'a' && lower <= 'f')
        return static_cast<unsigned>(lower - 'a') + 10;
    return std::nullopt;
}

std::string percentDecoded(std::string_view text) {
    std::string decoded;
    decoded.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '%' && i + 2 < text.size()) {
            const auto high = hexDigit(text[i + 1]);
            const auto low = hexDigit(text[i + 2]);
            if (high && low) {
                decoded += static_cast<char>(*high * 16 + *low);
                i += 2;
                continue;
            }
        }
        decoded += text[i];
    }
    return decoded;
}

bool startsWithoutCase(std::string_view text, std::string_view prefix) {
    return text.size() >= prefix.size() &&
           std::ranges::equal(text.substr(0, prefix.size()), prefix, {}, asciiLower);
}

/// The part behind scheme and host, with its leading slash; a bare path as it is.
std::string_view withoutHost(std::string_view url) {
    if (startsWithoutCase(url, "file://")) {
        const std::size_t slash = url.find('/', std::string_view("file://").size());
        return slash == std::string_view::npos ? std::string_view() : url.substr(slash);
    }
    if (startsWithoutCase(url, "file:"))
        return url.substr(std::string_view("file:").size());
    return url;
}

std::optional<std::u16string> utf16Of(std::string_view text) {
    std::u16string units(text.size(), u'\0');
    std::int32_t length = 0;
    UErrorCode status = U_ZERO_ERROR;
    u_strFromUTF8(units.data(), static_cast<std::int32_t>(units.size()), &length, text.data(),
                  static_cast<std::int32_t>(text.size()), &status);
    if (U_FAILURE(status))
        return std::nullopt;
    units.resize(static_cast<std::size_t>(length));
    return units;
}

std::optional<std::string> utf8Of(std::u16string_view units) {
    std::string text(units.size() * 3, '\0');
    std::int32_t length = 0;
    UErrorCode status = U_ZERO_ERROR;
    u_strToUTF8(text.data(), static_cast<std::int32_t>(text.size()), &length, units.data(),
                static_cast<std::int32_t>(units.size()), &status);
    if (U_FAILURE(status))
        return std::nullopt;
    text.resize(static_cast<std::size_t>(length));
    return text;
}

std::optional<std::u16string> normalised(const std::u16string& units) {
    UErrorCode status = U_ZERO_ERROR;
    const UNormalizer2* normalizer = unorm2_getNFCInstance(&status);
    // No text grows to more than three times its units.
    std::u16string result(units.size() * 3 + 1, u'\0');
    const std::int32_t length =
        U_FAILURE(status)
            ? 0
            : unorm2_normalize(normalizer, units.data(), static_cast<std::int32_t>(units.size()),
                               result.data(), static_cast<std::int32_t>(result.size()), &status);
    if (U_FAILURE(status))
        return std::nullopt;
    result.resize(static_cast<std::size_t>(length));
    return result;
}

} // namespace

std::string composed(std::string_view text) {
    if (isAscii(text) || text.size() > std::numeric_limits<std::int32_t>::max() / 4)
        return std::string(text);
    const auto units = utf16Of(text);
    const auto result = units ? normalised(*units) : std::nullopt;
    const auto utf8 = result ? utf8Of(*result) : std::nullopt;
    return utf8.value_or(std::string(text));
}

std::string pathOfUrl(std::string_view url) { return composed(percentDecoded(withoutHost(url))); }

std::string_view fileNameOfPath(std::string_view path) {
    const std::size_t slash = path.find_last_of("/\\");
    return slash == std::string_view::npos ? path : path.substr(slash + 1);
}

} // namespace cutstack::projecthost
