#include "support/Numbers.h"

#include <algorithm>
#include <limits>

namespace cutstack {

namespace {

bool isDigit(char c) { return c >= '0' && c <= '9'; }

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

std::int32_t wrappingSum(std::int32_t a, std::int32_t b) {
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(a) + static_cast<std::uint32_t>(b));
}

std::int32_t wrappingDifference(std::int32_t a, std::int32_t b) {
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(a) - static_cast<std::uint32_t>(b));
}

} // namespace cutstack
