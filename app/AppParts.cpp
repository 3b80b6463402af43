#include "app/AppParts.h"

#include <sys/stat.h>
#include <thread>

#include "app/Settings.h"
#include "app/WatchListFile.h"
#include "platform/SystemErrors.h"
#include "support/AtomicFile.h"
#include "support/TildePaths.h"

namespace cutstack {

namespace {

std::string preferencesPath(const Locations& at) {
    return ZTLocalPaths::prefsDirectory(true, at).value_or("") + "/" +
           std::string(kPreferencesFileName);
}

bool isFolder(const std::string& path) {
    struct stat facts {};
    return ::stat(path.c_str(), &facts) == 0 && S_ISDIR(facts.st_mode);
}

void pauseFor(std::chrono::microseconds time) { std::this_thread::sleep_for(time); }

} // namespace

AppParts::AppParts(const AppPartsOptions& options)
    : options_(options),
      cacheFolder_(cacheFolder(options.locations).value_or("")),
      settings_(preferencesPath(options.locations)),
      editor_(EditorServices::ofProcess()),
      changelists_({.cacheFolder = cacheFolder_,
                    .applicationVersion = options.applicationVersion,
                    .log = options.log,
                    .clock = systemClock(),
                    .metadata = finderMetadata(),
                    .trash = trash(),
                    .progressCancelled = options.progressCancelled,
                    .userInterface = nullptr,
                    .progress = options.progress}),
      removal_(cacheFolder_, options.applicationVersion, trash(), options.log),
      retention_(systemClock(), options.log),
      launchd_{options.locations,
               TaskServices::ofProcess(),
               options.authorization,
               options.log.console(),
               nullptr,
               pauseFor},
      jobs_(jobsServices()),
      watchList_({.settings = settings_,
                  .log = options.log,
                  .locations = options.locations,
                  .finderMetadata = finderMetadata(),
                  .userInterface = nullptr,
                  .regenerateJobs =
                      [this] {
                          jobs_.generateLaunchdPlist();
                          jobs_.generateProjectWatcherPlist();
                      },
                  .showSequenceDialog = {},
                  .reloadTable = {}}),
      backups_(backupServices()) {}

LaunchdJobsServices AppParts::jobsServices() {
    return {.settings = settings_,
            .log = options_.log,
            .launchd = launchd_,
            .hasRows = options_.hasRows,
            .watchedPaths = [this] { return watchList_.watchedPaths(); },
            .editorMajorVersion =
                [] { return ZTAppleEvents::finalCutProMajorVersion(EditorServices::ofProcess()); },
            .currentExePath = [this] { return options_.executablePath; }};
}

BackupServices AppParts::backupServices() {
    return {.log = options_.log,
            .clock = systemClock(),
            .editor = editor_,
            .copier = fileCopier(),
            .metadata = finderMetadata(),
            .removal = removal_,
            .readSettings =
                [this] {
                    const auto all = preferences();
                    return all ? std::optional(all->backups) : std::nullopt;
                },
            .convertOldListFormat =
                [this](const PropertyList::Array& list) {
                    return convertOldListFormat(list, options_.locations, options_.log);
                },
            .expandTilde =
                [this](const std::string& path) {
                    return expandingTildeInPath(path, options_.locations);
                },
            .manageBackups = [this] { manageBackups(); },
            .refreshCaches =
                [this](const std::vector<std::string>& folders) { refreshCaches(folders); },
            .pauseFor = pauseFor};
}

std::optional<BackupPreferences> AppParts::preferences() const {
    const auto file = readPreferencesFile(preferencesPath(options_.locations));
    if (!file)
        return std::nullopt;
    return backupPreferences(*file, defaultStoragePath(options_.locations).value_or(""));
}

/// Without a readable preferences file all of retention's fallbacks hold.
void AppParts::manageBackups() {
    const BackupPreferences now = preferences().value_or(backupPreferences(
        PropertyList::Dictionary{}, defaultStoragePath(options_.locations).value_or("")));
    retention_.manageBackups(now.backups.storagePath, now.retention, removal_, now.removalType);
}

void AppParts::refreshCaches(const std::vector<std::string>& folders) {
    if (const int fault = makeFolders(cacheFolder_); fault != 0) {
        options_.log.console().log("Unable to create cache folder: " + wordingOf(fault));
        return;
    }
    if (options_.applicationVersion.empty())
        return;
    for (const std::string& folder : folders) {
        if (isFolder(folder))
            static_cast<void>(changelists_.cacheForProject(folder));
    }
}

void AppParts::repopulateWatchFiles() {
    cutstack::repopulateWatchFiles(options_.locations, options_.log,
                                   [this] { jobs_.generateLaunchdPlist(); });
}

} // namespace cutstack
