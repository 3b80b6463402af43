#include "store/BackupPolicy.h"

#include <gtest/gtest.h>

namespace cutstack {
namespace {

constexpr std::uint64_t kMegabyte = 1024 * 1024;

TEST(BackupPolicy, DecidesBySettingGapAndSize) {
    struct Case {
        std::int64_t xmlLimit;
        XmlCopyCase about;
        XmlCopyDecision expected;
    };
    using enum XmlCopyDecision;
    const Case cases[] = {
        {0, {5, 10, true}, skipDisabled},
        {1, {0, 10, false}, skipGap},
        {1, {1, 10, false}, skipGap},
        {1, {2, 10, false}, make},
        {1, {1, 10, true}, skipGap}, // a sequence lifts only the size limit
        {1, {2, kMegabyte, false}, skipSize},
        {1, {2, kMegabyte, true}, make},
        {2, {2, 3 * kMegabyte - 1, false}, make},
        {3, {0, 10, false}, skipGap},
        {3, {1, 5 * kMegabyte, false}, skipSize},
        {4, {1, 10 * kMegabyte - 1, false}, make},
        {5, {0, 15 * kMegabyte - 1, false}, make},
        {5, {0, 20 * kMegabyte, false}, skipSize},
        {6, {0, 20 * kMegabyte, false}, skipSize},
        {7, {0, 30 * kMegabyte - 1, false}, make},
        {8, {0, 1'000 * kMegabyte, false}, make},
        {-1, {0, 1'000 * kMegabyte, false}, make},
    };
    for (const Case& c : cases)
        EXPECT_EQ(decideXmlCopy(xmlCopyPolicy(c.xmlLimit), c.about), c.expected)
            << c.xmlLimit << " " << c.about.gap << " " << c.about.projectSizeInBytes;
}

} // namespace
} // namespace cutstack
