#include "support/ZTFileManager.h"

#include <cerrno>
#include <sys/stat.h>
#include <unistd.h>

#include "support/PlainFiles.h"
#include "tests/Subprocess.h"
#include "tests/support/FileManagerFixture.h"

namespace cutstack {
namespace {

namespace fs = std::filesystem;
using Lines = std::vector<std::string>;
using std::chrono::milliseconds;
using std::chrono::seconds;

class ZTFileManagerTest : public FileManagerTest {
protected:
    /// A folder in which nothing can be changed, for root too: it is none.
    [[nodiscard]] std::string inFile(std::string_view name) const {
        return file("file") + "/" + std::string(name);
    }
    static std::string deepFolder(const std::string& top, int depth);
};

/// Folders in each other, deeper than a path can say, with a file in the last one.
std::string ZTFileManagerTest::deepFolder(const std::string& top, int depth) {
    const fs::path before = fs::current_path();
    fs::create_directory(top);
    fs::current_path(top);
    for (int i = 0; i < depth; ++i) {
        EXPECT_EQ(mkdir("deep", 0755), 0);
        EXPECT_EQ(chdir("deep"), 0);
    }
    writeContent("./last", "12345");
    fs::current_path(before);
    return top;
}

TEST_F(ZTFileManagerTest, FailedOperationIsLoggedAndHandedToThePrivileged) {
    const std::string source = file("source");
    const std::string taken = file("taken");
    struct Case {
        std::function<bool(bool)> operation;
        std::string line;
        std::string asked;
    };
    const Case cases[] = {
        {[&](bool auth) { return ZTFileManager::moveFile(source, taken, auth, at); },
         "Error moving file: File exists. Authorizing...", "move " + source + " " + taken},
        {[&](bool auth) { return ZTFileManager::copyFile(source, taken, auth, at); },
         "Error copying file: File exists. Authorizing...", "copy " + source + " " + taken},
        {[&](bool auth) { return ZTFileManager::createDirectory(taken + "/a/b", auth, at); },
         "Error creating folder: File exists. Authorizing...", "create " + taken + "/a/b"},
        {[&](bool auth) { return ZTFileManager::removeFile(files + "/.", auth, at); },
         "Error removing file: Device or resource busy. Authorizing...", "remove " + files + "/."},
        {[&](bool auth) {
             trash.failure = "full";
             return ZTFileManager::trashFile(source, auth, at);
         },
         "", "trash " + source},
    };
    Lines lines;
    for (const Case& each : cases) {
        for (const bool shouldAuth : {true, false}) {
            privileged.asked.clear();
            EXPECT_EQ(each.operation(shouldAuth), shouldAuth) << each.asked;
            EXPECT_EQ(privileged.asked, shouldAuth ? Lines{each.asked} : Lines{});
            if (!each.line.empty())
                lines.push_back(each.line);
        }
        privileged.answer = false;
        EXPECT_FALSE(each.operation(true)) << each.asked;
        if (!each.line.empty())
            lines.push_back(each.line);
        privileged.answer = true;
    }
    EXPECT_EQ(logged(), lines);
    EXPECT_EQ(console.messages(), Lines(3, "Unable to move " + source + " to the Trash: full"));
    EXPECT_EQ(contentOf(source), "source");
    EXPECT_EQ(contentOf(taken), "taken");
}

TEST_F(ZTFileManagerTest, MissingPathsAreRefusedInBothLogs) {
    EXPECT_FALSE(ZTFileManager::copyFile(std::nullopt, path("b"), true, at));
    EXPECT_FALSE(ZTFileManager::copyFile("/a", std::nullopt, true, at));
    const Lines lines = {"Error copying file: source path is nil",
                         "Error copying file /a: destination path is nil"};
    EXPECT_EQ(logged(), lines);
    EXPECT_EQ(console.messages(), lines);
    EXPECT_TRUE(privileged.asked.empty());
}

TEST_F(ZTFileManagerTest, LocksAreClearedAtTheDestination) {
    const std::string source = file("from/item");
    const std::string old = file("to/sub/old");
    flags.locked = {source, path("to"), path("to/sub"), old};

    EXPECT_TRUE(ZTFileManager::copyFile(source, path("to/item"), true, at));
    EXPECT_EQ(flags.locked, (std::set<std::string>{source, path("to")}))
        << "everything in the folder, but not the folder";

    file("to2/item/inner");
    flags.locked = {source, path("to2"), path("to2/item/inner"), old};
    EXPECT_FALSE(ZTFileManager::moveFile(source, path("to2"), false, at));
    EXPECT_EQ(flags.locked, (std::set<std::string>{source, old}));
}

TEST_F(ZTFileManagerTest, LocksOfAFolderEndAtLinks) {
    const std::string elsewhere = file("elsewhere/x");
    file("folder/sub/y");
    fs::create_directory_symlink(path("elsewhere"), path("folder/link"));
    fs::create_directory_symlink(path("folder"), path("folder/sub/loop"));
    ZTFileManager::lockFolder(path("folder"), at);
    EXPECT_TRUE(ZTFileManager::isFileLocked(path("folder/sub/y"), at));
    EXPECT_TRUE(ZTFileManager::isFileLocked(path("folder/sub"), at));
    EXPECT_FALSE(ZTFileManager::isFileLocked(path("folder"), at));
    EXPECT_FALSE(ZTFileManager::isFileLocked(path("folder/link/x"), at));
    ZTFileManager::unlockFolder(path("folder"), at);
    EXPECT_TRUE(flags.locked.empty());
}

TEST_F(ZTFileManagerTest, MovesToAnotherFileSystemByAWholeCopy) {
    mover.fault = EXDEV;
    file("source/one");
    file("source/sub/two");
    copier.failure = "No space left on device";
    EXPECT_FALSE(ZTFileManager::moveFile(path("source"), path("moved"), false, at));
    EXPECT_TRUE(exists(path("source/sub/two")));

    copier.failure.clear();
    EXPECT_TRUE(ZTFileManager::moveFile(path("source"), path("moved"), false, at));
    EXPECT_EQ(contentOf(path("moved/sub/two")), "source/sub/two");
    EXPECT_FALSE(exists(path("source")));
    EXPECT_EQ(logged(), Lines{"Error moving file: No space left on device. Authorizing..."});
}

/// Copies, and takes from everybody the right to change the source's folder "locked".
struct LockingCopier final : FileCopier {
    FakeCopier copier;

