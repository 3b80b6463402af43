#include "support/UserDefaults.h"

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <gtest/gtest.h>
#include <new>
#include <sys/resource.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

#include "support/PropertyListWriting.h"
#include "tests/TemporaryFolder.h"

namespace {

/// How many allocations succeed before one fails; negative for no failure.
int allocationsBeforeFailure = -1;

} // namespace

// Out of line, as the compiler takes a call of free() beside one of new for a mistake.
[[gnu::noinline]] void* operator new(std::size_t size) {
    if (allocationsBeforeFailure >= 0 && allocationsBeforeFailure-- == 0)
        throw std::bad_alloc();
    if (void* memory = std::malloc(size); memory != nullptr)
        return memory;
    throw std::bad_alloc();
}
[[gnu::noinline]] void operator delete(void* memory) noexcept { std::free(memory); }
[[gnu::noinline]] void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }

namespace cutstack {

namespace {

namespace fs = std::filesystem;

class UserDefaultsTest : public testing::Test {
protected:
    /// Writes the file as another program would.
    void writeFile(const PropertyList::Dictionary& values) const {
        writeContent(path_, xmlPropertyList(values).value_or("unwritable"));
    }

    [[nodiscard]] PropertyList fileNow() const {
        const auto list = readPreferencesFile(path_);
        EXPECT_TRUE(list.has_value());
        return list.value_or(PropertyList());
    }

    static void synchronizeWell(UserDefaults& defaults) {
        const Synchronization result = defaults.synchronize();
        EXPECT_EQ(result.error, "");
        EXPECT_EQ(result.damage, "");
        EXPECT_EQ(result.damagedFile, "");
    }

