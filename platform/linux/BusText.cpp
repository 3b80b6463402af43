#include "platform/linux/BusText.h"

#include <algorithm>

namespace cutstack {

namespace {

/// How many bytes the character has that `lead` begins; 0 when it begins none.
std::size_t lengthOf(unsigned char lead) {
    if (lead < 0x80U)
        return lead == 0 ? 0 : 1;
    if (lead < 0xC2U || lead > 0xF4U)
        return 0;
    return lead < 0xE0U ? 2 : lead < 0xF0U ? 3 : 4;
}

/// What the second byte may be: this rules out characters written longer than they need be,
/// surrogates, and what is beyond U+10FFFF (The Unicode Standard, table 3-7).
bool maySecond(unsigned char lead, unsigned char second) {
    const unsigned least = lead == 0xE0U ? 0xA0U : lead == 0xF0U ? 0x90U : 0x80U;
    const unsigned most = lead == 0xEDU ? 0x9FU : lead == 0xF4U ? 0x8FU : 0xBFU;
    return second >= least && second <= most;
}

/// The bytes of the character that `text` begins with; 0 when it begins with none.
std::size_t characterLength(std::string_view text) {
    const auto lead = static_cast<unsigned char>(text.front());
    const std::size_t length = lengthOf(lead);
    if (length < 2)
        return length;
    const auto isFollower = [](char c) { return (static_cast<unsigned char>(c) & 0xC0U) == 0x80U; };
    const std::string_view followers = text.substr(1, length - 1);
    const bool isWhole = followers.size() == length - 1 &&
                         std::all_of(followers.begin(), followers.end(), isFollower) &&
                         maySecond(lead, static_cast<unsigned char>(followers.front()));
    return isWhole ? length : 0;
}

} // namespace

std::string busText(std::string_view text) {
    std::string result;
    while (!text.empty()) {
        const std::size_t length = characterLength(text);
        if (length == 0)
            result += '?';
        else
            result += text.substr(0, length);
        text.remove_prefix(std::max<std::size_t>(1, length));
    }
    return result;
}

} // namespace cutstack
