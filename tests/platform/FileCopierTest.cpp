// Copies of real files and folders, on the file system of the tests and onto a small one.

#include "platform/linux/LinuxFileCopier.h"

#include <algorithm>
#include <array>
#include <fcntl.h>
#include <fstream>
#include <gtest/gtest.h>
#include <map>
#include <sched.h>
#include <sys/mount.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/xattr.h>
#include <unistd.h>
#include <vector>

#include "platform/SystemErrors.h"
#include "platform/linux/Descriptor.h"
#include "platform/linux/FreeName.h"
#include "platform/linux/TreeRemoval.h"
#include "tests/Subprocess.h"
#include "tests/TemporaryFolder.h"

namespace cutstack {
namespace {

namespace fs = std::filesystem;

constexpr uid_t kNobody = 65534;

bool goesOn(const CopyProgress&) { return true; }

struct stat statusOf(const std::string& path) {
    struct stat status {};
    EXPECT_EQ(lstat(path.c_str(), &status), 0) << path;
    return status;
}

/// What can be said of a file or folder in a line, its times included.
std::string described(const fs::path& path) {
    const struct stat status = statusOf(path);
    std::string text = std::to_string(status.st_mode) + " " + std::to_string(status.st_uid) + ":" +
                       std::to_string(status.st_gid) + " " + std::to_string(status.st_mtim.tv_sec) +
                       "." + std::to_string(status.st_mtim.tv_nsec);
    if (S_ISLNK(status.st_mode))
        return text + " -> " + fs::read_symlink(path).string();
    std::array<char, 64> value{};
    const ssize_t size =
        getxattr(path.c_str(), "user.com.apple.FinderInfo", value.data(), value.size());
    text.append(value.data(), static_cast<std::size_t>(std::max<ssize_t>(size, 0)));
    const auto hash = std::hash<std::string>();
    return S_ISREG(status.st_mode) ? text + " " + std::to_string(hash(contentOf(path))) : text;
}

/// Everything from `top` on by its path below it.
std::map<std::string, std::string> treeAt(const fs::path& top) {
    std::map<std::string, std::string> tree = {{"", described(top)}};
    if (fs::is_directory(fs::symlink_status(top)))
        for (const fs::directory_entry& entry : fs::recursive_directory_iterator(top))
            tree[entry.path().lexically_relative(top)] = described(entry.path());
    return tree;
}

void setTimes(const std::string& path, time_t seconds) {
    const std::array times = {timespec{seconds, 111}, timespec{seconds, 987654321}};
    ASSERT_EQ(utimensat(AT_FDCWD, path.c_str(), times.data(), AT_SYMLINK_NOFOLLOW), 0) << path;
}

class FileCopierTest : public testing::Test {
protected:
    FileCopierTest() { fs::create_directory(root_ / "to"); }
    /// Folders that may not be written to would stay.
    ~FileCopierTest() override {
        const Descriptor root(open(root_.c_str(), O_RDONLY));
        for (const char* name : {"tree", "to"})
            EXPECT_TRUE(removeTree(root, name));
    }

    /// How a copy ended: "" or "cancelled" or the error.
    static std::string endOf(const std::string& source, const std::string& destination,
                             const FileCopier::Observer& observer = goesOn) {
        std::string error;
        const CopyEnd end = kCopier.copy(source, destination, observer, error);
        if (end == CopyEnd::failed || end == CopyEnd::failedForAnybody)
            return error.empty() ? "failed without a reason" : error;
        EXPECT_EQ(error, "");
        return end == CopyEnd::copied ? "" : "cancelled";
    }

    /// A folder with a bit of everything.
    std::string makeTree() const {
        const fs::path tree = root_ / "tree";
        writeContent(tree / "a b/line\nbreak", "one");
        writeContent(tree / "a b/-rf", "two");
        writeContent(tree / "\xFF\xFE", "");
        writeContent(tree / std::string(255, 'n') / std::string(255, 'm'), "three");
        writeContent(tree / "closed/inner/file", std::string(10000, 'x'));
        fs::create_symlink("loop", tree / "loop");
        fs::create_symlink("/nowhere", tree / "dangling");
        fs::create_directory_symlink("..", tree / "up");
        fs::create_directory(tree / "empty");
        for (const char* name : {"a b", "a b/-rf"})
            EXPECT_EQ(setxattr((tree / name).c_str(), "user.com.apple.FinderInfo",
                               std::string(32, 'F').data(), 32, 0),
                      0);
        time_t time = 1268582709;
        for (const char* name :
             {"a b/-rf", "a b", "closed/inner/file", "loop", "closed/inner", "closed", "empty", ""})
            setTimes(tree / name, time++);
        chmod((tree / "a b/-rf").c_str(), 06751);
        chmod((tree / "closed/inner").c_str(), 0500);
        chmod((tree / "closed").c_str(), 0555);
        return tree;
    }

