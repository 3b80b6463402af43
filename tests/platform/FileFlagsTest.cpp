// Locks of real files, where the system permits them.

#include "platform/FileFlags.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "tests/Subprocess.h"
#include "tests/TemporaryFolder.h"

namespace cutstack {
namespace {

namespace fs = std::filesystem;

TEST(FileFlags, LockedFilesStayAsTheyAre) {
    const TemporaryFolder folder;
    const std::string file = folder / "file";
    writeContent(file, "x");
    fs::create_symlink("file", folder / "link");
    fs::create_directory(folder / "folder");
    if (!fileFlags().setImmutable(file, true))
        GTEST_SKIP() << "files cannot be locked here";
    EXPECT_TRUE(fileFlags().isImmutable(file));
    EXPECT_NE(::unlink(file.c_str()), 0);
    EXPECT_TRUE(fileFlags().setImmutable(file, true));
    EXPECT_FALSE(fileFlags().isImmutable(folder / "link"));
    EXPECT_FALSE(fileFlags().setImmutable(folder / "link", false));
    EXPECT_TRUE(fileFlags().isImmutable(file));
    if (getuid() == 0) {
        EXPECT_EQ(chmod(folder.path().c_str(), 0755), 0);
        EXPECT_TRUE(asOrdinaryUser([&] {
            return fileFlags().isImmutable(file) && !fileFlags().setImmutable(file, false);
        }));
    }
    EXPECT_TRUE(fileFlags().setImmutable(file, false));
    EXPECT_FALSE(fileFlags().isImmutable(file));

    EXPECT_TRUE(fileFlags().setImmutable(folder / "folder", true));
    EXPECT_TRUE(fileFlags().isImmutable(folder / "folder"));
    EXPECT_TRUE(fileFlags().setImmutable(folder / "folder", false));
}

TEST(FileFlags, OnlyFilesAndFoldersHaveThem) {
    const TemporaryFolder folder;
    fs::create_symlink("nowhere", folder / "dangling");
    // Nobody has its other end: whoever waits for that stays here.
    ASSERT_EQ(mkfifo((folder / "fifo").c_str(), 0600), 0);
    for (const std::string& path :
         {folder / "fifo", folder / "dangling", folder / "missing", std::string("/dev/null"),
          std::string("/proc/version"), std::string()}) {
        EXPECT_FALSE(fileFlags().isImmutable(path)) << path;
        EXPECT_FALSE(fileFlags().setImmutable(path, true)) << path;
        EXPECT_FALSE(fileFlags().setImmutable(path, false)) << path;
    }
}

} // namespace
} // namespace cutstack
