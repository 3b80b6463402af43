#include "support/Format.h"

#include <gtest/gtest.h>

#include <limits>
#include <vector>

namespace cutstack {
namespace {

TEST(Format, FillsPlaceholdersInOrder) {
    struct Case {
        const char* format;
        std::vector<FormatArgument> arguments;
        const char* text;
    };
    for (const Case& c : {
             Case{"%@ added to %s", {"a", "b"}, "a added to b"},
             {"%i %d %llu",
              {-1, 2, std::numeric_limits<std::uint64_t>::max()},
              "-1 2 18446744073709551615"},
             {"%lli", {std::numeric_limits<std::int64_t>::min()}, "-9223372036854775808"},
             {"%05i|%05i|%3i|%x", {42, -42, 7, 255U}, "00042|-0042|  7|ff"},
             {"%0.2f|%f|%.0f", {3.14159, 1.5, 2.5}, "3.14|1.500000|2"},
             {"100%% of %@", {"x"}, "100% of x"},
             {"%@ and %@", {"one"}, "one and "},
             {"plain", {"unused"}, "plain"},
             {"50% done, %", {"x"}, "50% done, %"},
             {"%@", {"%@"}, "%@"},
             {"%@ %@", {7, 2.5}, "7 2.500000"},
             {"%i", {"text"}, "text"},
             {"\xC3\xBC%@\xC3\xBC", {"\xF0\x9F\x8E\xAC"}, "\xC3\xBC\xF0\x9F\x8E\xAC\xC3\xBC"},
             {"", {}, ""},
         })
        EXPECT_EQ(formatString(c.format, c.arguments), c.text) << c.format;
}

TEST(Format, AHugeWidthIsBounded) {
    EXPECT_LE(formatString("%99999999999i", {1}).size(), 1000U);
    EXPECT_LE(formatString("%.99999999999f", {1.0}).size(), 1000U);
}

} // namespace
} // namespace cutstack
