#include "app/LaunchdJobs.h"

#include <sstream>

#include "app/Settings.h"
#include "support/PropertyListWriting.h"
#include "tests/app/LaunchdFixture.h"

namespace cutstack {
namespace {

namespace fs = std::filesystem;

using Lines = std::vector<std::string>;

const std::string kBackup = "com.zantrel.Cutstack";
const std::string kWatcher = "com.zantrel.CutstackProjectWatcher";
const std::string kAutosave = "com.zantrel.Cutstack.autosave";
const std::string kExecutable = "/opt/Cutstack.app/Contents/MacOS/Cutstack";

Events reloading(const std::string& jobName) {
    const std::string file = "~/home/Library/LaunchAgents/" + jobName + ".plist";
    return {"/bin/launchctl unload " + file, "/bin/chmod 644 " + file,
            "/bin/launchctl load " + file};
}

class LaunchdJobsTest : public LaunchdFixture {
protected:
    LaunchdJobsTest() { writeContent(watched_.front(), ""); }

    [[nodiscard]] std::string preferencesPath() const {
        return folder_ / "home/Library/Preferences/com.zantrel.Cutstack.plist";
    }
    void set(std::string_view key, const std::optional<PropertyList>& value) {
        value ? defaults_.setObject(*value, key) : defaults_.removeObject(key);
    }
    [[nodiscard]] PropertyList stored(std::string_view key) const {
        const auto preferences = readPreferencesFile(preferencesPath());
        const PropertyList* value = preferences ? preferences->valueForKey(key) : nullptr;
        return value == nullptr ? "nothing" : *value;
    }
    [[nodiscard]] bool isThere(const std::string& jobName) const {
        return fs::exists(agent(jobName));
    }
    void expectJob(const std::string& jobName, const PropertyList::Dictionary& expected) const {
        EXPECT_EQ(listIn(contentOf(agent(jobName))), PropertyList(expected)) << jobName;
    }
    /// The lines of the log, without their dates.
    [[nodiscard]] Lines lines() {
        log_.finishWriting();
        std::istringstream content(contentOf(folder_ / "home/Library/Logs/Zantrel/Cutstack.1.log"));
        Lines lines;
        for (std::string line; std::getline(content, line);) {
            if (const auto mark = line.find(" - "); mark != std::string::npos)
                lines.push_back(line.substr(mark + 3));
        }
        return lines;
    }

