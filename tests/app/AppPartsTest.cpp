// The parts put together, over a real bus, with a home of the test's own; and what a run without a
// window reads from the preferences file.

#include "app/AppParts.h"

#include <filesystem>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include "app/Settings.h"
#include "changes/ChangelistCache.h"
#include "fcp/EventCodes.h"
#include "platform/FileReference.h"
#include "support/FolderListing.h"
#include "support/PropertyListWriting.h"
#include "tests/PrivateBus.h"
#include "tests/platform/Fakes.h"
#include "tests/platform/ScriptedEditor.h"

namespace cutstack {
namespace {

namespace fs = std::filesystem;
using Dictionary = PropertyList::Dictionary;
using Array = PropertyList::Array;
using Names = std::vector<std::string>;

TEST(BackupPreferencesTest, WhatIsAbsentOrOfAWrongTypeHasFallbacks) {
    const Dictionary none;
    Dictionary wrong;
    for (const std::string_view key :
         {settings::filelist, settings::storagePath, settings::xmlLimit, settings::removeDuplicates,
          settings::manageBackups, settings::backupManagementMinLimitSet,
          settings::backupManagementMinLimit, settings::currentDayCount,
          settings::currentBackupLimitSet, settings::currentBackupLimit,
          settings::oldBackupLimitSet, settings::oldBackupLimit, settings::oldBackupType,
          settings::oldBackupCount, settings::deleteBackupSet, settings::deleteBackupCount,
          settings::removalType})
        wrong.emplace(key, Dictionary());
    for (const Dictionary& file : {none, wrong}) {
        const auto read = backupPreferences(file, "/store");
        EXPECT_TRUE(read.backups.filelist.empty());
        EXPECT_EQ(read.backups.storagePath, "/store");
        EXPECT_EQ(read.backups.xmlLimit, 5);
        EXPECT_TRUE(read.backups.removeDuplicates);
        const RetentionRules& rules = read.retention;
        EXPECT_TRUE(rules.manageBackups && rules.isMinimumSet && rules.isOldLimitSet &&
                    rules.isAgeLimitSet && !rules.isCurrentLimitSet);
        EXPECT_EQ((Array{rules.minimum, rules.currentDayCount, rules.currentLimit, rules.oldLimit,
                         rules.oldBackupType, rules.oldBackupCount, rules.ageLimitInDays}),
                  (Array{25, 1, 30, 30, 0, 1, 90}));
        EXPECT_EQ(read.removalType, RemovalType::toTrash);
    }
}

TEST(BackupPreferencesTest, OnlyExactlyOneIsOn) {
    const struct {
        PropertyList value;
        bool isOn;
    } cases[] = {{1, true}, {true, true}, {"1", true}, {2, false}, {0, false}, {"yes", false}};
    for (const auto& [value, isOn] : cases) {
        const auto read = backupPreferences(Dictionary{{"manageBackups", value},
                                                       {"removeDuplicates", value},
                                                       {"currentBackupLimitSet", value},
                                                       {"removalType", value}},
                                            "");
        EXPECT_EQ(read.retention.manageBackups, isOn);
        EXPECT_EQ(read.backups.removeDuplicates, isOn);
        EXPECT_EQ(read.retention.isCurrentLimitSet, isOn);
        EXPECT_EQ(read.removalType == RemovalType::outright, isOn);
    }
}

/// Has all files open, and exports each as an empty sequence.
class Editor {
public:
    explicit Editor(const Names& files) {
        for (const std::string& file : files)
            references_.push_back(*FileReference::toPath(file, error_));
    }

private:
    Scripted meet(const Event& event) const {
        if (event.eventID != EditorEvent::listOpenProjects)
            return answer(EditorKey::xml,
                          EventDescriptor::ofBytes(EventType::utf8,
                                                   "<xmeml><sequence id='S'><uuid>S</uuid>"
                                                   "<name>Scene</name></sequence></xmeml>"));
        std::vector<EventDescriptor> open;
        for (const FileReference& reference : references_)
            open.push_back(EventDescriptor::ofRecord(
                {{EditorKey::openProjectFile,
                  EventDescriptor::ofBytes(EventType::fsrf, std::string(reference.bytes()))}}));
        return answer(EditorKey::openProjects, EventDescriptor::ofList(open));
    }
    static Scripted answer(FourCharCode keyword, EventDescriptor value) {
        return {Scripted::Manner::answers,
                {EventStatus::noError, {{keyword, std::move(value)}}, {}},
                {},
                {}};
    }