    const TemporaryFolder folder_;
    const std::string path_ = folder_ / "Preferences/com.zantrel.Cutstack.plist";
};

TEST_F(UserDefaultsTest, changesCoverTheFileWhichCoversTheRegisteredDefaults) {
    writeFile({{"stored", "file"}, {"both", "file"}, {"number", true}});
    UserDefaults defaults(path_);
    defaults.registerDefaults({{"both", "registered"}, {"registered", 7}});
    EXPECT_EQ(defaults.stringForKey("stored"), "file");
    EXPECT_EQ(defaults.stringForKey("both"), "file");
    EXPECT_EQ(defaults.integerForKey("registered"), 7);
    EXPECT_TRUE(defaults.boolForKey("registered"));
    EXPECT_EQ(defaults.integerForKey("number"), 1);
    EXPECT_EQ(defaults.stringForKey("number"), std::nullopt);
    EXPECT_EQ(defaults.objectForKey("absent"), std::nullopt);
    EXPECT_EQ(defaults.integerForKey("absent"), 0);
    EXPECT_FALSE(defaults.boolForKey("absent"));

    defaults.setObject("changed", "both");
    EXPECT_EQ(defaults.stringForKey("both"), "changed");
    defaults.removeObject("both");
    EXPECT_EQ(defaults.stringForKey("both"), "registered");
    defaults.removeObject("stored");
    EXPECT_EQ(defaults.objectForKey("stored"), std::nullopt);
    synchronizeWell(defaults);
    EXPECT_EQ(defaults.stringForKey("both"), "registered");
    EXPECT_EQ(fileNow(), PropertyList(PropertyList::Dictionary{{"number", true}}));
}

TEST_F(UserDefaultsTest, synchronizingBringsTheChangesOfOthersAndKeepsThem) {
    UserDefaults defaults(path_);
    defaults.registerDefaults({{"registered", 1}});
    synchronizeWell(defaults);
    EXPECT_FALSE(fs::exists(folder_ / "Preferences")); // nothing to write

    defaults.setObject(1, "mine");
    synchronizeWell(defaults);
    writeFile({{"mine", 2}, {"foreign", PropertyList::Array{1, "x"}}});
    defaults.setObject(true, "also mine");
    EXPECT_EQ(defaults.integerForKey("mine"), 1);
    synchronizeWell(defaults);
    EXPECT_EQ(defaults.integerForKey("mine"), 2); // the other one's is newer
    const PropertyList expected = PropertyList::Dictionary{
        {"mine", 2}, {"foreign", PropertyList::Array{1, "x"}}, {"also mine", true}};
    EXPECT_EQ(fileNow(), expected);

    fs::remove(path_);
    synchronizeWell(defaults);
    EXPECT_EQ(defaults.objectForKey("mine"), std::nullopt);
}

TEST_F(UserDefaultsTest, binaryPreferencesBecomeXml) {
    fs::create_directory(folder_ / "Preferences");
    const std::string command = "python3 -c \"import plistlib; plistlib.dump({'kept': 5}, open('" +
                                path_ + "', 'wb'), fmt=plistlib.FMT_BINARY)\"";
    ASSERT_EQ(std::system(command.c_str()), 0);
    UserDefaults defaults(path_);
    EXPECT_EQ(defaults.integerForKey("kept"), 5);
    defaults.setObject("x", "new");
    synchronizeWell(defaults);
    EXPECT_TRUE(contentOf(path_).starts_with("<?xml"));
    EXPECT_EQ(fileNow(), PropertyList(PropertyList::Dictionary{{"kept", 5}, {"new", "x"}}));
}

TEST_F(UserDefaultsTest, aForeignValueThatXmlCannotCarryStaysInTheFilePutAside) {
    fs::create_directory(folder_ / "Preferences");
    const std::string command =
        "python3 -c \"import plistlib; plistlib.dump({'kept': 5, 'bad': chr(1)}, open('" + path_ +
        "', 'wb'), fmt=plistlib.FMT_BINARY)\"";
    ASSERT_EQ(std::system(command.c_str()), 0);
    const std::string before = contentOf(path_);
    UserDefaults defaults(path_);
    defaults.setObject("x", "new");
    const Synchronization result = defaults.synchronize();
    EXPECT_EQ(result.error, "");
    EXPECT_NE(result.damage.find("the value of bad cannot be written"), std::string::npos);
    EXPECT_EQ(result.damagedFile, path_ + ".damaged-1");
    EXPECT_EQ(contentOf(result.damagedFile), before);
    EXPECT_EQ(fileNow(), PropertyList(PropertyList::Dictionary{{"kept", 5}, {"new", "x"}}));
}

TEST_F(UserDefaultsTest, aDamagedFileIsPutAsideAndNeverOverwritten) {
    writeFile({{"old", 1}});
    UserDefaults defaults(path_);
    const char* damaged[] = {"<plist><dict><key>cut off", "", "<plist><array/></plist>"};
    for (std::size_t i = 0; i < std::size(damaged); ++i) {
        SCOPED_TRACE(damaged[i]);
        writeContent(path_, damaged[i]);
        EXPECT_EQ(readPreferencesFile(path_), std::nullopt);
        const Synchronization reading = defaults.synchronize();
        EXPECT_NE(reading.error, "");
        EXPECT_EQ(contentOf(path_), damaged[i]); // it had nothing to write

        defaults.setObject(std::int64_t(i), "new");
        const Synchronization writing = defaults.synchronize();
        EXPECT_EQ(writing.error, "");
        EXPECT_NE(writing.damage, "");
        EXPECT_EQ(writing.damagedFile, path_ + ".damaged-" + std::to_string(i + 1));
        EXPECT_EQ(contentOf(writing.damagedFile), damaged[i]);
        const PropertyList expected =
            PropertyList::Dictionary{{"old", 1}, {"new", std::int64_t(i)}};
        EXPECT_EQ(fileNow(), expected);
    }
}

TEST_F(UserDefaultsTest, aFileThatCannotBeReadIsLeftAlone) {
    const std::string saved = folder_ / "saved";
    rlimit descriptors{};
    ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &descriptors), 0);
    struct Case {
        const char* name;
        std::function<void()> prepare;
        std::function<void()> undo;
    };
    std::vector<Case> cases{
        {"a folder in its place",
         [&] {
             fs::rename(path_, saved);
             fs::create_directory(path_);
         },
         [&] {
             fs::remove(path_);
             fs::rename(saved, path_);
         }},
        {"too large",
         [&] {
             fs::copy_file(path_, saved);
             fs::resize_file(path_, std::uintmax_t{1} << 40);
         },
         [&] { fs::rename(saved, path_); }},
        {"a descriptor for the lock and none for the file",
         [&] {
             const int next = dup(0);
             close(next);
             const rlimit one{static_cast<rlim_t>(next) + 1, descriptors.rlim_max};
             setrlimit(RLIMIT_NOFILE, &one);
         },
         [&] { setrlimit(RLIMIT_NOFILE, &descriptors); }},
    };
    if (getuid() != 0)
        cases.push_back({"not permitted", [&] { fs::permissions(path_, fs::perms::none); },
                         [&] { fs::permissions(path_, fs::perms::owner_all); }});
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        writeFile({{"old", 1}});
        UserDefaults defaults(path_);
        writeFile({{"foreign", 1}});
        defaults.setObject(2, "new");
        c.prepare();
        const Synchronization failed = defaults.synchronize();
        c.undo();
        EXPECT_NE(failed.error, "");
        EXPECT_EQ(failed.damage + failed.damagedFile, "");
        EXPECT_FALSE(fs::exists(path_ + ".damaged-1"));
        synchronizeWell(defaults);
        EXPECT_EQ(fileNow(), PropertyList(PropertyList::Dictionary{{"foreign", 1}, {"new", 2}}));
    }
}

