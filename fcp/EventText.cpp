#include "fcp/EventText.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include <unicode/utf16.h>
#include <unicode/utf8.h>

#include "support/Unicode.h"

namespace cutstack {

namespace {

/// Units up to this one pass as they are, the carriage return apart.
constexpr std::uint32_t kLastPlainUnit = 159;

constexpr std::string_view kReserved = ";/?:@&=+$,";
constexpr std::string_view kUnreservedMarks = "-_.!~*'()";

/// The character that `text` has at `position`, which moves behind it; -1 for bytes that are none.
std::int32_t nextCharacter(std::string_view text, std::size_t& position) {
    const auto* bytes = reinterpret_cast<const std::uint8_t*>(text.data());
    std::int32_t character = 0;
    U8_NEXT(bytes, position, text.size(), character);
    return character;
}

void appendReference(std::uint32_t unit, std::string& escaped) {
    escaped.append("&#").append(std::to_string(unit)).append(";");
}

void appendCharacter(std::int32_t character, std::string_view bytes, std::string& escaped) {
    constexpr std::int32_t kReplacement = 0xFFFD;
    const std::int32_t known = character < 0 ? kReplacement : character;
    if (U_IS_SUPPLEMENTARY(known)) {
        appendReference(U16_LEAD(known), escaped);
        appendReference(U16_TRAIL(known), escaped);
    } else if (const auto unit = static_cast<std::uint32_t>(known);
               unit > kLastPlainUnit || unit == '\r') {
        appendReference(unit, escaped);
    } else {
        escaped += bytes;
    }
}

bool isAsciiLetterOrDigit(char c) {
    const char letter = asciiLower(c);
    return (letter >= 'a' && letter <= 'z') || (c >= '0' && c <= '9');
}

bool isLegalInUrl(char c) {
    return isAsciiLetterOrDigit(c) || kReserved.find(c) != std::string_view::npos ||
           kUnreservedMarks.find(c) != std::string_view::npos;
}

} // namespace

bool isUtf8(std::string_view bytes) {
    for (std::size_t position = 0; position < bytes.size();) {
        if (isAscii(bytes[position]))
            ++position;
        else if (nextCharacter(bytes, position) < 0)
            return false;
    }
    return true;
}

std::string escapeCharactersInXMLString(std::string_view xml) {
    const auto isPlain = [](char c) { return isAscii(c) && c != '\r'; };
    std::string escaped;
    escaped.reserve(xml.size());
    for (std::size_t position = 0; position < xml.size();) {
        const std::size_t start = position;
        position = static_cast<std::size_t>(
            std::find_if_not(xml.begin() + static_cast<std::ptrdiff_t>(start), xml.end(), isPlain) -
            xml.begin());
        escaped += xml.substr(start, position - start);
        if (position == xml.size())
            break;
        const std::size_t special = position;
        const std::int32_t character = nextCharacter(xml, position);
        appendCharacter(character, xml.substr(special, position - special), escaped);
    }
    return escaped;
}

std::string addingPercentEscapes(std::string_view text) {
    constexpr std::string_view kDigits = "0123456789ABCDEF";
    std::string escaped;
    for (const char c : text) {
        if (isLegalInUrl(c)) {
            escaped += c;
            continue;
        }
        const auto byte = static_cast<unsigned char>(c);
        escaped.append({'%', kDigits[byte >> 4U], kDigits[byte & 0xFU]});
    }
    return escaped;
}

SharedBytes formatData(const SharedBytes& data) {
    const std::string_view bytes = data.view();
    return bytes.ends_with('\0') ? data.first(bytes.size() - 1) : data;
}

} // namespace cutstack
