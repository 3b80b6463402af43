// Retention in real folders: what goes, what is never touched, what the log has.

#include "store/Retention.h"

#include <filesystem>

#include <fcntl.h>
#include <sys/stat.h>

#include "changes/ChangelistCache.h"
#include "support/FolderListing.h"
#include "tests/changes/ChangelistsFixture.h"

namespace cutstack {
namespace {

namespace fs = std::filesystem;
using Names = std::vector<std::string>;

class RetentionTest : public testing::Test {
protected:
    RetentionTest() {
        environment_.home = folder_.path();
        log_.createNewLog(std::nullopt);
        rules_.isMinimumSet = rules_.isAgeLimitSet = rules_.isOldLimitSet = false;
        rules_.oldBackupCount = 1'000;
    }

    static constexpr std::int64_t kDay = 86400;

    void put(const std::string& path, std::int64_t daysAgo) {
        writeContent(folder_ / path, path);
        date(path, std::chrono::system_clock::to_time_t(clock_.now()) - daysAgo * kDay);
    }
    void date(const std::string& path, std::int64_t moment) {
        const timespec times[] = {{moment, 0}, {moment, 0}};
        ASSERT_EQ(utimensat(AT_FDCWD, (folder_ / path).c_str(), times, 0), 0);
    }
    /// A project with a file for each age, oldest first: "1", "2", ...
    void putProject(const std::string& project, const std::vector<int>& daysAgo) {
        for (std::size_t i = 0; i < daysAgo.size(); ++i)
            put("Versions/" + project + "/" + std::to_string(i + 1), daysAgo[i]);
    }
    Names manage(RemovalType type = RemovalType::outright, const std::string& store = "Versions") {
        Retention(clock_, log_).manageBackups(folder_ / store, rules_, removal_, type);
        return names("Versions/P.fcp");
    }
    Names names(const std::string& path) const {
        return namesInFolder(folder_ / path).value_or(Names{"no folder"});
    }
    std::string logged() {
        log_.finishWriting();
        return contentOf(folder_ / "Library/Logs/Zantrel/Cutstack.1.log");
    }
    bool hasLogged(const std::string& text) { return logged().find(text) != std::string::npos; }

    ChangelistCache cache(const std::string& version = "1") const {
        return {folder_ / "Caches/P.fcp.cache.plist", version};
    }
    void putRecords(const std::string& version, const Names& files) {
        fs::create_directories(folder_ / "Caches");
        ChangelistCache made = cache(version);
        made.reset();
        for (const std::string& file : files)
            made.put(file, {kBase, file, {}, "1 B", folder_ / ("Versions/P.fcp/" + file), "xml"});
        std::string error;
        ASSERT_TRUE(made.save(error)) << error;
    }
    bool believesRecordOf(const std::string& file, const std::string& version = "1") const {
        ChangelistCache read = cache(version);
        std::string error;
        return read.load(error) == ChangelistCache::Found::records &&
               read.hasRecordOf(folder_ / ("Versions/P.fcp/" + file));
    }