TEST_F(UserDefaultsTest, aLinkStaysAndTheFileBehindItIsPutAside) {
    const std::string file = folder_ / "elsewhere/settings.plist";
    writeContent(file, "damaged");
    fs::create_directory(folder_ / "Preferences");
    fs::create_symlink(file, path_);
    UserDefaults defaults(path_);
    defaults.setObject(1, "new");
    EXPECT_EQ(defaults.synchronize().damagedFile, file + ".damaged-1");
    EXPECT_TRUE(fs::is_symlink(path_));
    EXPECT_EQ(contentOf(file + ".damaged-1"), "damaged");
    EXPECT_EQ(contentOf(file), contentOf(path_));
    EXPECT_EQ(fileNow(), PropertyList(PropertyList::Dictionary{{"new", 1}}));
    EXPECT_TRUE(fs::exists(folder_ / "elsewhere/.settings.plist.lock"));
}

TEST_F(UserDefaultsTest, noMemoryLosesNoChange) {
    int failures = 0;
    for (bool isDone = false; !isDone; ++failures) {
        SCOPED_TRACE(failures);
        writeFile({{"foreign", "a value that is too long to be kept without memory"}});
        UserDefaults defaults(path_);
        defaults.setObject(failures, "new");
        allocationsBeforeFailure = failures;
        const Synchronization result = defaults.synchronize();
        isDone = allocationsBeforeFailure >= 0;
        allocationsBeforeFailure = -1;
        EXPECT_EQ(defaults.integerForKey("new"), failures);
        EXPECT_EQ(result.damagedFile, "");
        synchronizeWell(defaults);
        EXPECT_EQ(defaults.integerForKey("new"), failures);
        EXPECT_EQ(fileNow().valueForKey("new")->integerValue(), failures);
        EXPECT_TRUE(fileNow().valueForKey("foreign"));
    }
    EXPECT_GT(failures, 10);
}

