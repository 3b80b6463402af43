// What is noted about real files, byte by byte.

#include "platform/FinderMetadata.h"

#include <array>
#include <gtest/gtest.h>
#include <sys/xattr.h>

#include "tests/TemporaryFolder.h"

namespace cutstack {
namespace {

constexpr const char* kName = "user.com.apple.FinderInfo";

std::string noted(const std::string& path) {
    std::array<char, 64> bytes{};
    const ssize_t size = getxattr(path.c_str(), kName, bytes.data(), bytes.size());
    return size < 0 ? "none" : std::string(bytes.data(), static_cast<std::size_t>(size));
}

class FinderMetadataTest : public testing::Test {
protected:
    FinderMetadataTest() { writeContent(file_, "x"); }
    void SetUp() override {
        if (!note(std::string(32, '\0')))
            GTEST_SKIP() << "no extended attributes here";
        removexattr(file_.c_str(), kName);
    }
    bool note(const std::string& bytes) const {
        return setxattr(file_.c_str(), kName, bytes.data(), bytes.size(), 0) == 0;
    }

    const TemporaryFolder folder_;
    const std::string file_ = folder_ / "file";
    const FinderMetadata& metadata_ = finderMetadata();
};

TEST_F(FinderMetadataTest, ReadsTheFinders) {
    struct Case {
        std::string bytes;
        std::string type;
        std::string creator;
        unsigned flags;
    };
    const std::string rest(22, 'r');
    for (const Case& c :
         {Case{"FCPFKeyG\x80\x0E" + rest, "FCPF", "KeyG", 0x800E},
          {std::string(8, '\0') + "\x01\xFF" + rest, "", "", 0x01FF},
          {std::string("\0\0\0 KeyG\0\0", 10) + rest, std::string("\0\0\0 ", 4), "KeyG", 0},
          {"FCPFKeyG", "", "", 0},
          {std::string(33, 'x'), "", "", 0},
          {"", "", "", 0}}) {
        ASSERT_TRUE(note(c.bytes));
        EXPECT_EQ(metadata_.hfsTypeCode(file_), c.type);
        EXPECT_EQ(metadata_.hfsCreatorCode(file_), c.creator);
        EXPECT_EQ(metadata_.finderFlags(file_), c.flags);
    }
}

TEST_F(FinderMetadataTest, ChangesNothingElse) {
    EXPECT_TRUE(metadata_.setFinderFlags(file_, 0));
    EXPECT_EQ(noted(file_), "none");
    EXPECT_TRUE(metadata_.setFinderFlags(file_, 0x800E));
    EXPECT_EQ(noted(file_), std::string(8, '\0') + "\x80\x0E" + std::string(22, '\0'));
    EXPECT_TRUE(metadata_.setHfsCodes(file_, "FCPF", "KeyG"));
    EXPECT_EQ(noted(file_), "FCPFKeyG\x80\x0E" + std::string(22, '\0'));

    const std::string rest(22, 'r');
    ASSERT_TRUE(note("abcdefghij" + rest));
    std::filesystem::create_symlink("file", folder_ / "link");
    EXPECT_TRUE(metadata_.setFinderFlags(folder_ / "link", 0x0102));
    EXPECT_EQ(noted(file_), "abcdefgh\x01\x02" + rest);
    EXPECT_TRUE(metadata_.setHfsCodes(file_, "TYPE", "made"));
    EXPECT_EQ(noted(file_), "TYPEmade\x01\x02" + rest);
}

TEST_F(FinderMetadataTest, RefusesWithNothingChanged) {
    ASSERT_TRUE(note("foreign"));
    EXPECT_FALSE(metadata_.setFinderFlags(file_, 2));
    EXPECT_FALSE(metadata_.setHfsCodes(file_, "FCPF", "KeyG"));
    EXPECT_EQ(noted(file_), "foreign");
    removexattr(file_.c_str(), kName);
    for (const auto& [type, creator] : {std::pair{"FCP", "KeyG"}, {"FCPF", "KeyGs"}, {"", ""}})
        EXPECT_FALSE(metadata_.setHfsCodes(file_, type, creator)) << type;
    EXPECT_EQ(noted(file_), "none");
    for (const std::string& path : {folder_ / "missing", std::string("/proc/version")}) {
        EXPECT_FALSE(metadata_.setFinderFlags(path, 2)) << path;
        EXPECT_FALSE(metadata_.setHfsCodes(path, "FCPF", "KeyG")) << path;
        EXPECT_EQ(metadata_.hfsCreatorCode(path), "") << path;
    }
}

} // namespace
} // namespace cutstack
