// The trash against real folders. What is in it is put back as a file manager would do it: by the
// notes alone.

#include "platform/Trash.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <fstream>
#include <functional>
#include <gtest/gtest.h>
#include <map>
#include <sched.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <system_error>
#include <thread>
#include <unistd.h>
#include <vector>

#include "platform/linux/FreedesktopTrash.h"
#include "platform/linux/TrashInfo.h"
#include "tests/Subprocess.h"
#include "tests/TemporaryFolder.h"
#include "tests/platform/Fakes.h"

namespace cutstack {
namespace {

namespace fs = std::filesystem;

constexpr uid_t kNobody = 65534;

std::string wordingOf(int fault) { return std::generic_category().message(fault); }

std::string userNumber() { return std::to_string(getuid()); }

std::string percentDecoded(const std::string& text) {
    std::string decoded;
    for (std::size_t at = 0; at < text.size(); ++at) {
        if (text[at] == '%') {
            decoded += static_cast<char>(std::stoi(text.substr(at + 1, 2), nullptr, 16));
            at += 2;
        } else {
            decoded += text[at];
        }
    }
    return decoded;
}

/// Everything below a folder, without what the trash may make of itself.
std::vector<std::string> entriesBelow(const fs::path& folder) {
    std::vector<std::string> entries;
    for (const fs::directory_entry& entry : fs::recursive_directory_iterator(folder)) {
        const std::string path = entry.path().lexically_relative(folder);
        entries.push_back(path + (entry.is_symlink() ? "@" : ""));
    }
    std::sort(entries.begin(), entries.end());
    return entries;
}

/// The names in the trash at `trash`, each by the path that its note says. Fails the running test
/// when notes and things don't belong together, or a note is not as it should be.
std::map<std::string, std::string> namesByNotedPath(const fs::path& trash) {
    std::map<std::string, std::string> names;
    for (const fs::directory_entry& entry : fs::directory_iterator(trash / "info")) {
        const std::string name = entry.path().stem();
        EXPECT_EQ(entry.path().extension(), kTrashInfoExtension);
        EXPECT_TRUE(fs::exists(fs::symlink_status(trash / "files" / name))) << name;
        const std::string note = contentOf(entry.path());
        const std::string before = "[Trash Info]\nPath=";
        const std::string after = "\nDeletionDate=2010-03-14T17:05:09\n";
        EXPECT_TRUE(note.starts_with(before) && note.ends_with(after)) << note;
        const std::string path =
            note.substr(before.size(), note.size() - before.size() - after.size());
        EXPECT_EQ(std::count(note.begin(), note.end(), '\n'), 3) << note;
        names[percentDecoded(path)] = name;
    }
    const auto files = fs::directory_iterator(trash / "files");
    EXPECT_EQ(names.size(), static_cast<std::size_t>(std::distance(begin(files), end(files))));
    return names;
}

/// Puts back everything that is in the trash; what the notes say is taken from `top` on.
void putBack(const fs::path& trash, const fs::path& top = "/") {
    for (const auto& [path, name] : namesByNotedPath(trash)) {
        fs::rename(trash / "files" / name, top / path);
        fs::remove(trash / "info" / (name + kTrashInfoExtension));
    }
}

mode_t modeOf(const std::string& path) {
    struct stat status {};
    EXPECT_EQ(lstat(path.c_str(), &status), 0) << path;
    return status.st_mode & 07777;
}

class TrashTest : public testing::Test {
protected:
    TrashTest() { fs::create_directories(home_); }

    /// Why a thing did not go to the trash; empty when it did.
    static std::string faultIn(const TrashOwner& owner, const std::string& path,
                               const FakeClock& clock = {}) {
        std::string error;
        FreedesktopTrash trash(owner, clock);
        return trash.moveToTrash(path, error) ? "" : error;
    }
    std::string faultOf(const std::string& path) const { return faultIn(owner_, path); }