TEST_F(UserDefaultsTest, aDamagedFileComesBackWhenNoNewOneCanBeWritten) {
    writeContent(path_, "damaged");
    UserDefaults defaults(path_);
    defaults.setObject(1, "new");
    rlimit before{};
    ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &before), 0);
    const rlimit nothing{0, before.rlim_max};
    const auto handler = std::signal(SIGXFSZ, SIG_IGN);
    setrlimit(RLIMIT_FSIZE, &nothing);
    const Synchronization failed = defaults.synchronize();
    setrlimit(RLIMIT_FSIZE, &before);
    static_cast<void>(std::signal(SIGXFSZ, handler));
    EXPECT_NE(failed.error, "");
    EXPECT_EQ(failed.damagedFile, "");
    EXPECT_EQ(contentOf(path_), "damaged");
    EXPECT_EQ(defaults.synchronize().damagedFile, path_ + ".damaged-1");
    EXPECT_EQ(fileNow(), PropertyList(PropertyList::Dictionary{{"new", 1}}));
}

TEST_F(UserDefaultsTest, whatCannotBeWrittenStaysPending) {
    UserDefaults defaults(path_);
    defaults.setObject("\x01", "bad");
    defaults.setObject("good", "good");
    const Synchronization result = defaults.synchronize();
    EXPECT_NE(result.error.find("the value of bad cannot be written"), std::string::npos);
    EXPECT_EQ(fileNow(), PropertyList(PropertyList::Dictionary{{"good", "good"}}));
    EXPECT_EQ(defaults.stringForKey("bad"), "\x01");
    defaults.setObject("better", "bad");
    synchronizeWell(defaults);
    EXPECT_EQ(fileNow().valueForKey("bad")->asString()->c_str(), std::string("better"));
}

TEST_F(UserDefaultsTest, aFileThatCannotBeWrittenLosesNothing) {
    writeContent(folder_ / "Preferences", "a file where the folder should be");
    UserDefaults defaults(path_);
    defaults.setObject(5, "kept");
    EXPECT_NE(defaults.synchronize().error, "");
    EXPECT_EQ(defaults.integerForKey("kept"), 5);
    fs::remove(folder_ / "Preferences");
    synchronizeWell(defaults);
    EXPECT_EQ(fileNow().valueForKey("kept")->integerValue(), 5);
}

TEST_F(UserDefaultsTest, twoProcessesLoseNothingOfEachOther) {
    constexpr int kRounds = 60;
    writeFile({{"foreign", "kept"}});
    std::vector<pid_t> writers;
    for (const std::string name : {"a", "b"}) {
        writers.push_back(fork());
        if (writers.back() != 0)
            continue;
        UserDefaults defaults(path_);
        bool isWell = true;
        for (int i = 0; i < kRounds; ++i) {
            defaults.setObject(i, name + std::to_string(i));
            defaults.setObject(i, name);
            isWell = defaults.synchronize().error.empty() && isWell;
        }
        _exit(isWell ? 0 : 1);
    }
    for (const pid_t writer : writers) {
        int status = -1;
        ASSERT_EQ(waitpid(writer, &status, 0), writer);
        EXPECT_EQ(status, 0);
    }
    PropertyList::Dictionary expected{{"foreign", "kept"}};
    for (const std::string name : {"a", "b"}) {
        expected.emplace(name, kRounds - 1);
        for (int i = 0; i < kRounds; ++i)
            expected.emplace(name + std::to_string(i), i);
    }
    EXPECT_EQ(fileNow(), PropertyList(expected));
}

TEST_F(UserDefaultsTest, threadsSeeTheirOwnChangesThroughoutASynchronization) {
    UserDefaults defaults(path_);
    const auto work = [&defaults](const std::string& key) {
        for (int i = 1; i <= 60; ++i) {
            defaults.setObject(i, key);
            EXPECT_EQ(defaults.integerForKey(key), i);
            EXPECT_EQ(defaults.synchronize().error, "");
            EXPECT_EQ(defaults.integerForKey(key), i);
        }
    };
    std::thread other(work, "a");
    work("b");
    other.join();
    EXPECT_EQ(fileNow(), PropertyList(PropertyList::Dictionary{{"a", 60}, {"b", 60}}));
}

} // namespace

} // namespace cutstack
