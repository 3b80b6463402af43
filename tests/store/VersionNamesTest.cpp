#include "store/VersionNames.h"

#include <gtest/gtest.h>
#include <limits>

#include "tests/TemporaryFolder.h"

namespace cutstack {
namespace {

constexpr std::int32_t kLeast = std::numeric_limits<std::int32_t>::min();
constexpr std::int32_t kMost = std::numeric_limits<std::int32_t>::max();

TEST(VersionNames, NumbersArePadded) {
    const struct {
        std::int32_t number;
        std::string_view padded;
    } cases[] = {{0, "00000"},          {9, "00009"},
                 {10, "00010"},         {99, "00099"},
                 {100, "00100"},        {999, "00999"},
                 {1000, "01000"},       {9999, "09999"},
                 {10000, "10000"},      {123456, "123456"},
                 {-1, "0000-1"},        {-100, "0000-100"},
                 {kMost, "2147483647"}, {kLeast, "0000-2147483648"}};
    for (const auto& [number, padded] : cases)
        EXPECT_EQ(padNumber(number), padded);
}

TEST(VersionNames, SizesAtTheBordersOfTheirUnits) {
    const struct {
        std::uint64_t size;
        std::string_view text;
    } cases[] = {{0, "0 B"},
                 {1023, "1023 B"},
                 {1024, "1.00 KB"},
                 {1536, "1.50 KB"},
                 {1048575, "1024.00 KB"},
                 {1048576, "1.00 MB"},
                 {83886080, "80.00 MB"},
                 {1073741823, "1024.00 MB"},
                 {1073741824, "1.00 GB"},
                 {std::uint64_t{5} << 40U, "5120.00 GB"},
                 {std::numeric_limits<std::uint64_t>::max(), "17179869184.00 GB"}};
    for (const auto& [size, text] : cases)
        EXPECT_EQ(formatFileSize(size), text);
}

TEST(VersionNames, CopiesAreNamedAfterTheStem) {
    const struct {
        std::string_view project, stem;
    } cases[] = {{"/films/Promo.fcp", "Promo"},      {"Promo.final.fcp", "Promo"},
                 {"Promo.v1.final.fcp", "Promo.v1"}, {"Promo", "Promo"},
                 {"/films.2010/Promo", "Promo"},     {".fcp", ".fcp"}};
    for (const auto& [project, stem] : cases)
        EXPECT_EQ(stemOfProject(project), stem) << project;
    EXPECT_EQ(projectCopyName("Promo", 7), "Promo.00007.fcp");
    EXPECT_EQ(xmlCopyName("100%@", 123456), "100%@.123456.xml");
}

TEST(VersionNames, NumbersAreReadBack) {
    const struct {
        std::string_view path, version;
        std::int32_t number;
    } cases[] = {{"/v/Promo.fcp/Promo.00012.xml", "00012", 12},
                 {"Promo.0000-1.fcp", "0000-1", 0},
                 {"Promo.-3.fcp", "-3", -3},
                 {"Promo.v1.00007.XML", "00007", 7},
                 {"Promo.123456.fcp", "123456", 123456},
                 {"Promo.12b.xml", "12b", 12},
                 {"Promo.final.xml", "final", 0},
                 {"Promo.xml", "", 0},
                 {"Promo.00012", "", 0},
                 {"/v/Promo.00012/Promo.xml", "", 0},
                 {".00012.xml", "", 0},
                 {"Promo..xml", "", 0},
                 {"Promo.99999999999.xml", "99999999999", kMost}};
    for (const auto& [path, version, number] : cases) {
        EXPECT_EQ(versionOfFile(path), version) << path;
        EXPECT_EQ(versionNumberOfFile(path), number) << path;
    }
}

TEST(VersionNames, GapsAreTheVersionsBelowWithoutXmlCopies) {
    const TemporaryFolder folder;
    for (const std::string_view name :
         {"Promo.00001.xml", "Promo.00003.fcp", "Promo.00004.XML", "Promo.00006.xml",
          "Other.00005.xml", "Cut.final.00002.xml", "Cut.00003.xml"})
        writeContent(folder / name, "");
    const struct {
        std::string_view project;
        std::int32_t desired, gap;
    } cases[] = {{"/films/Promo.fcp", kLeast, 0},
                 {"Promo.fcp", -1, 0},
                 {"Promo.fcp", 0, 0},
                 {"Promo.fcp", 1, 0},
                 {"Promo.fcp", 2, 0},
                 {"Promo.fcp", 3, 1},
                 {"/films/Promo.fcp", 6, 4},
                 {"Promo.fcp", 7, 0},
                 {"Promo.fcp", 9, 2},
                 {"New.fcp", 4, 3},
                 // Its own copies are named Cut.N.xml, but the gap looks for Cut.final.N.xml.
                 {"Cut.final.fcp", 4, 1}};
    for (const auto& [project, desired, gap] : cases)
        EXPECT_EQ(backupGapForProject(project, folder.path(), desired), gap)
            << project << ' ' << desired;
    EXPECT_EQ(backupGapForProject("Promo.fcp", folder / "missing", 4), 3);
    EXPECT_EQ(backupGapForProject("Promo.fcp", folder.path(), kMost), kMost - 7)
        << "found at once, however large the number";
}

} // namespace
} // namespace cutstack
