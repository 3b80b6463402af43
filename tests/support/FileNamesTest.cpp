#include "support/WildcardPaths.h"
#include "support/ZTFileManager.h"

#include <cmath>

#include "tests/support/FileManagerFixture.h"

namespace cutstack {
namespace {

namespace fs = std::filesystem;
using Paths = ZTFileManager::Paths;

TEST(FileNamesTest, WildcardsMatchWholeNames) {
    struct Case {
        const char* pattern;
        const char* name;
        bool matches;
    };
    constexpr Case kCases[] = {
        {"*", "", true},
        {"*", ".hidden", true},
        {"*.fcp", "Promo.fcp", true},
        {"*.fcp", "Promo.FCP", false},
        {"*.fcp", "Promo.fcp2", false},
        {"a*b*c", "abc", true},
        {"a*b*c", "aXbXbXc", true},
        {"a*b*c", "aXbX", false},
        {"*?", "", false},
        {"?*?", "ab", true},
        {"?*?", "a", false},
        {"?x*", "\xC3\xA4xy", true},
        {"*?x", "\xC3x", true},
        {"*\xE9", "caf\xE9", true},
        {"[a]*", "a", false},
        {"a**", "a", true},
        {"*\n*", "a\nb", true},
    };
    for (const Case& each : kCases)
        EXPECT_EQ(matchesWildcards(each.name, each.pattern), each.matches)
            << each.pattern << " " << each.name;
}

TEST(FileNamesTest, ManyWildcardsTakeNoTime) {
    std::string pattern;
    for (int i = 0; i < 100; ++i)
        pattern += "*a";
    EXPECT_FALSE(matchesWildcards(std::string(255, 'a'), pattern + "*b"));
    EXPECT_TRUE(matchesWildcards(std::string(255, 'a') + "b", pattern + "*b"));
}

class WildcardPathsTest : public FileManagerTest {};

TEST_F(WildcardPathsTest, ExpandsComponentByComponent) {
    for (const char* name :
         {"Disk B/Projects/two.fcp", "disk A/Projects/one.fcp", "disk A/Projects/.three.fcp",
          "disk A/Projects/x.txt", "Disk C/Other/four.fcp", "plain", "what?/x"})
        file(name);
    fs::create_symlink("nowhere", path("disk A/Projects/dangling.fcp"));
    const Paths all = {path("disk A/Projects/.three.fcp"), path("disk A/Projects/one.fcp"),
                       path("Disk B/Projects/two.fcp")};
    struct Case {
        std::string pattern;
        Paths found;
    };
    const Case cases[] = {
        {"*/Projects/*.fcp", all},
        {"/*/Projects//*.fcp", all},
        {"no*/Projects", {}},
        {"*/Projects/missing", {}},
        {"plain/*", {}},
        {"plai?", {path("plai?")}},
        {"what?/*", {path("what?/x")}},
        {"nothing/here", {path("nothing/here")}},
        {"/nothing", {path("nothing")}},
        {"di*A/../plain", {path("disk A/../plain")}},
    };
    for (const Case& each : cases) {
        EXPECT_EQ(ZTFileManager::filesMatchingWildcardPath(each.pattern, files), each.found)
            << each.pattern;
        EXPECT_EQ(ZTFileManager::filesMatchingWildcardPath(each.pattern, files + "/"), each.found)
            << each.pattern;
        if (each.pattern.front() == '*') { // the same without a base
            EXPECT_EQ(ZTFileManager::filesMatchingWildcardPath(path(each.pattern)), each.found);
            EXPECT_EQ(ZTFileManager::filesMatchingWildcardPath(path(each.pattern).substr(1)),
                      each.found);
        }
    }
    EXPECT_EQ(ZTFileManager::filesMatchingWildcardPath("a/b"), Paths{"a/b"});
    EXPECT_EQ(ZTFileManager::decodeWildcardPath("*/Projects/*.fcp", files), all.front());
    EXPECT_EQ(ZTFileManager::decodeWildcardPath("no*/x", files), path("no*/x"));
}

class FreeNameTest : public FileManagerTest {};

TEST_F(FreeNameTest, CountsFromTwo) {
    EXPECT_EQ(ZTFileManager::uniqueFilename(path("X")), path("X"));
    file("X");
    EXPECT_EQ(ZTFileManager::uniqueFilename(path("X")), path("X 2"));
    fs::create_symlink("nowhere", path("X 2"));
    EXPECT_EQ(ZTFileManager::uniqueFilename(path("X")), path("X 3"));
    file("Report.tar.gz");
    EXPECT_EQ(ZTFileManager::uniqueFilename(path("Report.tar.gz")), path("Report.tar 2.gz"));
    file("v1.5/.hidden");
    EXPECT_EQ(ZTFileManager::uniqueFilename(path("v1.5/.hidden")), path("v1.5/.hidden 2"));
    EXPECT_EQ(ZTFileManager::uniqueFilename(path("v1.5/")), path("v1 2.5"));
}

TEST(FileNamesTest, ValidNamesLoseWhatAPathWouldMisread) {
    const std::pair<const char*, const char*> cases[] = {
        {".hidden/na:me ", "hiddenname"},
        {".", ""},
        {"..", "."},
        {". x\n", "x"},
        {" .x", ".x"},
        {"///", ""},
        {"\xC2\xA0 a  b\t", "a  b"},
        {"a\nb", "a\nb"},
        {"", ""},
    };
    for (const auto& [name, valid] : cases)
        EXPECT_EQ(ZTFileManager::validateFilename(name), valid) << name;
}

TEST(FileNamesTest, SizesAreWrittenInStepsOf1024) {
    const std::pair<double, const char*> cases[] = {
        {0, "0 B"},
        {1023, "1023 B"},
        {1024, "1.00 KB"},
        {1048575, "1024.00 KB"},
        {1572864, "1.50 MB"},
        {1073741824, "1.00 GB"},
        {std::ldexp(1.0, 50), "1048576.00 GB"},
    };
    for (const auto& [bytes, text] : cases)
        EXPECT_EQ(ZTFileManager::formatFileSize(bytes), text);
}

} // namespace
} // namespace cutstack
