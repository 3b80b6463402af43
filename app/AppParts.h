#pragma once

// The objects that do the program's work, put together: one for each responsibility, each with what
// it needs. The runs without a window and cutstackctl make one for themselves; nothing of it is
// shared between processes but the files that it works on.
//
//     settings --> watch list --> jobs
//         |            |
//         +--> backups +--> editor
//                 +--> retention --> removal --> changelist caches
//
// Made and used on the main thread, except where a part's own header says otherwise.

#include <atomic>
#include <optional>
#include <string>

#include "app/BackupPreferences.h"
#include "app/EditorAdapter.h"
#include "app/LaunchdJobs.h"
#include "app/WatchList.h"
#include "changes/Changelists.h"
#include "store/BackupPipeline.h"
#include "store/Retention.h"
#include "support/Bundle.h"
#include "support/UserDefaults.h"

namespace cutstack {

/// What differs between the programs that are made of these parts. All of it outlives them.
struct AppPartsOptions {
    LogWriter& log;
    const Locations& locations;
    std::string applicationVersion;            ///< empty where the program does not know it
    std::optional<std::string> executablePath; ///< what jobs start; nothing: none can be written
    std::atomic<bool>& progressCancelled;
    ZTAuthorization& authorization;
    bool hasRows = false; ///< the watch list has rows, as with a window
    ProgressDisplay* progress = nullptr;
};

class AppParts {
public:
    explicit AppParts(const AppPartsOptions& options);

    [[nodiscard]] UserDefaults& settings() { return settings_; }
    [[nodiscard]] WatchList& watchList() { return watchList_; }
    [[nodiscard]] LaunchdJobs& jobs() { return jobs_; }
    [[nodiscard]] EditorBridge& editor() { return editor_; }
    [[nodiscard]] BackupPipeline& backups() { return backups_; }
    [[nodiscard]] const Retention& retention() const { return retention_; }
    [[nodiscard]] Changelists& changelists() { return changelists_; }

    /// What the preferences file says now; nothing when it cannot be read.
    [[nodiscard]] std::optional<BackupPreferences> preferences() const;

    /// The `-repopulate` run: has the backup job written anew when a watched file has gone.
    void repopulateWatchFiles();

private:
    [[nodiscard]] BackupServices backupServices();
    [[nodiscard]] LaunchdJobsServices jobsServices();
    void manageBackups();
    void refreshCaches(const std::vector<std::string>& folders);

    AppPartsOptions options_;
    std::string cacheFolder_;
    UserDefaults settings_;
    EditorAdapter editor_;
    Changelists changelists_;
    BackupRemoval removal_;
    Retention retention_;
    LaunchdServices launchd_;
    LaunchdJobs jobs_;
    WatchList watchList_;
    BackupPipeline backups_;
};

} // namespace cutstack