    std::vector<std::string> namesInTarget() const {
        std::vector<std::string> names;
        for (const fs::directory_entry& entry : fs::directory_iterator(root_ / "to"))
            names.push_back(entry.path().filename());
        return names;
    }

    void removeFromTarget(const std::string& name) const {
        EXPECT_TRUE(removeTree(Descriptor(open((root_ / "to").c_str(), O_RDONLY)), name));
    }

    static constexpr std::uint64_t kItems = 14; ///< in makeTree()'s
    static constexpr std::uint64_t kBytes = 10011;

    /// Looks up at every step, and takes small ones.
    static inline const LinuxFileCopier kCopier{{std::chrono::seconds(0), 1000}};
    const TemporaryFolder folder_;
    const fs::path root_ = fs::canonical(folder_.path());
    const std::string target_ = root_ / "to" / std::string(255, 't');
};

TEST_F(FileCopierTest, ACopyOfATreeIsTheSame) {
    const std::string tree = makeTree();
    const auto before = treeAt(tree);
    setTimes(tree + "/a b/-rf", 1268582709);
    EXPECT_EQ(endOf(tree + "//", target_ + "/"), "");
    EXPECT_EQ(statusOf(target_ + "/a b/-rf").st_atim.tv_nsec, 111);
    EXPECT_EQ(treeAt(target_), before);
    EXPECT_EQ(treeAt(tree), before);
    EXPECT_EQ(namesInTarget().size(), 1U);

    // Each kind also by itself, and by a relative path.
    const fs::path wasIn = fs::current_path();
    fs::current_path(tree);
    for (const std::string name : {"a b/-rf", "\xFF\xFE", "loop", "dangling", "up", "closed"}) {
        EXPECT_EQ(endOf(name + "/", root_ / "to/-one"), "") << name;
        EXPECT_EQ(treeAt(root_ / "to/-one"), treeAt(fs::path(tree) / name)) << name;
        removeFromTarget("-one");
    }
    fs::current_path(wasIn);
}

TEST_F(FileCopierTest, ToldProgressAddsUp) {
    const std::string tree = makeTree();
    std::vector<CopyProgress> told;
    EXPECT_EQ(endOf(tree, target_,
                    [&](const CopyProgress& progress) {
                        told.push_back(progress);
                        return true;
                    }),
              "");
    const auto counted = std::find_if(told.begin(), told.end(), [](const CopyProgress& progress) {
        return progress.totalItems == kItems;
    });
    ASSERT_NE(counted, told.end());
    EXPECT_EQ(counted->bytesCompleted + counted->itemsCompleted, 0U);
    for (auto step = counted; step != told.end(); ++step) {
        EXPECT_EQ(step->totalBytes, kBytes);
        EXPECT_EQ(step->totalItems, kItems);
        EXPECT_TRUE(step->currentItem.starts_with(tree)) << step->currentItem;
        if (step != counted) {
            EXPECT_GE(step->bytesCompleted, (step - 1)->bytesCompleted);
            EXPECT_GE(step->itemsCompleted, (step - 1)->itemsCompleted);
        }
    }
    EXPECT_EQ(told.back().bytesCompleted, kBytes);
    EXPECT_EQ(told.back().itemsCompleted, kItems);

    std::size_t calls = 0;
    std::string error;
    EXPECT_EQ(fileCopier().copy(
                  root_ / "tree/a b/-rf", root_ / "to/file",
                  [&](const CopyProgress&) { return ++calls > 0; }, error),
              CopyEnd::copied);
    EXPECT_GE(calls, 2U);
    EXPECT_EQ(fileCopier().copy(root_ / "tree/a b/-rf", root_ / "to/file 2", nullptr, error),
              CopyEnd::copied);
}

TEST_F(FileCopierTest, CancellingAtAnyStepLeavesNothing) {
    const std::string tree = makeTree();
    const auto before = treeAt(tree);
    for (const std::string& source : {tree, tree + "/closed/inner/file", tree + "/loop"}) {
        std::size_t last = 0;
        std::string end = "cancelled";
        while (end == "cancelled") {
            ++last;
            std::size_t calls = 0;
            end = endOf(source, target_, [&](const CopyProgress&) { return ++calls < last; });
            ASSERT_EQ(namesInTarget().size(), end.empty() ? 1U : 0U) << source << last;
        }
        EXPECT_EQ(end, "");
        EXPECT_GT(last, source == tree ? 30U : 3U);
        ASSERT_TRUE(
            removeTree(Descriptor(open((root_ / "to").c_str(), O_RDONLY)), std::string(255, 't')));
    }
    EXPECT_EQ(treeAt(tree), before);
}

TEST_F(FileCopierTest, RefusesAndLeavesEverythingAsItWas) {
    writeContent(root_ / "file", "x");
    writeContent(root_ / "to/taken", "kept");
    writeContent(root_ / "tree/inner/file", "x");
    fs::create_directory_symlink(root_ / "tree/inner", root_ / "shortcut");
    fs::create_symlink("nowhere", root_ / "to/dangling");
    fs::create_directory(root_ / "to/folder");
    mkfifo((root_ / "fifo").c_str(), 0600);
    fs::create_directories(root_ / "special/sub");
    mkfifo((root_ / "special/sub/fifo").c_str(), 0600);
    const Descriptor socket(::socket(AF_UNIX, SOCK_STREAM, 0));
    sockaddr_un address{AF_UNIX, {}};
    (root_ / "socket").string().copy(address.sun_path, sizeof address.sun_path - 1);
    ASSERT_EQ(bind(socket.number(), reinterpret_cast<sockaddr*>(&address), sizeof address), 0);

    const std::string neither = "It is neither a file, a folder nor a link";
    const std::string itself = "A folder cannot be copied into itself";
    const std::string to = root_ / "to";
    const std::string in = to + "/new";
    struct Case {
        std::string source;
        std::string destination;
        std::string error;
    };
    const Case cases[] = {
        {root_ / "file", to + "/taken", to + "/taken: " + wordingOf(EEXIST)},
        {root_ / "file", to + "/dangling", to + "/dangling: " + wordingOf(EEXIST)},
        {root_ / "tree", to + "/folder/", to + "/folder: " + wordingOf(EEXIST)},
        {root_ / "file", to + "/.", to + "/.: " + wordingOf(EEXIST)},
        {root_ / "file", "/", "/: " + wordingOf(EEXIST)},
        {root_ / "file", root_ / "file", wordingOf(EEXIST)},
        {root_ / "file", "", wordingOf(ENOENT)},
        {root_ / "file", to + "/no/new", to + "/no/new: " + wordingOf(ENOENT)},
        {root_ / "file", to + "/taken/new", to + "/taken/new: " + wordingOf(ENOTDIR)},
        {root_ / "file", to + "/" + std::string(256, 'n'),
         to + "/" + std::string(256, 'n') + ": " + wordingOf(ENAMETOOLONG)},
        {root_ / "file", in + std::string("\0x", 2),
         in + std::string("\0x: ", 4) + wordingOf(EINVAL)},
        {"", in, wordingOf(ENOENT)},
        {root_ / "missing", in, wordingOf(ENOENT)},
        {root_ / "file/x", in, wordingOf(ENOTDIR)},
        {root_ / "fifo", in, neither},
        {root_ / "socket", in, neither},
        {"/dev/null", in, neither},
        {root_ / "special", in, (root_ / "special/sub/fifo: ").string() + neither},
        {root_ / "tree", root_ / "tree/new", itself},
        {root_ / "tree", root_ / "shortcut/new", itself},
        {root_, in, itself},
        {"/", in, itself},
    };
    const auto tree = treeAt(to);
    for (const Case& c : cases)
        EXPECT_EQ(endOf(c.source, c.destination), c.error) << c.source << " " << c.destination;
    EXPECT_EQ(treeAt(to), tree);
    EXPECT_EQ(fs::is_empty(root_ / "to/folder"), true);
    EXPECT_EQ(fs::exists(root_ / "tree/new"), false);
}

TEST_F(FileCopierTest, ASlipInsideATreeLeavesNothing) {
    const std::string tree = makeTree();
    for (const std::string& path : {root_.string(), root_.string() + "/to"})
        chmod(path.c_str(), 0777);
    for (const auto& [name, description] : treeAt(tree))
        if (getuid() == 0) {
            EXPECT_EQ(lchown((tree + "/" + name).c_str(), kNobody, getgid()), 0);
        }
    chmod((tree + "/closed/inner/file").c_str(), 0);
    EXPECT_TRUE(asOrdinaryUser(
        [&] { return endOf(tree, target_) == tree + "/closed/inner/file: " + wordingOf(EACCES); }));
    EXPECT_EQ(namesInTarget(), std::vector<std::string>());
    chmod((tree + "/closed/inner/file").c_str(), 0400);
    const auto before = treeAt(tree);
    EXPECT_TRUE(asOrdinaryUser([&] { return endOf(tree, target_).empty(); }));
    EXPECT_EQ(treeAt(target_), before);
}

TEST_F(FileCopierTest, WhatIsNotKeptGivesNobodyMore) {
    if (getuid() != 0)
        GTEST_SKIP() << "only root has files of several users";
    chmod(root_.c_str(), 0755);
    chmod((root_ / "to").c_str(), 0777);
    constexpr gid_t own = 0;
    constexpr gid_t another = 12345;
    struct Case {
        mode_t original;
        gid_t group;
        mode_t copy;
    };
    for (const Case& c : {Case{06755, own, 0755},
                          {0664, own, 0664},
                          {06755, another, 0755},
                          {0664, another, 0644},
                          {0676, another, 0666},
                          {0606, another, 0606}}) {
        const std::string source = root_ / "source";
        writeContent(source, "x");
        EXPECT_EQ(chown(source.c_str(), 1234, c.group), 0);
        EXPECT_EQ(chmod(source.c_str(), c.original), 0);
        EXPECT_TRUE(asOrdinaryUser([&] { return endOf(source, target_).empty(); }));
        EXPECT_EQ(statusOf(target_).st_mode & 07777U, c.copy) << std::oct << c.original;
        removeFromTarget(std::string(255, 't'));
    }
}

TEST_F(FileCopierTest, CopiesVeryDeepTrees) {
    constexpr int kDepth = 2000;
    const Descriptor root(open(root_.c_str(), O_RDONLY | O_DIRECTORY));
    Descriptor here(openat(root.number(), ".", O_RDONLY | O_DIRECTORY));
    for (int depth = 0; depth < kDepth; ++depth) {
        ASSERT_EQ(mkdirat(here.number(), "deep", 0700), 0);
        here = Descriptor(openat(here.number(), "deep", O_RDONLY | O_DIRECTORY));
    }
    ASSERT_EQ(symlinkat("bottom", here.number(), "link"), 0);
    EXPECT_EQ(endOf(root_ / "deep", target_), "");
    here = Descriptor(open(target_.c_str(), O_RDONLY | O_DIRECTORY));
    for (int depth = 1; depth < kDepth; ++depth)
        here = Descriptor(openat(here.number(), "deep", O_RDONLY | O_DIRECTORY));
    struct stat status {};
    EXPECT_EQ(fstatat(here.number(), "link", &status, AT_SYMLINK_NOFOLLOW), 0);
    EXPECT_TRUE(removeTree(root, "deep"));
    EXPECT_TRUE(removeTree(root, "to"));
}

/// Copies a file of ten parts and lets `change` happen after the third part of the first
/// `times` attempts.
class ChangingSourceTest : public FileCopierTest {
protected:
    std::string copyWhile(int times, const std::function<void()>& change) {
        writeContent(source_, std::string(10000, 'a'));
        setTimes(source_, 1268582709);
        return endOf(source_, target_, [&, attempts = 0](const CopyProgress& progress) mutable {
            if (progress.bytesCompleted == 3000 && attempts++ < times)
                change();
            return true;
        });
    }

