#include "support/Unicode.h"

#include <algorithm>
#include <cstdint>
#include <limits>
#include <memory>

#include <unicode/ucasemap.h>
#include <unicode/utf8.h>

namespace cutstack {

namespace {

using CaseMap = std::unique_ptr<UCaseMap, decltype(&ucasemap_close)>;
using CaseMapping = decltype(&ucasemap_utf8ToUpper);

/// Applies one of ICU's mappings; text that it cannot map (more than 2 GB) stays as it is.
std::string mapped(std::string_view text, CaseMapping mapping) {
    if (text.size() > std::numeric_limits<std::int32_t>::max() / 4)
        return std::string(text);
    UErrorCode status = U_ZERO_ERROR;
    const CaseMap map(ucasemap_open("", 0, &status), &ucasemap_close);
    if (U_FAILURE(status))
        return std::string(text);
    // No case mapping makes a text more than three times as long.
    std::string result(text.size() * 3 + 1, '\0');
    const std::int32_t length =
        mapping(map.get(), result.data(), static_cast<std::int32_t>(result.size()), text.data(),
                static_cast<std::int32_t>(text.size()), &status);
    if (U_FAILURE(status))
        return std::string(text);
    result.resize(static_cast<std::size_t>(length));
    return result;
}

/// The bytes of the character that a text begins with.
std::size_t firstCharacterLength(std::string_view text) {
    const auto length =
        static_cast<std::int32_t>(std::min<std::size_t>(text.size(), U8_MAX_LENGTH));
    std::int32_t end = 0;
    U8_FWD_1(reinterpret_cast<const std::uint8_t*>(text.data()), end, length);
    return static_cast<std::size_t>(end);
}

} // namespace

bool isAscii(std::string_view text) {
    return std::ranges::all_of(text, [](char c) { return isAscii(c); });
}

std::string withFirstCharacterUpperCased(std::string_view text) {
    if (text.empty())
        return {};
    const std::size_t first = firstCharacterLength(text);
    const std::string upper = first == 1 ? std::string(1, asciiUpper(text[0]))
                                         : mapped(text.substr(0, first), &ucasemap_utf8ToUpper);
    return upper + std::string(text.substr(first));
}

void foldCase(std::string_view text, std::string& folded) {
    if (!isAscii(text)) {
        folded = mapped(text, &ucasemap_utf8FoldCase);
        return;
    }
    folded.resize(text.size());
    std::ranges::transform(text, folded.begin(), asciiLower);
}

std::string caseFolded(std::string_view text) {
    std::string folded;
    foldCase(text, folded);
    return folded;
}

std::size_t utf16Length(std::string_view text) {
    // Every byte that begins a character is a unit; the four-byte ones begin a surrogate pair.
    return static_cast<std::size_t>(
        std::ranges::count_if(text, [](char c) { return (c & 0xC0) != 0x80; }) +
        std::ranges::count_if(text, [](char c) { return (c & 0xF8) == 0xF0; }));
}

} // namespace cutstack