    std::string error_;
    std::vector<FileReference> references_;
    ScriptedEditor editor_{[this](const Event& event) { return meet(event); }};
};

class AppPartsTest : public testing::Test {
protected:
    AppPartsTest() {
        environment_.home = home_;
        log_.createNewLog(std::nullopt);
    }
    std::string project(const std::string& name) {
        writeContent(home_ + "/" + name, name);
        return home_ + "/" + name;
    }
    void prefer(Dictionary preferences) {
        writeContent(home_ + "/Library/Preferences/com.zantrel.Cutstack.plist",
                     *xmlPropertyList(std::move(preferences)));
    }
    /// A version of the project that was made an hour ago.
    void putOldVersion(const std::string& name, const std::string& file) {
        const std::string path = store_ + "/" + name + "/" + file;
        writeContent(path, "<xmeml/>");
        const timespec times[] = {{time(nullptr) - 3600, 0}, {time(nullptr) - 3600, 0}};
        ASSERT_EQ(utimensat(AT_FDCWD, path.c_str(), times, 0), 0);
    }
    Names namesIn(const std::string& folder) const {
        return namesInFolder(folder).value_or(Names{"no folder"});
    }
    void process(const std::string& applicationVersion) {
        AppParts({.log = log_,
                  .locations = locations_,
                  .applicationVersion = applicationVersion,
                  .executablePath = std::nullopt,
                  .progressCancelled = cancelled_,
                  .authorization = ZTAuthorization::sharedController(false)})
            .backups()
            .processProjects();
    }

    TemporaryFolder folder_;
    const std::string home_ = fs::canonical(folder_.path());
    const std::string store_ = home_ + "/Library/Application Support/Zantrel/Cutstack/Versions";
    const std::string caches_ = home_ + "/Library/Application Support/Zantrel/Cutstack/Caches";
    FakeEnvironment environment_;
    FakeConsole consoleUser_;
    FakeSystemLog console_;
    FakeClock clock_;
    Locations locations_{environment_, consoleUser_};
    LogWriter log_{{locations_, clock_, console_, [] { return LogHeader(); }}};
    std::atomic<bool> cancelled_ = false;
};

TEST_F(AppPartsTest, ARunBacksUpAndRefreshesTheCachesOfTheFoldersThatHadVersions) {
    const PrivateBus bus;
    const Names files = {project("New.fcp"), project("One.fcp"), project("Two.fcp")};
    const Editor editor(files);
    prefer({{"filelist", Array{"~/New.fcp", "~/One.fcp", files[2]}}});
    putOldVersion("One.fcp", "One.00004.xml");
    putOldVersion("Two.fcp", "Two.00001.xml");
    process("42");
    EXPECT_EQ(namesIn(store_ + "/New.fcp"), (Names{"New.00001.fcp", "New.00001.xml"}));
    EXPECT_EQ(namesIn(store_ + "/One.fcp"),
              (Names{"One.00004.xml", "One.00005.fcp", "One.00005.xml"}));
    EXPECT_EQ(namesIn(store_ + "/Two.fcp").size(), 3U);
    EXPECT_FALSE(fs::exists(caches_ + "/New.fcp.cache.plist")) << "left for later, deliberately";
    for (const std::string name : {"One", "Two"}) {
        ChangelistCache cache(caches_ + "/" + name + ".fcp.cache.plist", "42");
        std::string damage;
        EXPECT_EQ(cache.load(damage), ChangelistCache::Found::records) << name << damage;
        EXPECT_EQ(cache.records().size(), 3U) << name;
    }
    const auto preferences =
        readPreferencesFile(home_ + "/Library/Preferences/com.zantrel.Cutstack.plist");
    ASSERT_TRUE(preferences);
    EXPECT_EQ(preferences->valueForKey("filelist")->asArray()->front(),
              PropertyList(Dictionary{{"path", "~/New.fcp"}}));
}

TEST_F(AppPartsTest, ARunThatDoesNotKnowItsVersionOrHasNoPlaceRefreshesNothing) {
    const PrivateBus bus;
    const Editor editor({project("One.fcp")});
    prefer({{"filelist", Array{Dictionary{{"path", "~/One.fcp"}}}}});
    putOldVersion("One.fcp", "One.00001.xml");
    process("");
    EXPECT_EQ(namesIn(store_ + "/One.fcp").size(), 3U);
    EXPECT_EQ(namesIn(caches_), Names());
    fs::remove_all(caches_);
    writeContent(caches_, "in the way");
    putOldVersion("One.fcp", "One.00002.xml");
    putOldVersion("One.fcp", "One.00002.fcp");
    project("One.fcp");
    process("42");
    ASSERT_FALSE(console_.messages().empty());
    EXPECT_TRUE(console_.messages().back().starts_with("Unable to create cache folder: "));
}

} // namespace
} // namespace cutstack