    const TemporaryFolder folder_;
    const fs::path root_ = fs::canonical(folder_.path());
    const std::string home_ = root_ / "home/anna";
    const std::string trash_ = home_ + "/.local/share/Trash";
    const TrashOwner owner_{getuid(), home_, {}};
};

TEST_F(TrashTest, GivesBackWhateverCameIn) {
    std::string twoByteCharacters = "x";
    while (twoByteCharacters.size() < 255)
        twoByteCharacters += "\xC3\xBC";
    const std::vector<std::string> names = {"plain.fcp",
                                            "two words",
                                            "line\nbreak\r",
                                            "-rf",
                                            " ",
                                            ".hidden",
                                            "100%25",
                                            "Schl\xC3\xBCssel.xml",
                                            "\xFF\xFE\x80",
                                            "[x]=#;\\\"'",
                                            "note.trashinfo",
                                            "files",
                                            "info",
                                            std::string(255, 'n'),
                                            std::string(250, 'n') + ".fcp",
                                            "." + std::string(254, 'e'),
                                            "n." + std::string(253, 'e'),
                                            std::string(255, '\x80'),
                                            twoByteCharacters};
    fs::create_directories(root_ / "a b/%41");
    for (const std::string& name : names) {
        writeContent(root_ / "a b" / name, "of " + name);
        writeContent(root_ / "a b/%41" / name / "inner", "in " + name);
    }
    const auto before = entriesBelow(root_ / "a b");
    for (const std::string& name : names) {
        ASSERT_EQ(faultOf(root_ / "a b" / name), "") << name;
        ASSERT_EQ(faultOf(root_ / "a b/%41" / name), "") << name;
    }
    EXPECT_EQ(entriesBelow(root_ / "a b"), std::vector<std::string>{"%41"});
    putBack(trash_);
    EXPECT_EQ(entriesBelow(root_ / "a b"), before);
    for (const std::string& name : names) {
        EXPECT_EQ(contentOf(root_ / "a b" / name), "of " + name);
        EXPECT_EQ(contentOf(root_ / "a b/%41" / name / "inner"), "in " + name);
    }
}

TEST_F(TrashTest, TakesLinksThemselves) {
    writeContent(root_ / "target/file", "stays");
    fs::create_directory_symlink("target", root_ / "to folder");
    fs::create_symlink("target/file", root_ / "to file");
    fs::create_symlink("nowhere", root_ / "dangling");
    fs::create_symlink("loop", root_ / "loop");
    fs::create_symlink(home_, root_ / "to home");
    const auto before = entriesBelow(root_ / "target");
    for (const char* name : {"to folder//", "to file", "dangling", "loop", "to home"})
        EXPECT_EQ(faultOf(root_ / name), "") << name;
    EXPECT_EQ(entriesBelow(root_ / "target"), before);
    putBack(trash_);
    EXPECT_EQ(fs::read_symlink(root_ / "to folder"), "target");
    EXPECT_EQ(fs::read_symlink(root_ / "dangling"), "nowhere");

    // Links before the last name are followed, and the note has the way without them.
    EXPECT_EQ(faultOf(root_ / "to folder/../to folder/./file"), "");
    EXPECT_EQ(namesByNotedPath(trash_).begin()->first, root_ / "target/file");
}

TEST_F(TrashTest, UnderstandsRelativePaths) {
    writeContent(root_ / "sub/file", "x");
    const fs::path before = fs::current_path();
    fs::current_path(root_ / "sub");
    EXPECT_EQ(faultOf("file"), "");
    EXPECT_EQ(faultOf("../sub/"), "");
    fs::current_path(before);
    const auto names = namesByNotedPath(trash_);
    EXPECT_EQ(names.count(root_ / "sub/file"), 1U);
    EXPECT_EQ(names.count(root_ / "sub"), 1U);
}

TEST_F(TrashTest, NamesWhatHasTheSameName) {
    // One name that only a note has, and one that only a thing has: both are in use.
    ASSERT_EQ(faultOf((writeContent(root_ / "x", ""), root_ / "x")), "");
    writeContent(trash_ + "/info/cut 2.fcp.trashinfo", "another's");
    writeContent(trash_ + "/files/cut 3.fcp", "another's");
    fs::create_directories(trash_ + "/files/cut 4.fcp/full");
    for (const char* expected : {"cut.fcp", "cut 5.fcp", "cut 6.fcp"}) {
        writeContent(root_ / "cut.fcp", expected);
        ASSERT_EQ(faultOf(root_ / "cut.fcp"), "");
        EXPECT_EQ(contentOf(trash_ + "/files/" + expected), expected);
        EXPECT_TRUE(fs::exists(trash_ + "/info/" + expected + ".trashinfo"));
    }
    EXPECT_EQ(contentOf(trash_ + "/info/cut 2.fcp.trashinfo"), "another's");
    EXPECT_EQ(contentOf(trash_ + "/files/cut 3.fcp"), "another's");
    EXPECT_FALSE(fs::exists(trash_ + "/info/cut 3.fcp.trashinfo"));
}

TEST(TrashInfo, NamesFitAndKeepTheirExtension) {
    struct Case {
        std::string name;
        unsigned number;
        std::string expected; ///< in 40 bytes
    };
    const std::string x40(40, 'x');
    const std::string x34 = x40.substr(0, 34);
    for (const Case& c : {
             Case{"cut.fcp", 1, "cut.fcp"},
             {"cut.fcp", 2, "cut 2.fcp"},
             {"cut.tar.gz", 12, "cut.tar 12.gz"},
             {"cut", 2, "cut 2"},
             {".cut", 2, ".cut 2"},
             {"cut.", 2, "cut 2."},
             {x40, 1, x40},
             {x40 + "x", 1, x40},
             {x40 + "x", 2, x40.substr(0, 38) + " 2"},
             {x40 + ".fcp", 2, x34 + " 2.fcp"},
             {"c." + x40, 2, "c." + x40.substr(0, 36) + " 2"},
             {x40.substr(0, 39) + "\xC3\xBC", 1, x40.substr(0, 39)},
             {x40.substr(0, 38) + "\xF0\x9F\x98\x80", 1, x40.substr(0, 38)},
             {std::string(50, '\x80'), 1, std::string(40, '\x80')},
         })
        EXPECT_EQ(trashName(c.name, c.number, 40), c.expected) << c.name << " " << c.number;
}

TEST(TrashInfo, NotesBytesAndLocalTime) {
    EXPECT_EQ(trashInfo("/a b/\xC3\xBC\n%", std::chrono::sys_seconds(std::chrono::seconds(-1))),
              "[Trash Info]\nPath=/a%20b/%C3%BC%0A%25\nDeletionDate=1969-12-31T23:59:59\n");
}

TEST_F(TrashTest, RefusesWhatMustStay) {
    writeContent(root_ / "file", "x");
    fs::create_directory_symlink(root_ / "home", root_ / "link");
    writeContent(root_ / "old", "x");
    const TrashOwner throughLink{getuid(), root_ / "link/anna", {}};
    ASSERT_EQ(faultIn(throughLink, root_ / "old"), "");
    const std::string home = "It is the home folder or leads to it";
    const std::string trash = "It is the Trash or leads to it";
    const std::string inTrash = "It is in the Trash already";
    struct Case {
        std::string path;
        std::string fault;
    };
    const Case cases[] = {
        {"/", home},
        {"///", home},
        {root_, home},
        {root_ / "home", home},
        {home_, home},
        {home_ + "///", home},
        {root_ / "link", home},
        {root_ / "link/anna", home},
        {home_ + "/.local", trash},
        {home_ + "/.local/share", trash},
        {trash_, trash},
        {trash_ + "/info", inTrash},
        {trash_ + "/files", inTrash},
        {trash_ + "/files/old", inTrash},
        {root_ / "link/anna/.local/share/Trash/files/old", inTrash},
        {"/proc", "A file system begins there"},
        {"", wordingOf(ENOENT)},
        {".", wordingOf(EINVAL)},
        {"..", wordingOf(EINVAL)},
        {root_ / "home/..", wordingOf(EINVAL)},
        {home_ + "/./", wordingOf(EINVAL)},
        {root_ / std::string("file\0x", 6), wordingOf(EINVAL)},
        {root_ / "missing", wordingOf(ENOENT)},
        {root_ / "missing/file", wordingOf(ENOENT)},
        {root_ / "file/x", wordingOf(ENOTDIR)},
        {root_ / std::string(256, 'n'), wordingOf(ENAMETOOLONG)},
    };
    const auto before = entriesBelow(root_);
    for (const Case& c : cases)
        EXPECT_EQ(faultIn(throughLink, c.path), c.fault) << c.path;
    EXPECT_EQ(entriesBelow(root_), before);

    const TrashOwner dataElsewhere{getuid(), home_, root_ / "data"};
    EXPECT_EQ(faultIn(dataElsewhere, root_ / "home"), home);
}

TEST_F(TrashTest, MakesTheHomeTrashForItsUserAlone) {
    writeContent(root_ / "file", "x");
    const TrashOwner dataElsewhere{getuid(), home_, root_ / "deep/data"};
    const mode_t umaskBefore = umask(0);
    EXPECT_EQ(faultIn(dataElsewhere, root_ / "file"), "");
    umask(umaskBefore);
    for (const char* made :
         {"deep", "deep/data", "deep/data/Trash", "deep/data/Trash/files", "deep/data/Trash/info"})
        EXPECT_EQ(modeOf(root_ / made), 0700U) << made;
    EXPECT_EQ(modeOf(root_ / "deep/data/Trash/info/file.trashinfo"), 0600U);
    EXPECT_EQ(entriesBelow(home_), std::vector<std::string>());
}

TEST_F(TrashTest, LeavesThingsWhereTheyAreWithoutATrash) {
    writeContent(root_ / "file", "x");
    fs::create_directories(root_ / "elsewhere/info");
    struct Case {
        const char* what;
        std::function<void()> prepare;
        int fault;
    };
    const Case cases[] = {
        {"a file in the way", [&] { writeContent(home_ + "/.local", "x"); }, ENOTDIR},
        {"a file as the trash", [&] { writeContent(trash_, "x"); }, ENOTDIR},
        {"a dangling link in the way", [&] { fs::create_symlink("nowhere", home_ + "/.local"); },
         ENOENT},
        {"a link in the trash",
         [&] {
             fs::create_directories(trash_);
             fs::create_directory_symlink(root_ / "elsewhere", trash_ + "/files");
         },
         ENOTDIR},
    };
    for (const Case& c : cases) {
        c.prepare();
        EXPECT_EQ(faultOf(root_ / "file"),
                  "The Trash at " + trash_ + " cannot be used: " + wordingOf(c.fault))
            << c.what;
        EXPECT_EQ(contentOf(root_ / "file"), "x") << c.what;
        fs::remove_all(home_ + "/.local");
    }
    EXPECT_EQ(entriesBelow(root_ / "elsewhere"), std::vector<std::string>{"info"});
}

TEST_F(TrashTest, KeepsOutOfAnothersTrash) {
    if (getuid() != 0)
        GTEST_SKIP() << "only root can give folders away";
    writeContent(root_ / "file", "x");
    fs::create_directories(trash_);
    ASSERT_EQ(chown(trash_.c_str(), kNobody, kNobody), 0);
    EXPECT_EQ(faultOf(root_ / "file"),
              "The Trash at " + trash_ + " cannot be used: " + wordingOf(EPERM));
    EXPECT_TRUE(fs::exists(root_ / "file"));
}

TEST_F(TrashTest, MayNotTakeFromAFolderThatMayNotBeWritten) {
    writeContent(root_ / "closed/file", "x");
    ASSERT_EQ(chmod((root_ / "closed").c_str(), 0555), 0);
    ASSERT_EQ(chmod(root_.c_str(), 0755), 0);
    if (getuid() == 0) {
        ASSERT_EQ(chown(home_.c_str(), kNobody, kNobody), 0);
    }
    const TrashOwner owner{getuid() == 0 ? kNobody : getuid(), home_, {}};
    EXPECT_TRUE(
        asOrdinaryUser([&] { return faultIn(owner, root_ / "closed/file") == wordingOf(EACCES); }));
    EXPECT_EQ(contentOf(root_ / "closed/file"), "x");
    EXPECT_EQ(namesByNotedPath(trash_).size(), 0U);

    ASSERT_EQ(chmod((root_ / "closed").c_str(), 0777), 0);
    EXPECT_TRUE(asOrdinaryUser([&] { return faultIn(owner, root_ / "closed/file").empty(); }));
    EXPECT_EQ(namesByNotedPath(trash_).count(root_ / "closed/file"), 1U);
}

TEST_F(TrashTest, NothingStaysOfAThingThatVanishes) {
    /// Removes a file when the time of its removal is asked for: after all has been looked at.
    struct Vanishing final : Clock {
        explicit Vanishing(std::string path) : path_(std::move(path)) {}
        std::chrono::system_clock::time_point now() const override {
            fs::remove(path_);
            return {};
        }
        std::chrono::seconds zoneOffset(std::chrono::system_clock::time_point) const override {
            return {};
        }
        const std::string path_;
    };
    writeContent(root_ / "file", "x");
    const Vanishing clock(root_ / "file");
    std::string error;
    EXPECT_FALSE(FreedesktopTrash(owner_, clock).moveToTrash(root_ / "file", error));
    EXPECT_EQ(error, wordingOf(ENOENT));
    EXPECT_EQ(namesByNotedPath(trash_).size(), 0U);
}

TEST_F(TrashTest, ManyAtOnceDoNotMeet) {
    constexpr std::size_t kThreads = 4;
    constexpr std::size_t kFiles = 25;
    const auto own = [this](std::size_t thread, std::size_t file) {
        return (root_ / std::to_string(thread) / std::to_string(file) / "cut.fcp").string();
    };
    for (std::size_t file = 0; file < kFiles; ++file) {
        writeContent(root_ / "shared" / std::to_string(file), "x");
        for (std::size_t thread = 0; thread < kThreads; ++thread)
            writeContent(own(thread, file), own(thread, file));
    }
    std::array<std::size_t, kThreads> taken{};
    std::vector<std::thread> threads;
    for (std::size_t thread = 0; thread < kThreads; ++thread)
        threads.emplace_back([&, thread] {
            for (std::size_t file = 0; file < kFiles; ++file) {
                taken[thread] += faultOf(own(thread, file)).empty() ? 1U : 0U;
                taken[thread] += faultOf(root_ / "shared" / std::to_string(file)).empty() ? 1U : 0U;
            }
        });
    for (std::thread& thread : threads)
        thread.join();

    std::size_t allTaken = 0;
    for (const std::size_t ofThread : taken)
        allTaken += ofThread;
    EXPECT_EQ(allTaken, (kThreads + 1) * kFiles);
    EXPECT_EQ(namesByNotedPath(trash_).size(), (kThreads + 1) * kFiles);
    putBack(trash_);
    for (std::size_t file = 0; file < kFiles; ++file)
        for (std::size_t thread = 0; thread < kThreads; ++thread)
            EXPECT_EQ(contentOf(own(thread, file)), own(thread, file));
}

TEST_F(TrashTest, TheSystemsIsTheUsersOwn) {
    writeContent(root_ / "file", "x");
    const pid_t child = fork();
    if (child == 0) {
        setenv("HOME", home_.c_str(), 1);
        setenv("XDG_DATA_HOME", "relative/is/ignored", 1);
        std::string error;
        _exit(trash().moveToTrash(root_ / "file", error) ? 0 : 1);
    }
    int status = -1;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
    EXPECT_EQ(contentOf(trash_ + "/files/file"), "x");
}

/// A small file system of its own beside the home folder, where the system permits one.
class SecondFileSystemTest : public TrashTest {
protected:
    void SetUp() override {
        fs::create_directory(top_);
        // Mounts in a name space of this process's own go with it, whatever becomes of the test.
        static const bool isAlone = unshare(CLONE_NEWNS) == 0 &&
                                    mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0;
        isMounted_ = isAlone && mount("none", top_.c_str(), "tmpfs", 0, "size=64k,mode=0755") == 0;
        if (!isMounted_)
            GTEST_SKIP() << "no file system can be mounted here";
    }
    void TearDown() override {
        if (isMounted_)
            umount2(top_.c_str(), MNT_DETACH);
    }