    Lines watched_ = {folder_ / "Promo.fcp"};
    Lines later_; ///< what is watched once the backup job is written
    int editor_ = 7;
    std::optional<std::string> executable_ = kExecutable;
    UserDefaults defaults_{preferencesPath()};
    LaunchdJobs jobs_{services(true)};
    LaunchdJobs withoutRows_{services(false)};

private:
    LaunchdJobsServices services(bool hasRows) {
        return {defaults_,
                log_,
                launchd_,
                hasRows,
                [this] {
                    if (!later_.empty() && isThere(kBackup))
                        watched_ = std::exchange(later_, {});
                    return watched_;
                },
                [this] { return editor_; },
                [this] { return executable_; }};
    }
};

TEST_F(LaunchdJobsTest, WriteTheBackupJobForTheFilesThatAreThere) {
    watched_ = {watched_.front(), folder_ / "gone.fcp", folder_.path().string()};
    jobs_.generateLaunchdPlist();
    expectJob(kBackup, {{"Label", "com.zantrel.Cutstack"},
                        {"Program", kExecutable},
                        {"ProgramArguments", PropertyList::Array{"Cutstack", "-process"}},
                        {"WatchPaths", PropertyList::Array{watched_[0], watched_[2]}},
                        {"LowPriorityIO", true},
                        {"Nice", 10}});
    const Events again = reloading(kBackup);
    EXPECT_EQ(takeEvents(), Events({reloading(kAutosave)[0], again[1], again[0], again[2]}));
    EXPECT_EQ(lines(), Lines({"Generating launchd plist...", "Generating autosave plist..."}));
}

TEST_F(LaunchdJobsTest, WriteTheBackupJobForTheListAsItIsInTheEnd) {
    later_ = {watched_.front(), folder_.path().string()};
    const PropertyList::Array watched{later_[0], later_[1]};
    jobs_.generateLaunchdPlist();
    expectJob(kBackup, {{"Label", "com.zantrel.Cutstack"},
                        {"Program", kExecutable},
                        {"ProgramArguments", PropertyList::Array{"Cutstack", "-process"}},
                        {"WatchPaths", watched},
                        {"LowPriorityIO", true},
                        {"Nice", 10}});
}

TEST_F(LaunchdJobsTest, AlwaysWriteTheWatcherJobWithTheLabelOfTheBackupJob) {
    watched_.clear();
    set(settings::autoBackup, 0);
    jobs_.generateProjectWatcherPlist();
    expectJob(kWatcher, {{"Label", "com.zantrel.Cutstack"},
                         {"Program", kExecutable},
                         {"ProgramArguments", PropertyList::Array{"Cutstack", "-repopulate"}},
                         {"RunAtLoad", true},
                         {"StartOnMount", true},
                         {"StartInterval", 900},
                         {"LowPriorityIO", true},
                         {"Nice", 15}});
    EXPECT_EQ(lines(), Lines{"Generating project watcher plist..."});
}

TEST_F(LaunchdJobsTest, WriteTheAutosaveJobWithItsInterval) {
    set(settings::autosaveEnabled, 1);
    const std::pair<std::optional<PropertyList>, std::int64_t> kSecondsOfMinutes[] = {
        {5, 300},
        {1, 60},
        {0, 60},
        {-3, 60},
        {std::nullopt, 60},
        {"15", 900},
        {INT64_MAX, 2147483640}};
    for (const auto& [minutes, seconds] : kSecondsOfMinutes) {
        set(settings::autosaveInterval, minutes);
        jobs_.generateAutosavePlist();
        expectJob(kAutosave, {{"Label", "com.zantrel.Cutstack.Autosave"},
                              {"Program", kExecutable},
                              {"ProgramArguments", PropertyList::Array{"Cutstack", "-autosave"}},
                              {"StartInterval", seconds}});
    }
}

TEST_F(LaunchdJobsTest, BackUpUnlessThatIsTurnedOff) {
    const std::pair<std::optional<PropertyList>, bool> kIsOn[] = {
        {std::nullopt, true}, {0, false},   {1, true},   {0.0, false}, {0.5, true},
        {false, false},       {true, true}, {"0", true}, {"", true},   {-1, true}};
    const Lines watched = watched_;
    set(settings::filelist, PropertyList::Array{"Promo.fcp"});
    for (const auto& [autoBackup, isOn] : kIsOn) {
        SCOPED_TRACE(autoBackup ? autoBackup->value().index() : 99);
        set(settings::autoBackup, autoBackup);
        ASSERT_EQ(defaults_.synchronize().error, "");
        for (const Lines& paths : {watched, Lines()}) {
            watched_ = paths;
            jobs_.generateLaunchdPlist();
            EXPECT_EQ(isThere(kBackup), isOn && !paths.empty());
        }
        withoutRows_.generateLaunchdPlist(); // then the file tells what is watched
        EXPECT_EQ(isThere(kBackup), isOn);
    }
}

TEST_F(LaunchdJobsTest, WatchNothingAndNeverSaveWithoutAWindow) {
    set(settings::filelist, PropertyList::Array{"/x.fcp"});
    set(settings::autosaveEnabled, 1);
    ASSERT_EQ(defaults_.synchronize().error, "");
    watched_.clear();
    writeContent(agent(kAutosave), "list");
    withoutRows_.generateLaunchdPlist();
    EXPECT_EQ(*listIn(contentOf(agent(kBackup))).valueForKey("WatchPaths"),
              PropertyList(PropertyList::Array{}));
    EXPECT_FALSE(isThere(kAutosave));
    for (const char* preferences :
         {"", "<plist><dict/></plist>", "<plist><dict><key>filelist</key><array/></dict></plist>",
          "<plist><dict><key>filelist</key><string>/x.fcp</string></dict></plist>"}) {
        writeContent(agent(kBackup), "list");
        writeContent(preferencesPath(), preferences);
        withoutRows_.generateLaunchdPlist();
        EXPECT_FALSE(isThere(kBackup)) << preferences;
    }
}

TEST_F(LaunchdJobsTest, SaveOnlyWhereThatIsTurnedOn) {
    const Lines watched = watched_;
    const std::tuple<std::optional<PropertyList>, Lines, bool> kCases[] = {
        {1, watched, true},   {1, {}, false},       {std::nullopt, watched, false},
        {0, watched, false},  {2, watched, false},  {-1, watched, false},
        {"1", watched, true}, {true, watched, true}};
    for (const auto& [enabled, paths, isOn] : kCases) {
        writeContent(agent(kAutosave), "list");
        set(settings::autosaveEnabled, enabled);
        watched_ = paths;
        jobs_.generateAutosavePlist();
        EXPECT_EQ(isThere(kAutosave), isOn) << (enabled ? enabled->integerValue() : 99);
    }
    watched_ = watched;
    for (const int version : {6, 5, 0}) {
        editor_ = version;
        set(settings::autosaveEnabled, 1);
        writeContent(agent(kAutosave), "list");
        jobs_.generateAutosavePlist();
        EXPECT_FALSE(isThere(kAutosave)) << version;
        EXPECT_EQ(stored("autosaveEnabled"), PropertyList(0)) << version;
    }
    EXPECT_EQ(lines().back(), "Error: Autosave can only be activated on Final Cut Pro 7+ systems");
}

TEST_F(LaunchdJobsTest, AreReloadedAsTheyStand) {
    writeContent(agent(kBackup), "list");
    jobs_.reloadLaunchDPlist();
    Events expected = reloading(kAutosave);
    for (const std::string& event : reloading(kBackup))
        expected.push_back(event);
    EXPECT_EQ(takeEvents(), expected);
    EXPECT_EQ(contentOf(agent(kBackup)), "list");
    EXPECT_EQ(lines(), Lines({"Reloading launchd plist...", "Reloading autosave plist"}));
}

TEST_F(LaunchdJobsTest, FollowTheExecutable) {
    EXPECT_FALSE(jobs_.checkLaunchdExePath()); // there is no job
    jobs_.generateLaunchdPlist();
    EXPECT_FALSE(jobs_.checkLaunchdExePath());
    EXPECT_FALSE(isThere(kWatcher));
    executable_ = "/new/Cutstack.app/Contents/MacOS/Cutstack";
    EXPECT_TRUE(jobs_.checkLaunchdExePath());
    for (const std::string& jobName : {kBackup, kWatcher})
        EXPECT_EQ(*listIn(contentOf(agent(jobName))).valueForKey("Program"),
                  PropertyList(*executable_));

    // While nobody knows where it is, what stands stays.
    const std::string before = contentOf(agent(kBackup));
    executable_ = std::nullopt;
    EXPECT_FALSE(jobs_.checkLaunchdExePath());
    jobs_.generateLaunchdPlist();
    EXPECT_EQ(contentOf(agent(kBackup)), before);
    EXPECT_EQ(lines().back(), "Error: no executable for the job " + kBackup);
}

TEST_F(LaunchdJobsTest, AreSwitchedByASetting) {
    for (const bool isOn : {false, true, false}) {
        EXPECT_EQ(jobs_.toggleAutoBackup(), isOn);
        EXPECT_EQ(isThere(kBackup), isOn);
        EXPECT_EQ(stored("autoBackup"), PropertyList(isOn ? 1 : 0));
    }
}

} // namespace
} // namespace cutstack
