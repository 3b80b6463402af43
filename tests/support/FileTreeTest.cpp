#include "support/FileTree.h"

#include <cerrno>
#include <functional>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <vector>

#include "tests/Subprocess.h"
#include "tests/TemporaryFolder.h"

namespace cutstack {
namespace {

namespace fs = std::filesystem;
using Paths = std::vector<std::string>;

/// Keeps what it came to, a folder that was left with a "/", one that stayed closed with a "!".
struct RecordingVisitor final : FileTreeVisitor {
    Paths paths;
    std::function<int(const std::string&)> atVisit = [](const std::string&) { return 0; };

    int visit(const FileTreeItem& item) override {
        paths.push_back(item.path);
        return atVisit(item.path);
    }
    int leave(const FileTreeItem& item, int fault) override {
        paths.push_back(item.path + (fault == 0 ? "/" : "!"));
        return 0;
    }
};

class FileTreeTest : public testing::Test {
protected:
    FileTreeTest() {
        for (const char* name : {"b/x", "b/y", "a", "c/z"})
            writeContent(folder / name, "");
    }
    TemporaryFolder folder;
    RecordingVisitor visitor;
};

TEST_F(FileTreeTest, FoldersComeBeforeAndBehindTheirItems) {
    EXPECT_EQ(walkTree(folder.path().string() + "/", visitor), 0);
    EXPECT_EQ(visitor.paths, (Paths{"", "a", "b", "b/x", "b/y", "b/", "c", "c/z", "c/", "/"}));
}

TEST_F(FileTreeTest, WhatVanishesIsLeftOutAndWhatBecomesALinkIsNotFollowed) {
    const TemporaryFolder elsewhere;
    writeContent(elsewhere / "kept", "");
    visitor.atVisit = [&](const std::string& path) {
        if (path == "b/x")
            fs::remove(folder / "b/y");
        if (path == "c") {
            fs::remove_all(folder / "c");
            fs::create_directory_symlink(elsewhere.path(), folder / "c");
        }
        return 0;
    };
    EXPECT_EQ(walkTree(folder.path(), visitor), 0);
    EXPECT_EQ(visitor.paths, (Paths{"", "a", "b", "b/x", "b/", "c", "c!", "/"}));
}

TEST_F(FileTreeTest, EndsWhereItCannotGoOn) {
    EXPECT_EQ(walkTree(folder / "missing", visitor), ENOENT);
    EXPECT_EQ(walkTree(folder / "a/below", visitor), ENOTDIR);
    EXPECT_TRUE(visitor.paths.empty());
    visitor.atVisit = [](const std::string& path) { return path == "b/x" ? EINTR : 0; };
    EXPECT_EQ(walkTree(folder.path(), visitor), EINTR);
    EXPECT_EQ(visitor.paths.back(), "b/x");
    // Somebody carries off the folder that the walk is in.
    visitor.atVisit = [&](const std::string& path) {
        if (path == "b/x")
            fs::rename(folder / "b", folder / "c/b");
        return 0;
    };
    EXPECT_EQ(walkTree(folder.path(), visitor), ESTALE);
}

TEST_F(FileTreeTest, ClosedFoldersAreTold) {
    fs::permissions(folder.path(), fs::perms(0711));
    fs::permissions(folder / "b", fs::perms::none);
    fs::permissions(folder / "c", fs::perms(0444));
    EXPECT_TRUE(asOrdinaryUser([&] {
        // The top's own folder cannot be listed by others, only gone through.
        return walkTree(folder / "b", visitor) == 0 && walkTree(folder / "c", visitor) == 0 &&
               visitor.paths == Paths{"", "!", "", "!"};
    }));
    fs::permissions(folder / "b", fs::perms::owner_all);
    fs::permissions(folder / "c", fs::perms::owner_all);
}

} // namespace
} // namespace cutstack
