#include "support/WhiteSpace.h"

#include <algorithm>
#include <array>

namespace cutstack {

namespace {

using namespace std::string_view_literals;

/// Every white-space character, in UTF-8.
constexpr std::array kWhiteSpace = {
    "\t"sv,           "\n"sv,           "\v"sv,
    "\f"sv,           "\r"sv,           " "sv,
    "\xC2\x85"sv,     "\xC2\xA0"sv,     "\xE1\x9A\x80"sv,
    "\xE2\x80\x80"sv, "\xE2\x80\x81"sv, "\xE2\x80\x82"sv,
    "\xE2\x80\x83"sv, "\xE2\x80\x84"sv, "\xE2\x80\x85"sv,
    "\xE2\x80\x86"sv, "\xE2\x80\x87"sv, "\xE2\x80\x88"sv,
    "\xE2\x80\x89"sv, "\xE2\x80\x8A"sv, "\xE2\x80\xA8"sv,
    "\xE2\x80\xA9"sv, "\xE2\x80\xAF"sv, "\xE2\x81\x9F"sv,
    "\xE3\x80\x80"sv,
};

} // namespace

std::string_view trimmed(std::string_view text) {
    const auto starts = [&text](std::string_view space) { return text.starts_with(space); };
    const auto ends = [&text](std::string_view space) { return text.ends_with(space); };
    for (auto space = kWhiteSpace.begin();
         (space = std::ranges::find_if(kWhiteSpace, starts)) != kWhiteSpace.end();)
        text.remove_prefix(space->size());
    for (auto space = kWhiteSpace.begin();
         (space = std::ranges::find_if(kWhiteSpace, ends)) != kWhiteSpace.end();)
        text.remove_suffix(space->size());
    return text;
}

} // namespace cutstack
