#include "support/TextDecoding.h"

#include "support/Unicode.h"

#include <cstdint>
#include <unicode/utf8.h>

namespace cutstack {

namespace {

bool isUtf8(std::string_view bytes) {
    const auto* const text = reinterpret_cast<const std::uint8_t*>(bytes.data());
    for (std::size_t at = 0; at < bytes.size();) {
        UChar32 character = 0;
        U8_NEXT(text, at, bytes.size(), character);
        if (character < 0)
            return false;
    }
    return true;
}

/// Latin 1 is the first 256 characters of Unicode.
std::string fromLatin1(std::string_view bytes) {
    std::string text;
    text.reserve(bytes.size());
    for (const char byte : bytes) {
        if (isAscii(byte)) {
            text.push_back(byte);
        } else {
            const unsigned character = static_cast<unsigned char>(byte);
            text.push_back(static_cast<char>(0xC0U | (character >> 6U)));
            text.push_back(static_cast<char>(0x80U | (character & 0x3FU)));
        }
    }
    return text;
}

} // namespace

std::optional<std::string> decodedText(std::string_view bytes, StringEncoding encoding) {
    switch (encoding) {
    case StringEncoding::ascii:
        return isAscii(bytes) ? std::optional(std::string(bytes)) : std::nullopt;
    case StringEncoding::utf8:
        return isUtf8(bytes) ? std::optional(std::string(bytes)) : std::nullopt;
    case StringEncoding::isoLatin1:
        return fromLatin1(bytes);
    }
    return std::nullopt;
}

} // namespace cutstack