    const std::string source_ = root_ / "source";
};

TEST_F(ChangingSourceTest, IsCopiedInOneStateOrNotAtAll) {
    const std::string b(10000, 'b');
    const auto overwrite = [&] {
        std::fstream(source_, std::ios::in | std::ios::out | std::ios::binary) << b;
    };
    EXPECT_EQ(copyWhile(1, overwrite), "");
    EXPECT_EQ(contentOf(target_), b);
    fs::remove(target_);
    EXPECT_EQ(copyWhile(1, [&] { fs::resize_file(source_, 5000); }), "");
    EXPECT_EQ(contentOf(target_), std::string(5000, 'a'));
    fs::remove(target_);
    EXPECT_EQ(copyWhile(100, [&] { fs::resize_file(source_, fs::file_size(source_) + 1); }),
              "It kept changing while it was being copied");
    EXPECT_EQ(namesInTarget(), std::vector<std::string>());
}

TEST_F(ChangingSourceTest, OneThatIsReplacedIsCopiedAsItWas) {
    EXPECT_EQ(copyWhile(1,
                        [&] {
                            writeContent(root_ / "new", "new");
                            fs::rename(root_ / "new", source_);
                        }),
              "");
    EXPECT_EQ(contentOf(target_), std::string(10000, 'a'));
}

TEST_F(ChangingSourceTest, WhoeverTakesTheNameMeanwhileKeepsIt) {
    EXPECT_EQ(copyWhile(1, [&] { writeContent(target_, "theirs"); }),
              target_ + ": " + wordingOf(EEXIST));
    EXPECT_EQ(contentOf(target_), "theirs");
    EXPECT_EQ(namesInTarget().size(), 1U);
}

TEST_F(FileCopierTest, ATreeThatIsMovedMeanwhileLeadsNowhereElse) {
    std::string deep = root_ / "tree";
    for (int depth = 0; depth < 40; ++depth)
        deep += "/d";
    writeContent(deep + "/file", std::string(5000, 'x'));
    writeContent(root_ / "elsewhere/secret", "x");
    bool isMoved = false;
    const std::string error = endOf(root_ / "tree", target_, [&](const CopyProgress& progress) {
        if (progress.bytesCompleted == 2000 && !isMoved) {
            fs::rename(root_ / "tree/d/d/d", root_ / "elsewhere/d");
            isMoved = true;
        }
        return true;
    });
    EXPECT_TRUE(isMoved);
    EXPECT_EQ(error, (root_ / "tree/d/d/d: It was moved meanwhile").string());
    EXPECT_EQ(namesInTarget(), std::vector<std::string>());
}

TEST_F(FileCopierTest, HolesStayHoles) {
    constexpr off_t kSize = off_t{1} << 30;
    const LinuxFileCopier copier{{std::chrono::milliseconds(100), 1 << 20}};
    std::string error;
    for (const off_t at : {off_t{0}, kSize / 2, kSize - 3}) {
        const std::string source = root_ / ("sparse" + std::to_string(at));
        const std::string target = root_ / "to" / ("sparse" + std::to_string(at));
        writeContent(source, "");
        fs::resize_file(source, kSize);
        const Descriptor file(open(source.c_str(), O_WRONLY));
        ASSERT_EQ(pwrite(file.number(), "end", 3, at), 3);
        ASSERT_EQ(copier.copy(source, target, goesOn, error), CopyEnd::copied) << error;
        EXPECT_EQ(statusOf(target).st_size, kSize);
        EXPECT_LT(statusOf(target).st_blocks, 1024);
        const Descriptor copied(open(target.c_str(), O_RDONLY));
        std::array<char, 3> bytes{};
        EXPECT_EQ(pread(copied.number(), bytes.data(), 3, at), 3);
        EXPECT_EQ(std::string(bytes.data(), 3), "end");
    }
}

TEST_F(FileCopierTest, FilesThatTheKernelMakesUpAreCopiedToTheirEnd) {
    EXPECT_EQ(endOf("/proc/version", target_), "");
    EXPECT_EQ(contentOf(target_), contentOf("/proc/version"));
    EXPECT_NE(contentOf(target_), "");
}

TEST_F(FileCopierTest, AccessListsAreTheSourcesOwn) {
    // The kernel's form: version 2, then tag, permissions and id of each entry.
    const auto list = [](unsigned char ofUser) {
        const unsigned char entry[][4] = {{1, 6, 0xFF, 0xFF},
                                          {2, ofUser, 99, 0},
                                          {4, 0, 0xFF, 0xFF},
                                          {16, 6, 0xFF, 0xFF},
                                          {32, 0, 0xFF, 0xFF}};
        std::string bytes("\2\0\0\0", 4);
        for (const auto& e : entry) {
            const bool hasId = e[0] == 2;
            bytes += {static_cast<char>(e[0]), 0,
                      static_cast<char>(e[1]), 0,
                      static_cast<char>(e[2]), hasId ? '\0' : '\xFF',
                      hasId ? '\0' : '\xFF',   hasId ? '\0' : '\xFF'};
        }
        return bytes;
    };
    writeContent(root_ / "tree/file", "x");
    writeContent(root_ / "tree/plain", "x");
    const char* access = "system.posix_acl_access";
    const auto set = [](const fs::path& path, const char* name, const std::string& value) {
        return setxattr(path.c_str(), name, value.data(), value.size(), 0) == 0;
    };
    if (!set(root_ / "tree/file", access, list(4)) ||
        !set(root_ / "to", "system.posix_acl_default", list(7)))
        GTEST_SKIP() << "no access lists here";
    EXPECT_EQ(endOf(root_ / "tree", target_), "");
    EXPECT_EQ(endOf(root_ / "tree/plain", root_ / "to/plain"), "");
    std::string kept(100, '\0');
    const auto sizeOf = [&](const std::string& path, const char* name) {
        return getxattr(path.c_str(), name, kept.data(), kept.size());
    };
    kept.resize(static_cast<std::size_t>(std::max<ssize_t>(0, sizeOf(target_ + "/file", access))));
    EXPECT_EQ(kept, list(4));
    for (const std::string& path : {target_, target_ + "/plain", (root_ / "to/plain").string()}) {
        EXPECT_EQ(sizeOf(path, access), -1) << path;
        EXPECT_EQ(sizeOf(path, "system.posix_acl_default"), -1) << path;
    }
}

TEST_F(FileCopierTest, AFreeNameIsNobodyElses) {
    const Descriptor folder(open(root_.c_str(), O_RDONLY | O_DIRECTORY));
    writeContent(root_ / "one", "1");
    writeContent(root_ / "two", "2");
    EXPECT_FALSE(renameToFreeName(folder, "one", folder, "two"));
    EXPECT_EQ(errno, EEXIST);
    EXPECT_TRUE(renameToFreeName(folder, "one", folder, "three"));
    EXPECT_EQ(contentOf(root_ / "two") + contentOf(root_ / "three"), "21");
}

/// A file system of a megabyte, where the system permits one.
class SmallFileSystemTest : public FileCopierTest {
protected:
    void SetUp() override {
        // Mounts in a name space of this process's own go with it, whatever becomes of the test.
        static const bool isAlone = unshare(CLONE_NEWNS) == 0 &&
                                    mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0;
        isMounted_ = isAlone && mount("none", (root_ / "to").c_str(), "tmpfs", 0, "size=1m") == 0;
        if (!isMounted_)
            GTEST_SKIP() << "no file system can be mounted here";
    }
    void TearDown() override {
        if (isMounted_)
            umount2((root_ / "to").c_str(), MNT_DETACH);
    }

private:
    bool isMounted_ = false;
};

TEST_F(SmallFileSystemTest, TakesACopyFromAnother) {
    const std::string tree = makeTree();
    EXPECT_EQ(endOf(tree, target_), "");
    EXPECT_EQ(treeAt(target_).size(), treeAt(tree).size());
    EXPECT_EQ(contentOf(target_ + "/closed/inner/file"), std::string(10000, 'x'));
    EXPECT_EQ(statusOf(target_ + "/closed").st_mtim.tv_nsec, 987654321);
}

TEST_F(SmallFileSystemTest, AFullOneHasNothingOfTheCopy) {
    makeTree();
    const std::string large = root_ / "tree/closed/large";
    writeContent(large, std::string(3 << 20, 'x'));
    EXPECT_EQ(endOf(large, target_), target_ + ": " + wordingOf(ENOSPC));
    EXPECT_EQ(endOf(root_ / "tree", target_), target_ + "/closed/large: " + wordingOf(ENOSPC));
    std::string error;
    EXPECT_EQ(kCopier.copy(large, target_, goesOn, error), CopyEnd::failedForAnybody);
    EXPECT_EQ(namesInTarget(), std::vector<std::string>());
}

TEST_F(SmallFileSystemTest, AFolderIsNotCopiedIntoItselfBySecondMounts) {
    writeContent(root_ / "tree/inner/file", "x");
    ASSERT_EQ(
        mount((root_ / "tree/inner").c_str(), (root_ / "to").c_str(), nullptr, MS_BIND, nullptr),
        0);
    const std::string error = endOf(root_ / "tree", root_ / "to/new");
    EXPECT_TRUE(error.ends_with("A folder cannot be copied into itself")) << error;
    EXPECT_EQ(namesInTarget(), std::vector<std::string>{"file"});
    umount2((root_ / "to").c_str(), MNT_DETACH);
}

} // namespace
} // namespace cutstack