    CopyEnd copy(const std::string& source, const std::string& destination,
                 const Observer& observer, std::string& error) const override {
        const CopyEnd end = copier.copy(source, destination, observer, error);
        std::error_code belongsToRoot; // then nobody else has the right anyway
        fs::permissions(source + "/locked", fs::perms(0555), belongsToRoot);
        return end;
    }
};

TEST_F(ZTFileManagerTest, ASourceThatCannotGoKeepsItsCopy) {
    mover.fault = EXDEV;
    file("source/locked/one");
    fs::permissions(folder.path(), fs::perms(0777));
    fs::permissions(files, fs::perms(0777));
    const LockingCopier locking;
    EXPECT_TRUE(asOrdinaryUser([&] {
        std::string error;
        return moveItem(path("source"), path("moved"), mover, locking, error) == MoveEnd::copied &&
               error == "Permission denied";
    }));
    EXPECT_EQ(contentOf(path("moved/locked/one")), "source/locked/one");
    EXPECT_TRUE(exists(path("source/locked/one")));
    fs::permissions(path("source/locked"), fs::perms(0777));
}

TEST_F(ZTFileManagerTest, WhatRightsDoNotChangeIsNotHandedOn) {
    copier.failure = "No space left on device";
    copier.failureEnd = CopyEnd::failedForAnybody;
    mover.fault = EXDEV;
    file("folder/source");
    EXPECT_FALSE(ZTFileManager::copyFile(path("folder"), path("copy"), true, at));
    EXPECT_FALSE(ZTFileManager::moveFile(path("folder"), path("copy"), true, at));
    EXPECT_FALSE(
        ZTFileManager::copyContentsOfDirectory(path("folder"), path("to"), seconds(9), at));
    copier.failure.clear();
    EXPECT_FALSE(ZTFileManager::copyFile(path("folder"), path("folder/copy"), true, at));
    mover.fault = 0;
    EXPECT_FALSE(ZTFileManager::moveFile(path("folder"), path("folder/copy"), true, at));
    EXPECT_EQ(privileged.asked, Lines());
    EXPECT_EQ(logged(), (Lines{"Error copying file: No space left on device. Authorizing...",
                               "Error moving file: No space left on device. Authorizing...",
                               "Error copying file: No space left on device. Authorizing...",
                               "Error copying file: Invalid argument. Authorizing...",
                               "Error moving file: Invalid argument. Authorizing..."}));
}

TEST_F(ZTFileManagerTest, NothingIsCopiedIntoItself) {
    file("folder/file");
    fs::create_directory(path("folder/sub"));
    fs::create_directory_symlink(path("folder/sub"), path("link"));
    EXPECT_FALSE(ZTFileManager::copyFile(path("folder"), path("folder/sub/copy"), false, at));
    EXPECT_FALSE(ZTFileManager::copyFile(path("folder"), path("link/copy"), false, at));
    EXPECT_EQ(logged(), Lines(2, "Error copying file: Invalid argument. Authorizing..."));
    EXPECT_TRUE(ZTFileManager::copyFile(path("folder"), path("folder2"), false, at));
}

TEST_F(ZTFileManagerTest, RemovesWhateverItsNameButNeverWhatALinkLeadsTo) {
    const std::string kept = file("kept/file");
    const std::string names[] = {"with space", "line\nbreak", "-rf", std::string(255, 'x'),
                                 "caf\xE9"};
    for (const std::string& name : names) {
        file("tree/" + name);
        file("tree/sub/" + name);
    }
    fs::create_directory_symlink(path("kept"), path("tree/link"));
    fs::create_directory_symlink(path("tree"), path("tree/sub/loop"));
    fs::create_symlink("nowhere", path("dangling"));
    fs::create_directory_symlink(path("kept"), path("link"));

    for (const char* each : {"tree", "dangling", "link/", "missing", "kept/file/below"})
        EXPECT_TRUE(ZTFileManager::removeFile(path(each), false, at)) << each;
    for (const char* each : {"tree", "dangling", "link"})
        EXPECT_FALSE(exists(path(each))) << each;
    EXPECT_EQ(contentOf(kept), "kept/file");
    EXPECT_TRUE(logged().empty());
}

TEST_F(ZTFileManagerTest, DepthIsNoObstacle) {
    constexpr int kDepth = 1100;
    const std::string top = deepFolder(path("top"), kDepth);
    EXPECT_EQ(ZTFileManager::fileSize(top), 5U);
    EXPECT_TRUE(ZTFileManager::removeFile(top, false, at));
    EXPECT_FALSE(exists(top));
}

TEST_F(ZTFileManagerTest, TrashTakesTheLinkAndReportsWhetherAllWent) {
    file("folder/.hidden");
    file("folder/a");
    fs::create_symlink("nowhere", path("folder/dangling"));
    EXPECT_TRUE(ZTFileManager::trashDirectoryContents(path("folder"), false, at));
    EXPECT_TRUE(fs::is_empty(path("folder")));
    EXPECT_TRUE(fs::is_symlink(folder / "trash/dangling"));
    EXPECT_TRUE(ZTFileManager::trashFile(path("folder/a"), false, at)) << "has gone already";

    EXPECT_FALSE(ZTFileManager::trashDirectoryContents(path("missing"), true, at));
    file("folder/b");
    file("folder/c");
    trash.failure = "full";
    EXPECT_FALSE(ZTFileManager::trashDirectoryContents(path("folder"), false, at));
    EXPECT_EQ(console.messages().size(), 2U) << "each item is tried";
}

TEST_F(ZTFileManagerTest, WaitsForWhatThePrivilegedToolDoes) {
    trash.failure = "full";
    const std::string stubborn = file("stubborn");
    int polls = 0;
    steady.atEachPoll = [&] {
        if (++polls == 3)
            fs::remove(stubborn);
    };
    EXPECT_TRUE(ZTFileManager::trashFile(stubborn, seconds(2), at));
    EXPECT_EQ(steady.sleeps, std::vector<milliseconds>(3, milliseconds(300)));

    file("stubborn");
    mainThread.isMain = true;
    polls = 0;
    EXPECT_TRUE(ZTFileManager::trashFile(stubborn, seconds(2), at));
    EXPECT_EQ(mainThread.polls, 3);
    EXPECT_EQ(steady.sleeps.size(), 3U) << "the main thread never sleeps";
}

TEST_F(ZTFileManagerTest, WaitingEndsWithTheTime) {
    const std::string source = file("source");
    copier.failure = "Permission denied";
    mover.fault = EACCES;
    const std::string missing = path("missing");
    const std::function<bool()> operations[] = {
        [&] { return ZTFileManager::moveFile(source, missing, seconds(3), at); },
        [&] { return ZTFileManager::copyFile(source, missing, seconds(3), at); },
        [&] { return ZTFileManager::createDirectory(inFile("a"), seconds(3), at); },
        [&] { return ZTFileManager::removeFile(files + "/.", seconds(3), at); },
        [&] { return ZTFileManager::copyContentsOfDirectory(files, missing, seconds(3), at); },
    };
    for (const auto& operation : operations) {
        fs::remove_all(missing);
        steady.sleeps.clear();
        EXPECT_FALSE(operation());
        EXPECT_EQ(steady.sleeps.size(), 10U);
    }
    privileged.answer = false;
    steady.sleeps.clear();
    for (const auto& operation : operations)
        EXPECT_FALSE(operation());
    EXPECT_TRUE(steady.sleeps.empty()) << "there is nothing to wait for";
}

TEST_F(ZTFileManagerTest, CopiesTheContentsOfAFolder) {
    file("from/a");
    file("from/.b");
    file("from/sub/c");
    fs::create_symlink("nowhere", path("from/dangling"));
    EXPECT_TRUE(
        ZTFileManager::copyContentsOfDirectory(path("from"), path("new/to"), seconds(1), at));
    EXPECT_EQ(contentOf(path("new/to/.b")), "from/.b");
    EXPECT_EQ(contentOf(path("new/to/sub/c")), "from/sub/c");
    EXPECT_TRUE(fs::is_symlink(path("new/to/dangling")));
    EXPECT_FALSE(ZTFileManager::copyContentsOfDirectory(path("gone"), path("to"), seconds(1), at));
    EXPECT_FALSE(exists(path("to")));
}

TEST_F(ZTFileManagerTest, SizeIsThatOfTheFilesBelow) {
    writeContent(path("folder/a"), std::string(1000, 'a'));
    writeContent(path("folder/sub/b"), std::string(24, 'b'));
    fs::create_symlink(path("folder/a"), path("folder/link"));
    fs::create_directory_symlink(path("folder"), path("folder/sub/loop"));
    fs::create_directory_symlink(path("folder"), path("link"));
    fs::create_symlink("self", path("self"));
    EXPECT_EQ(ZTFileManager::fileSize(path("folder/a")), 1000U);
    EXPECT_EQ(ZTFileManager::fileSize(path("folder/link")), 1000U);
    EXPECT_EQ(ZTFileManager::fileSize(path("folder")), 1024U);
    EXPECT_EQ(ZTFileManager::fileSize(path("link")), 1024U);
    EXPECT_EQ(ZTFileManager::fileSize(path("self")), 0U);
    EXPECT_EQ(ZTFileManager::fileSize(path("missing")), 0U);
}

TEST_F(ZTFileManagerTest, RemovesFoldersOfNoContent) {
    fs::create_directory(path("empty"));
    file("finder/.DS_Store");
    file("finder/Icon\r");
    file("used/.DS_Store");
    file("used/icon");
    file("icons/Icon/file");
    struct Case {
        const char* name;
        bool isEmpty;
        bool goes;
    };
    // A folder "Icon" with something in it is not worth less for its name.
    for (const Case& each : {Case{"empty", true, true}, Case{"finder", true, true},
                             Case{"used", false, false}, Case{"icons", true, false},
                             Case{"missing", false, false}, Case{"used/icon", false, false}}) {
        EXPECT_EQ(ZTFileManager::isFolderEmpty(path(each.name)), each.isEmpty) << each.name;
        const bool wasThere = exists(path(each.name));
        EXPECT_EQ(ZTFileManager::removeFolderIfEmpty(path(each.name), at), each.goes) << each.name;
        EXPECT_EQ(exists(path(each.name)), wasThere && !each.goes) << each.name;
    }
    EXPECT_TRUE(privileged.asked.empty());
}

/// Has something come into the folder when its lock is cleared.
struct BusyFlags final : FileFlags {
    std::string comes;

