#include "app/LaunchdJobs.h"

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <iterator>
#include <limits>
#include <system_error>
#include <utility>

#include "app/Settings.h"
#include "support/AtomicFile.h"
#include "support/ZTException.h"

namespace cutstack {

namespace {

constexpr const char* kBackupJob = "com.zantrel.Cutstack";
constexpr const char* kWatcherJob = "com.zantrel.CutstackProjectWatcher";
constexpr const char* kAutosaveJob = "com.zantrel.Cutstack.autosave";
// The labels are not the names everywhere: what other programs know of the jobs rests on them.
constexpr const char* kWatcherLabel = kBackupJob;                       // sic
constexpr const char* kAutosaveLabel = "com.zantrel.Cutstack.Autosave"; // sic

constexpr const char* kProcessName = "Cutstack";

constexpr std::int64_t kWatcherInterval = 900; ///< in seconds
constexpr std::int64_t kSecondsInMinute = 60;
/// More minutes than anyone waits, and few enough for every reader of the number of seconds.
constexpr std::int64_t kLongestInterval =
    std::numeric_limits<std::int32_t>::max() / kSecondsInMinute;

constexpr int kLastEditorWithoutAutosave = 6;

constexpr bool kOfUser = true;

/// Whether a setting is a number that is 0; a text "0" is none.
bool isNumberZero(const PropertyList& value) {
    return value.asInteger() == 0 || value.asReal() == 0.0 || value.asBoolean() == false;
}

/// Backups are on until they are turned off.
bool isBackupOn(const PropertyList* autoBackup) {
    return autoBackup == nullptr || !isNumberZero(*autoBackup);
}

/// The same by the preferences file, for runs without a window: whether backups are on and files
/// are watched.
bool isBackupWantedByFile(const Locations& locations) {
    const auto folder = ZTLocalPaths::prefsDirectory(true, locations);
    const auto preferences =
        folder ? readPreferencesFile((*folder + "/").append(kPreferencesFileName)) : std::nullopt;
    if (!preferences)
        return false;
    const PropertyList* list = preferences->valueForKey(settings::filelist);
    const PropertyList::Array* files = list == nullptr ? nullptr : list->asArray();
    return files != nullptr && !files->empty() &&
           isBackupOn(preferences->valueForKey(settings::autoBackup));
}

PropertyList::Array existing(const std::vector<std::string>& paths) {
    PropertyList::Array found;
    std::error_code fault;
    std::ranges::copy_if(paths, std::back_inserter(found), [&](const std::string& path) {
        return std::filesystem::exists(path, fault);
    });
    return found;
}

} // namespace

void LaunchdJobs::start(const std::string& jobName, const std::string& label,
                        const std::string& argument, const PropertyList::Dictionary& more) {
    const auto executable = services_.currentExePath();
    if (!executable) {
        services_.log.appendLog("Error: no executable for the job %@", jobName);
        return;
    }
    PropertyList::Dictionary job{
        {"Label", label},
        {"Program", *executable},
        {"ProgramArguments", PropertyList::Array{kProcessName, argument}},
    };
    job.insert(more.begin(), more.end());
    ZTLaunchd::startLaunchAgent(jobName, job, kOfUser, services_.launchd);
}

void LaunchdJobs::storeSettings() {
    if (const auto result = services_.settings.synchronize(); !result.error.empty())
        services_.log.appendLog("Unable to store settings: %@", result.error);
}

// --- The job that backs up

bool LaunchdJobs::isBackupJobWanted() const {
    if (!services_.hasRows)
        return isBackupWantedByFile(services_.launchd.locations);
    const auto autoBackup = services_.settings.objectForKey(settings::autoBackup);
    return !services_.watchedPaths().empty() && isBackupOn(autoBackup ? &*autoBackup : nullptr);
}

void LaunchdJobs::writeBackupJob() {
    start(kBackupJob, kBackupJob, "-process",
          {
              {"WatchPaths", existing(services_.watchedPaths())},
              {"LowPriorityIO", true},
              {"Nice", 10},
          });
}

void LaunchdJobs::generateBackupJob() {
    if (isBackupJobWanted())
        writeBackupJob();
    else
        ZTLaunchd::removeLaunchAgent(kBackupJob, kOfUser, services_.launchd);
}

void LaunchdJobs::generateLaunchdPlist() {
    guarded(
        "-[AppController generateLaunchdPlist]",
        [this] {
            services_.log.appendLog("Generating launchd plist...");
            generateAutosavePlist();
            // The list may change while launchctl is at work, and whoever changed it may have
            // been quicker: the job that stays is that of the list as it is.
            for (auto paths = services_.watchedPaths();;) {
                generateBackupJob();
                auto now = services_.watchedPaths();
                if (now == paths)
                    return;
                paths = std::move(now);
            }
        },
        services_.log);
}

bool LaunchdJobs::toggleAutoBackup() {
    const auto autoBackup = services_.settings.objectForKey(settings::autoBackup);
    const bool isOn = !isBackupOn(autoBackup ? &*autoBackup : nullptr);
    services_.settings.setObject(isOn ? 1 : 0, settings::autoBackup);
    storeSettings();
    generateLaunchdPlist();
    return isOn;
}

// --- The job that looks for watched files

void LaunchdJobs::generateProjectWatcherPlist() {
    guarded(
        "-[AppController generateProjectWatcherPlist]",
        [this] {
            services_.log.appendLog("Generating project watcher plist...");
            start(kWatcherJob, kWatcherLabel, "-repopulate",
                  {
                      {"RunAtLoad", true},
                      {"StartOnMount", true},
                      {"StartInterval", kWatcherInterval},
                      {"LowPriorityIO", true},
                      {"Nice", 15},
                  });
        },
        services_.log);
}

// --- The job that saves

bool LaunchdJobs::isEditorTooOld() {
    if (services_.editorMajorVersion() > kLastEditorWithoutAutosave)
        return false;
    services_.settings.setObject(0, settings::autosaveEnabled);
    storeSettings();
    services_.log.appendLog("Error: Autosave can only be activated on Final Cut Pro 7+ systems");
    return true;
}

bool LaunchdJobs::isAutosaveJobWanted(bool isEditorTooOld) const {
    return !isEditorTooOld && !services_.watchedPaths().empty() &&
           services_.settings.integerForKey(settings::autosaveEnabled) == 1;
}

void LaunchdJobs::writeAutosaveJob() {
    const std::int64_t minutes =
        std::clamp(services_.settings.integerForKey(settings::autosaveInterval), std::int64_t{1},
                   kLongestInterval);
    start(kAutosaveJob, kAutosaveLabel, "-autosave",
          {{"StartInterval", minutes * kSecondsInMinute}});
}

void LaunchdJobs::generateAutosavePlist() {
    guarded(
        "-[AppController generateAutosavePlist]",
        [this] {
            services_.log.appendLog("Generating autosave plist...");
            if (isAutosaveJobWanted(isEditorTooOld()))
                writeAutosaveJob();
            else
                ZTLaunchd::removeLaunchAgent(kAutosaveJob, kOfUser, services_.launchd);
        },
        services_.log);
}

// --- The jobs as they stand

void LaunchdJobs::reload(const std::string& jobName) {
    const LaunchdServices& at = services_.launchd;
    const auto file = ZTLaunchd::pathOfJob(jobName, kOfUser, true, at.locations);
    if (!file)
        return;
    ZTTask::runTask("/bin/launchctl", {"unload", *file}, nullptr, at.tasks);
    ZTTask::runTask("/bin/chmod", {"644", *file}, nullptr, at.tasks);
    ZTTask::runTask("/bin/launchctl", {"load", *file}, nullptr, at.tasks);
}

void LaunchdJobs::reloadLaunchDPlist() {
    services_.log.appendLog("Reloading launchd plist...");
    reloadAutosavePlist();
    reload(kBackupJob);
}

void LaunchdJobs::reloadAutosavePlist() {
    services_.log.appendLog("Reloading autosave plist");
    reload(kAutosaveJob);
}

bool LaunchdJobs::checkLaunchdExePath() {
    const auto file = ZTLaunchd::pathOfJob(kBackupJob, kOfUser, true, services_.launchd.locations);
    const auto job = file ? readPreferencesFile(*file) : std::nullopt;
    const auto executable = services_.currentExePath();
    if (!job || !executable)
        return false;
    const PropertyList* program = job->valueForKey("Program");
    if (program != nullptr && *program == PropertyList(*executable))
        return false;
    generateLaunchdPlist();
    generateProjectWatcherPlist();
    return true;
}

} // namespace cutstack