    /// Takes everything off the file system.
    void clear() const {
        for (const fs::directory_entry& entry : fs::directory_iterator(top_))
            fs::remove_all(entry.path());
    }
    std::string ownTrash() const { return top_ + "/.Trash-" + userNumber(); }
    std::string sharedTrash() const { return top_ + "/.Trash/" + userNumber(); }
    void makeShared(mode_t mode) const {
        fs::create_directory(top_ + "/.Trash");
        ASSERT_EQ(chmod((top_ + "/.Trash").c_str(), mode), 0);
    }

    const std::string top_ = root_ / "second";

private:
    bool isMounted_ = false;
};

TEST_F(SecondFileSystemTest, ThingsStayOnIt) {
    struct Case {
        const char* what;
        std::function<void()> prepare;
        std::string trash;
    };
    const Case cases[] = {
        {"nothing there", [] {}, ownTrash()},
        {"one for everybody", [&] { makeShared(01777); }, sharedTrash()},
        {"no sticky bit", [&] { makeShared(0777); }, ownTrash()},
        {"a link to one for everybody",
         [&] {
             makeShared(01777);
             fs::rename(top_ + "/.Trash", top_ + "/real");
             fs::create_directory_symlink("real", top_ + "/.Trash");
         },
         ownTrash()},
        {"a file", [&] { writeContent(top_ + "/.Trash", "x"); }, ownTrash()},
        {"one for everybody that is spoilt",
         [&] {
             makeShared(01777);
             fs::create_directory_symlink("/", sharedTrash());
         },
         ownTrash()},
        {"one for everybody with another's folder",
         [&] {
             makeShared(01777);
             fs::create_directory(sharedTrash());
             ASSERT_EQ(chown(sharedTrash().c_str(), kNobody, kNobody), 0);
         },
         ownTrash()},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        clear();
        c.prepare();
        writeContent(top_ + "/a b/file", "x");
        writeContent(top_ + "/file", "y");
        EXPECT_EQ(faultOf(top_ + "/a b/file"), "");
        EXPECT_EQ(faultOf(top_ + "/file"), "");
        EXPECT_EQ(modeOf(c.trash), 0700U);
        const auto names = namesByNotedPath(c.trash);
        EXPECT_EQ(names.count("a b/file") + names.count("file"), 2U);
        putBack(c.trash, top_);
        EXPECT_EQ(contentOf(top_ + "/a b/file"), "x");
        EXPECT_EQ(contentOf(top_ + "/file"), "y");
    }
    EXPECT_EQ(entriesBelow(home_), std::vector<std::string>());
}

TEST_F(SecondFileSystemTest, RefusesWhatMustStay) {
    makeShared(01777);
    writeContent(top_ + "/file", "x");
    ASSERT_EQ(faultOf(top_ + "/file"), "");
    EXPECT_EQ(faultOf(top_), "A file system begins there");
    for (const std::string& path : {top_ + "/.Trash", sharedTrash()})
        EXPECT_EQ(faultOf(path), "It is the Trash or leads to it") << path;
    for (const std::string& path : {sharedTrash() + "/info", sharedTrash() + "/files/file"})
        EXPECT_EQ(faultOf(path), "It is in the Trash already") << path;
    EXPECT_EQ(contentOf(sharedTrash() + "/files/file"), "x");
}

TEST_F(SecondFileSystemTest, WithoutATrashThereThingsStayWhereTheyAre) {
    writeContent(top_ + "/file", "x");
    const std::string unusable = "The Trash at " + ownTrash() + " cannot be used: ";
    fs::create_directory_symlink("/", ownTrash());
    EXPECT_EQ(faultOf(top_ + "/file"), unusable + wordingOf(ENOTDIR));
    fs::remove(ownTrash());
    fs::create_directory(ownTrash());
    ASSERT_EQ(chown(ownTrash().c_str(), kNobody, kNobody), 0);
    EXPECT_EQ(faultOf(top_ + "/file"), unusable + wordingOf(EPERM));
    fs::remove(ownTrash());

    ASSERT_EQ(chmod(root_.c_str(), 0755), 0);
    const TrashOwner nobody{kNobody, home_, {}};
    const std::string ofNobody = "The Trash at " + top_ + "/.Trash-65534 cannot be used: ";
    EXPECT_TRUE(asOrdinaryUser(
        [&] { return faultIn(nobody, top_ + "/file") == ofNobody + wordingOf(EACCES); }));
    ASSERT_EQ(mount("none", top_.c_str(), "tmpfs", MS_REMOUNT | MS_RDONLY, nullptr), 0);
    EXPECT_EQ(faultOf(top_ + "/file"), unusable + wordingOf(EROFS));
    EXPECT_EQ(entriesBelow(top_), std::vector<std::string>{"file"});
}

TEST_F(SecondFileSystemTest, ServesAUserWithoutAHome) {
    const TrashOwner homes[] = {{getuid(), {}, {}}, {getuid(), root_ / "nowhere", {}}};
    for (const TrashOwner& owner : homes) {
        writeContent(top_ + "/file", "x");
        EXPECT_EQ(faultIn(owner, top_ + "/file"), "");
    }
    EXPECT_EQ(entriesBelow(ownTrash() + "/files"), (std::vector<std::string>{"file", "file 2"}));
    EXPECT_FALSE(fs::exists(root_ / "nowhere"));
}

TEST_F(SecondFileSystemTest, AFullOneKeepsItsThings) {
    writeContent(top_ + "/file", "x");
    std::ofstream filling(top_ + "/filling");
    filling << std::string(100000, 'x') << std::flush;
    EXPECT_FALSE(filling.good());
    EXPECT_EQ(faultOf(top_ + "/file"), wordingOf(ENOSPC));
    EXPECT_EQ(contentOf(top_ + "/file"), "x");
    EXPECT_EQ(namesByNotedPath(ownTrash()).size(), 0U);
}

} // namespace
} // namespace cutstack