    bool isImmutable(const std::string&) const override { return false; }
    bool setImmutable(const std::string&, bool) const override {
        writeContent(comes, "new");
        return true;
    }
};

TEST_F(ZTFileManagerTest, WhatComesIntoAnEmptyFolderStays) {
    file("folder/.DS_Store");
    BusyFlags busy;
    busy.comes = path("folder/new");
    const FileServices services{copier,
                                mover,
                                busy,
                                metadata,
                                trash,
                                events,
                                mainThread,
                                steady,
                                privileged,
                                log,
                                at.runTool,
                                at.isFilePackage,
                                at.registerApplication};
    EXPECT_FALSE(ZTFileManager::removeFolderIfEmpty(path("folder"), services));
    EXPECT_EQ(contentOf(path("folder/new")), "new");
    EXPECT_EQ(logged(), Lines{"Error removing file: Directory not empty. Authorizing..."});
    EXPECT_TRUE(privileged.asked.empty());
}

TEST_F(ZTFileManagerTest, APathEndsAtNoZeroByte) {
    const std::string folderPath = path("folder");
    const std::string filePath = file("file");
    fs::create_directory(folderPath);
    const std::string behind("\0x", 2);
    EXPECT_TRUE(ZTFileManager::removeFile(filePath + behind, false, at)) << "nothing is there";
    EXPECT_TRUE(ZTFileManager::trashFile(filePath + behind, false, at));
    EXPECT_EQ(removeItem(filePath + behind), EINVAL);
    EXPECT_FALSE(ZTFileManager::moveFile(filePath + behind, path("to"), false, at));
    EXPECT_FALSE(ZTFileManager::moveFile(filePath, path("to") + behind, false, at));
    EXPECT_FALSE(ZTFileManager::removeFolderIfEmpty(folderPath + behind, at));
    EXPECT_FALSE(ZTFileManager::createDirectory(path("to") + behind, false, at));
    EXPECT_FALSE(fileFlags().setImmutable(filePath + behind, false));
    EXPECT_TRUE(exists(filePath) && exists(folderPath) && !exists(path("to")));
}

TEST_F(ZTFileManagerTest, RebuildsFoldersBelowADestination) {
    EXPECT_EQ(ZTFileManager::createDirectoryStructure("/Reels//One/./Two/", path("to") + "/", at),
              path("to/Reels/One/Two"));
    EXPECT_TRUE(fs::is_directory(path("to/Reels/One/Two")));
    EXPECT_EQ(ZTFileManager::createDirectoryStructure("../out", path("to"), at), std::nullopt);
    EXPECT_FALSE(exists(path("out")));
    privileged.answer = false;
    EXPECT_EQ(ZTFileManager::createDirectoryStructure("a/b", inFile(""), at), std::nullopt);
}

TEST_F(ZTFileManagerTest, TrashesByNameAndType) {
    for (const char* name : {"a.MOV", "a.mov", "mov", "b.fcp", "c", "d", "e.movie", "sub/f.mov"})
        file("in/" + std::string(name));
    metadata.types = {{path("in/c"), "MooV"}, {path("in/d"), "moov"}};
    using Paths = ZTFileManager::Paths;
    EXPECT_EQ(ZTFileManager::trashFilesOfType("", path("in"), at), Paths{});
    EXPECT_EQ(ZTFileManager::trashFilesOfType("MooV", path("in"), at), Paths{path("in/c")});
    EXPECT_EQ(ZTFileManager::trashFilesOfType("mov", path("in"), at),
              (Paths{path("in/a.MOV"), path("in/a.mov")}));
    EXPECT_EQ(ZTFileManager::trashFilesNamed("B.fcp", path("in"), at), Paths{});
    EXPECT_EQ(ZTFileManager::trashFilesNamed("b.fcp", path("in"), at), Paths{path("in/b.fcp")});
    EXPECT_EQ(ZTFileManager::trashFilesNamed("x", path("missing"), at), Paths{});
    trash.failure = "full";
    privileged.answer = false;
    EXPECT_EQ(ZTFileManager::trashFilesNamed("mov", path("in"), at), Paths{});
    EXPECT_TRUE(exists(path("in/sub/f.mov")) && exists(path("in/mov")));
}

TEST_F(ZTFileManagerTest, TouchesAndCompressesWithTools) {
    const std::string source = file("-a b");
    EXPECT_FALSE(ZTFileManager::touchFile(std::nullopt, at));
    EXPECT_TRUE(ZTFileManager::touchFile(source, at));
    EXPECT_TRUE(privileged.asked.empty());
    EXPECT_TRUE(ZTFileManager::touchFile(path("missing"), at));
    privileged.status = 1;
    EXPECT_FALSE(ZTFileManager::touchFile(path("missing"), at));
    EXPECT_EQ(privileged.asked, Lines(2, "/usr/bin/touch -c " + path("missing")));

    const std::string archive = file("archive.zip");
    EXPECT_FALSE(ZTFileManager::compressFile(source, archive, at)) << "the tool makes nothing";
    EXPECT_EQ(contentOf(folder / "trash/archive.zip"), "archive.zip");
    duringTool = [&] { return exists(file("archive.zip")); };
    EXPECT_TRUE(ZTFileManager::compressFile(source, archive, at));
    const Lines ditto = {"/usr/bin/ditto", "-ck", "--keepParent", source, archive, "-"};
    EXPECT_EQ(tools, (std::vector<Lines>{{"/usr/bin/touch", "-c", source, "5"}, ditto, ditto}));

    trash.failure = "full";
    EXPECT_FALSE(ZTFileManager::compressFile(source, archive, at));
    EXPECT_EQ(tools.size(), 3U) << "the old archive is not overwritten";
}

TEST_F(ZTFileManagerTest, TellsTheFinderAndTheDesktop) {
    const std::string changed = file("ver\xC3\xA4ndert");
    ZTFileManager::notifyFileSystemChanged(path("missing"), at);
    ZTFileManager::notifyFileSystemChanged(changed, at);
    ASSERT_EQ(events.sent.size(), 1U);
    const Event& event = events.sent.front();
    EXPECT_EQ(events.modes.front(), SendMode::noReply);
    EXPECT_EQ(event.eventClass, fourCharCode("fndr"));
    EXPECT_EQ(event.eventID, fourCharCode("fupd"));
    EXPECT_EQ(event.target.type, fourCharCode("sign"));
    EXPECT_EQ(event.target.bytes.view(), "MACS");
    ASSERT_EQ(event.parameters.size(), 1U);
    EXPECT_EQ(event.parameters[0].keyword, fourCharCode("----"));
    EXPECT_EQ(event.parameters[0].value.type, fourCharCode("alis"));
    EXPECT_EQ(event.parameters[0].value.bytes.view(), changed);

    EXPECT_TRUE(ZTFileManager::registerApplicationWithLaunchServices("/A.app", at));
    EXPECT_FALSE(ZTFileManager::registerApplicationWithLaunchServices("/A.app", at));
}

TEST_F(ZTFileManagerTest, LabelsKeepTheOtherFlags) {
    metadata.flags[path("a")] = 0xA541;
    EXPECT_EQ(ZTFileManager::finderColorIndexForPath(path("a"), at), 0);
    EXPECT_EQ(ZTFileManager::finderColorForPath(path("a"), at), std::nullopt);
    EXPECT_TRUE(ZTFileManager::setFinderColorIndex(0xFF, path("a"), at));
    EXPECT_EQ(metadata.flags[path("a")], 0xA54F);
    EXPECT_TRUE(ZTFileManager::setFinderColorIndex(5, path("a"), at));
    EXPECT_EQ(metadata.flags[path("a")], 0xA545);
    EXPECT_EQ(ZTFileManager::finderColorForPath(path("a"), at), (FinderColor{0.2056, 0.5, 0.85}));
    for (const int none : {-2, 0, 1, 16, 255})
        EXPECT_EQ(finderColorOfIndex(none), std::nullopt) << none;
    EXPECT_EQ(finderColorOfIndex(2), (FinderColor{0, 0, 0.72}));
    EXPECT_EQ(finderColorOfIndex(15), (FinderColor{0.0888, 0.52, 0.98}));
}

} // namespace
} // namespace cutstack
