#pragma once

// The program's three jobs: one backs projects up when their files change, one looks at times
// whether the watched files are still there, one saves the open projects at intervals. Each starts
// the executable without a window. They are written anew whenever the watch list or a setting that
// counts has changed.
//
// The functions block until launchctl is done, and may be called on any thread; the window calls
// generateLaunchdPlist() and generateProjectWatcherPlist() on threads of their own.

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "app/ZTLaunchd.h"
#include "support/LogWriter.h"
#include "support/UserDefaults.h"

namespace cutstack {

/// What the jobs are made from. All of it outlives them; the functions may be called on any thread.
struct LaunchdJobsServices {
    UserDefaults& settings;
    LogWriter& log;
    const LaunchdServices& launchd;
    /// Whether the watch list has been read into rows, as for a window. Other runs never have any.
    bool hasRows = false;
    /// The paths of the rows of the watch list, absolute, each once.
    std::function<std::vector<std::string>()> watchedPaths;
    /// The editor's major version.
    std::function<int()> editorMajorVersion;
    /// The executable that the jobs start; nothing when the system does not know it.
    std::function<std::optional<std::string>()> currentExePath;
};

class LaunchdJobs {
public:
    explicit LaunchdJobs(LaunchdJobsServices services) : services_(std::move(services)) {}

    /// generateAutosavePlist(), then the backup job: written for a watch list with files in it,
    /// unless the settings turn backups off, else removed. Without a window the preferences file
    /// tells of both, and the job that is written watches nothing until there is a window again,
    /// deliberately.
    void generateLaunchdPlist();

    /// Writes the job that looks for watched files, whatever the settings say.
    void generateProjectWatcherPlist();

    /// Writes the job that saves, if the settings turn it on, the editor can be told to save and
    /// there are rows in the watch list, which are none without a window; else removes it. For an
    /// editor that is too old the setting is turned off.
    void generateAutosavePlist();

    /// Unloads and loads the jobs of backing up and of saving as their lists stand.
    void reloadLaunchDPlist();
    /// The same for the job of saving alone.
    void reloadAutosavePlist();

    /// Writes all jobs anew when the one that backs up is there and starts another executable than
    /// this one, as after the bundle was moved. Returns whether it did.
    bool checkLaunchdExePath();

    /// Turns backups off or on in the settings, and removes or writes the job. Returns whether they
    /// are on now.
    bool toggleAutoBackup();

private:
    [[nodiscard]] bool isBackupJobWanted() const;
    [[nodiscard]] bool isAutosaveJobWanted(bool isEditorTooOld) const;
    [[nodiscard]] bool isEditorTooOld();
    void storeSettings();
    void generateBackupJob();
    void writeBackupJob();
    void writeAutosaveJob();
    void start(const std::string& jobName, const std::string& label, const std::string& argument,
               const PropertyList::Dictionary& more);
    void reload(const std::string& jobName);

    const LaunchdJobsServices services_;
};

} // namespace cutstack
