#include "support/DateDescription.h"

#include <gtest/gtest.h>

namespace cutstack {
namespace {

TEST(DateDescription, HasDateTimeAndZone) {
    using namespace std::chrono;
    struct Case {
        seconds sinceEpoch;
        minutes zone;
        const char* text;
    };
    for (const Case& c : {
             Case{seconds(1268582709), minutes(60), "2010-03-14 17:05:09 +0100"},
             {seconds(1268582709), minutes(0), "2010-03-14 16:05:09 +0000"},
             {seconds(1268582709), -minutes(210), "2010-03-14 12:35:09 -0330"},
             {seconds(1268611200), -minutes(30), "2010-03-14 23:30:00 -0030"},
             {seconds(-1), minutes(0), "1969-12-31 23:59:59 +0000"},
             {seconds(4107542400), minutes(345), "2100-03-01 05:45:00 +0545"},
         }) {
        EXPECT_EQ(dateDescription(system_clock::time_point(c.sinceEpoch), c.zone), c.text);
    }
    EXPECT_EQ(dateDescription(system_clock::time_point(-milliseconds(1)), seconds(0)),
              "1969-12-31 23:59:59 +0000");
}

} // namespace
} // namespace cutstack