    TemporaryFolder folder_;
    FakeEnvironment environment_;
    FakeConsole consoleUser_;
    FakeClock clock_;
    FakeSystemLog console_;
    Locations locations_{environment_, consoleUser_};
    LogWriter log_{{locations_, clock_, console_, [] { return LogHeader(); }}};
    FakeTrash trash_;
    BackupRemoval removal_{folder_ / "Caches", "1", trash_, log_};
    RetentionRules rules_;
};

TEST_F(RetentionTest, RemovesOutrightOrToTheTrash) {
    rules_.oldBackupCount = 1;
    putProject("P.fcp", {9, 9, 9, 0});
    EXPECT_EQ(manage(RemovalType::toTrash).size(), 4U) << "the Trash of the test takes nothing";
    EXPECT_EQ(trash_.moved, (Names{folder_ / "Versions/P.fcp/1", folder_ / "Versions/P.fcp/2"}));
    EXPECT_EQ(manage(), (Names{"3", "4"}));
    EXPECT_TRUE(hasLogged("Starting backup management"));
    EXPECT_TRUE(hasLogged("Removing backup " + (folder_ / "Versions/P.fcp/1")));
    rules_.manageBackups = false;
    rules_.oldBackupCount = 0;
    EXPECT_EQ(manage().size(), 2U);
}

TEST_F(RetentionTest, AFailureIsLoggedAndTheOthersGo) {
    rules_.oldBackupCount = 0;
    putProject("P.fcp", {9, 8, 0});
    trash_.failure = "no Trash here";
    manage(RemovalType::toTrash);
    EXPECT_EQ(trash_.moved.size(), 2U);
    EXPECT_TRUE(hasLogged("Unable to move file to Trash"));
    EXPECT_EQ(console_.messages().back(), folder_ / "Versions/P.fcp/2" + ": no Trash here");
    removal_.removeBackup(folder_ / "Versions/P.fcp", RemovalType::outright);
    EXPECT_TRUE(hasLogged("Unable to remove file: Is a directory"));
    EXPECT_EQ(names("Versions/P.fcp").size(), 3U);
}

TEST_F(RetentionTest, OnlyFilesOfProjectFoldersCountAndGo) {
    rules_.oldBackupCount = 0;
    rules_.isMinimumSet = true;
    rules_.minimum = 2;
    putProject("P.fcp", {9, 0});
    put("Versions/P.fcp/.hidden", 9);
    put("Versions/P.fcp/0 folder/kept", 9);
    put("Versions/file beside projects", 9);
    put("Elsewhere/1", 9);
    put("Elsewhere/2", 9);
    put("Elsewhere/3", 0);
    fs::create_symlink("../../Elsewhere/1", folder_ / "Versions/P.fcp/0 link");
    fs::create_symlink("nowhere", folder_ / "Versions/P.fcp/0 nothing");
    fs::create_directory_symlink("../Elsewhere", folder_ / "Versions/Linked.fcp");
    EXPECT_EQ(manage().size(), 6U) << "there are two files, which is the minimum";
    rules_.minimum = 1;
    EXPECT_EQ(manage(), (Names{".hidden", "0 folder", "0 link", "0 nothing", "2"}));
    EXPECT_EQ(names("Elsewhere").size(), 3U);
    EXPECT_EQ(names("Versions/P.fcp/0 folder"), Names{"kept"});
    EXPECT_TRUE(fs::exists(folder_ / "Versions/file beside projects"));
}

TEST_F(RetentionTest, AStoreMayBeALinkAndNeedNotBeThere) {
    rules_.oldBackupCount = 0;
    putProject("P.fcp", {9, 0});
    fs::create_directory_symlink("Versions", folder_ / "Store");
    manage(RemovalType::outright, "missing");
    EXPECT_EQ(manage(RemovalType::outright, "Store"), Names{"2"});
}

TEST_F(RetentionTest, MeetingTheLimitOfOldFilesEndsTheRun) {
    rules_.isOldLimitSet = true;
    rules_.oldLimit = 1;
    putProject("A.fcp", {3, 2, 0});
    putProject("P.fcp", {9, 8, 7, 0});
    EXPECT_EQ(manage().size(), 4U);
    EXPECT_EQ(names("Versions/A.fcp"), (Names{"2", "3"}));
    EXPECT_EQ(manage(), (Names{"3", "4"})) << "the next run goes on";
}

TEST_F(RetentionTest, FarDatesAreOnlyEarlyOrLate) {
    rules_.isAgeLimitSet = true;
    putProject("P.fcp", {3, 2, 1, 0});
    date("Versions/P.fcp/1", 10'000'000'000);
    date("Versions/P.fcp/2", -2'000'000'000);
    EXPECT_EQ(manage(), (Names{"1", "3", "4"}));
    date("Versions/P.fcp/4", 10'000'000'000); // all others are old then
    date("Versions/P.fcp/3", -2'000'000'000);
    EXPECT_EQ(manage(), (Names{"1", "4"}));
}

TEST_F(RetentionTest, ANumberThatIsGivenAgainIsNotTheOldVersion) {
    rules_.oldBackupCount = 0;
    putProject("P.fcp", {9, 8, 0});
    putRecords("1", {"1", "2", "3"});
    manage();
    EXPECT_FALSE(believesRecordOf("1") || believesRecordOf("2"));
    EXPECT_TRUE(believesRecordOf("3"));
    putProject("P.fcp", {9, 8, 0});
    putRecords("2", {"1", "3"});
    manage();
    EXPECT_FALSE(believesRecordOf("1", "2")) << "nor is it for another version of the program";
}

} // namespace
} // namespace cutstack
