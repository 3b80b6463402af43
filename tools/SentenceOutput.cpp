#include "tools/SentenceOutput.h"

#include "support/Format.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <unicode/utf8.h>

namespace cutstack {

namespace {

/// Characters that would do something instead of being seen: controls, and those that break lines
/// or turn the direction of writing around.
struct Range {
    UChar32 first;
    UChar32 last;
};
constexpr std::array kInvisible = {Range{0x00, 0x08}, Range{0x0A, 0x1F}, Range{0x7F, 0x9F},
                                   Range{0x2028, 0x202E}, Range{0x2066, 0x2069}};

bool isInvisible(UChar32 character) {
    return std::ranges::any_of(kInvisible, [character](const Range& range) {
        return character >= range.first && character <= range.last;
    });
}

std::string escaped(UChar32 character) {
    if (character == '\n')
        return "\\n";
    if (character == '\r')
        return "\\r";
    return formatString(character < 0x80 ? "\\x%0.2x" : "\\u%0.4x", {character});
}

} // namespace

std::string onOneLine(std::string_view sentence) {
    std::string line;
    line.reserve(sentence.size());
    const auto* bytes = reinterpret_cast<const std::uint8_t*>(sentence.data());
    for (std::size_t at = 0; at < sentence.size();) {
        const std::size_t begin = at;
        UChar32 character = 0;
        U8_NEXT(bytes, at, sentence.size(), character);
        if (isInvisible(character))
            line += escaped(character);
        else
            line += sentence.substr(begin, at - begin);
    }
    return line;
}

bool printSentences(std::ostream& out, std::span<const std::string> sentences) {
    for (const std::string& sentence : sentences)
        out << onOneLine(sentence) << '\n';
    out.flush();
    return static_cast<bool>(out);
}

} // namespace cutstack
