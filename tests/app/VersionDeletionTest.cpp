#include "app/VersionDeletion.h"

#include <filesystem>

#include "support/ZTException.h"
#include "tests/changes/ChangelistsFixture.h"

namespace cutstack {
namespace {

namespace fs = std::filesystem;

const std::string kVersionQuestion = "Are you sure you wish to remove this version? | The file "
                                     "will be moved to the Trash. | Remove | Cancel | ";
const std::string kProjectQuestion =
    "Are you sure you wish to remove this project and ALL of its backups? | The files will be "
    "moved to the Trash. | Remove All | Cancel | ";

class VersionDeletionTest : public testing::Test {
protected:
    VersionDeletionTest() {
        environment_.home = folder_.path();
        log_.createNewLog("test");
        writeContent(version_, "7");
        writeContent(cache_, "a cache");
    }

    std::function<void()> noting(const std::string& call) {
        return [this, call] { interface_.calls.push_back(call); };
    }
    /// What was asked and done for a deletion, as on the main thread.
    template <typename Deletion>
    Calls callsOf(const Deletion& deletion) {
        interface_.calls.clear();
        interface_.performOnMainThreadAndWait([&] { deletion(); });
        return interface_.calls;
    }
    Calls deleteVersion(const std::string& file) {
        return callsOf([&] { deletion_.processDeletedBackup(file); });
    }
    Calls deleteProject(const std::string& folder) {
        return callsOf([&] { deletion_.deleteAllBackups(folder); });
    }

    TemporaryFolder folder_;
    const std::string project_ = folder_ / "Versions/Promo.fcp";
    const std::string version_ = folder_ / "Versions/Promo.fcp/Promo.00007.xml";
    const std::string cache_ = folder_ / "Caches/Promo.fcp.cache.plist";
    FakeEnvironment environment_;
    FakeConsole consoleUser_;
    FakeClock clock_;
    FakeSystemLog console_;
    Locations locations_{environment_, consoleUser_};
    LogWriter log_{{locations_, clock_, console_, [] { return LogHeader(); }}};
    FakeUserInterface interface_;
    FakeTrash trash_;
    BackupRemoval removal_{folder_ / "Caches", "1", trash_, log_};
    std::function<void()> jobs_ = noting("backup job");
    VersionDeletion deletion_{
        {.log = log_,
         .userInterface = interface_,
         .trash = trash_,
         .removal = removal_,
         .cacheFolder = folder_ / "Caches",
         .storagePath = [this] { return folder_ / "Versions/"; },
         .removeWatchFileForProjectName =
             [this](const std::string& name) { interface_.calls.push_back("unwatch " + name); },
         .generateLaunchdPlist = [this] { jobs_(); },
         .generateProjectWatcherPlist = noting("watcher job"),
         .populateVersionFiles = noting("populate"),
         .switchProject = noting("switch")}};
};

TEST_F(VersionDeletionTest, AVersionGoesToTheTrashWhenTheUserAgrees) {
    EXPECT_EQ(deleteVersion(version_), (Calls{kVersionQuestion, "populate", "switch"}));
    EXPECT_EQ(trash_.moved, Calls{version_});
    for (const int answer : {0, -1}) {
        interface_.answer = answer;
        EXPECT_EQ(deleteVersion(version_), Calls{kVersionQuestion});
    }
    EXPECT_EQ(trash_.moved.size(), 1U);
    interface_.answer = 1;
    trash_.failure = "no Trash";
    EXPECT_EQ(deleteVersion(version_), (Calls{kVersionQuestion, "populate", "switch"}));
}

TEST_F(VersionDeletionTest, AProjectGoesWithEverythingThatBelongsToIt) {
    EXPECT_EQ(deleteProject(project_ + "/"),
              (Calls{kProjectQuestion, "unwatch Promo.fcp", "backup job", "watcher job", "populate",
                     "switch"}));
    EXPECT_EQ(trash_.moved, Calls{project_});
    EXPECT_FALSE(fs::exists(cache_));
    EXPECT_EQ(deleteProject(project_).size(), 6U) << "a cache need not be there";
    interface_.answer = 0;
    EXPECT_EQ(deleteProject(project_), Calls{kProjectQuestion});
    EXPECT_EQ(trash_.moved.size(), 2U);
}

TEST_F(VersionDeletionTest, AProjectThatCannotBeMovedStaysWatched) {
    trash_.failure = "Permission denied";
    EXPECT_EQ(deleteProject(project_),
              (Calls{kProjectQuestion,
                     alertSaying("Unable to delete project",
                                 "Please check permissions for the folder " + project_ + ".")}));
    EXPECT_TRUE(fs::exists(cache_));
}

TEST_F(VersionDeletionTest, NothingOutsideOfTheStoreIsTouched) {
    writeContent(folder_ / "Elsewhere/Promo.00001.fcp", "x");
    fs::create_directory_symlink("../Elsewhere", folder_ / "Versions/Linked.fcp");
    fs::create_directories(project_ + "/folder");
    for (const std::string& path :
         {folder_ / "Elsewhere/Promo.00001.fcp", folder_ / "Versions/Linked.fcp/Promo.00001.fcp",
          folder_ / "Versions/../Elsewhere/Promo.00001.fcp", project_ + "/folder", project_,
          project_ + "/..", project_ + "/folder/x", std::string("Promo.00001.fcp"), std::string()})
        EXPECT_EQ(deleteVersion(path), Calls()) << path;
    for (const std::string& path :
         {folder_ / "Elsewhere", folder_ / "Versions", folder_ / "Versions/.",
          folder_ / "Versions/..", version_, std::string("/"), std::string()})
        EXPECT_EQ(deleteProject(path), Calls()) << path;
    EXPECT_EQ(trash_.moved, Calls());
}

TEST_F(VersionDeletionTest, AnExceptionEndsInTheLog) {
    jobs_ = [] { throw Exception(kGenericException, "broken"); };
    EXPECT_EQ(deleteProject(project_), (Calls{kProjectQuestion, "unwatch Promo.fcp"}));
    ASSERT_FALSE(console_.messages().empty());
    EXPECT_EQ(console_.messages().back(), "Exception in -[AppController deleteAllBackups:]. "
                                          "NSGenericException - broken.");
}

} // namespace
} // namespace cutstack
