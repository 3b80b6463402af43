#pragma once

// Turns the saving of a watched project into a new version in the store: a numbered copy of the
// project file and, when the policy allows it, a numbered XML copy, the editor's export.
//
//     a watched file changed --> processProjects --+
//     the user wants a version ---> takeSnapshot --+--> backupProject --> Promo.00007.fcp
//                                                                     --> Promo.00007.xml
//     the clock ------------------> autosave ---------> the editor saves --> a watched file changed
//
// Every failure ends one backup with a line in the log; earlier versions stay as they are, and no
// file ever stands half written under its name. Each operation runs in a guard. A pipeline may be
// used on any thread, by one at a time; several processes may back up into one store.

#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "platform/Clock.h"
#include "platform/FileCopier.h"
#include "platform/FileStamp.h"
#include "platform/FinderMetadata.h"
#include "store/BackupRemoval.h"
#include "store/EditorBridge.h"
#include "support/LogWriter.h"
#include "support/PropertyList.h"
#include "support/UserInterface.h"

namespace cutstack {

/// What the preferences file says about backups.
struct BackupSettings {
    PropertyList::Array filelist; ///< the watch list in either format
    std::string storagePath;
    std::int64_t xmlLimit = 5;
    bool removeDuplicates = true;
};

/// What a pipeline works with. All of it outlives it.
struct BackupServices {
    LogWriter& log;
    const Clock& clock;
    EditorBridge& editor;
    const FileCopier& copier;
    const FinderMetadata& metadata;
    const BackupRemoval& removal;
    /// Reads the preferences file; nothing when it cannot be read.
    std::function<std::optional<BackupSettings>()> readSettings;
    /// Brings a watch list of plain paths into the current format, in the preferences file too.
    std::function<std::optional<PropertyList::Array>(const PropertyList::Array&)>
        convertOldListFormat;
    /// The path with a tilde at its beginning replaced by the home folder.
    std::function<std::string(const std::string&)> expandTilde;
    /// What comes after the backups of a run: retention, then the changelists of the project
    /// folders that got a new version.
    std::function<void()> manageBackups;
    std::function<void(const std::vector<std::string>& folders)> refreshCaches;
    /// Lets so much time pass.
    std::function<void(std::chrono::microseconds)> pauseFor;
    UserInterface* userInterface = nullptr;     ///< nullptr in a run without a window
    ProgressDisplay* snapshotSpinner = nullptr; ///< shown while a snapshot is taken
};

/// One version that is to be made.
struct BackupRequest {
    std::string project; ///< the project file's path, which may begin with a tilde
    std::string folder;  ///< the project folder in the store
    std::int32_t number = 1;
    std::string sequence;    ///< the identifier of the chosen one; empty for the whole project
    bool launchProj = false; ///< start the editor if it does not run
    bool force = false;      ///< make the XML copy whatever the policy says
};

class BackupPipeline {
public:
    explicit BackupPipeline(BackupServices services) : services_(std::move(services)) {}

    /// Backs up every watched project that the editor has open and that was saved within the minute
    /// before the run, or since, or that has no version yet; then retention and caches. A run that
    /// took long looks once more for what was saved during it.
    void processProjects();

    /// Has the editor save the watched projects that it has open. A watch list in the current
    /// format ends this with an exception, which is logged, and nothing is saved; deliberately.
    void autosave();

    /// Makes one version, as far as it can.
    void backupProject(const BackupRequest& request);

    /// Makes a version of a project now, with an XML copy, starting the editor if need be. May be
    /// called on any thread.
    void takeSnapshot(const std::string& project, const std::string& sequence);

    /// Copies the project file into the folder, which is made when it is missing. Returns what
    /// went wrong; nothing when the copy is there, also when it was there before.
    [[nodiscard]] std::optional<std::string>
    backupFCPProject(const std::string& project, const std::string& folder, std::int32_t number);

    /// Deletes the last file of a project folder when it equals the one before it byte for byte;
    /// whether it did. Nothing is deleted where the folder is a link.
    bool removeLastDuplicateForProject(const std::string& folder);

private:
    using TimePoint = std::chrono::system_clock::time_point;
    enum class Look { isDone, tookLong };
    enum class EntryEnd { skipped, firstVersion, furtherVersion };

    Look lookAtProjects(TimePoint beginOfRun);
    [[nodiscard]] std::optional<PropertyList::Array> watchList(const BackupSettings& settings);
    [[nodiscard]] EntryEnd processEntry(const PropertyList& entry, const BackupSettings& settings,
                                        const std::vector<std::string>& openProjects,
                                        TimePoint beginOfRun);
    /// Whether the project was saved since the backup file `newest`, and not long before the run
    /// began. The log has what is skipped that may be a save.
    [[nodiscard]] bool isFreshlySaved(const std::string& project, const std::string& newest,
                                      TimePoint beginOfRun);
    [[nodiscard]] static bool isTheCopied(const std::string& project, const FileStamp& stamp,
                                          const std::string& newest);
    /// Gives the request the number after that of the file; false when there is none.
    [[nodiscard]] bool takeNumberAfter(const std::string& lastFile, BackupRequest& request);
    void autosaveOpenProjects();
    void awaitClockTick(const std::string& project);
    void makeVersion(const BackupRequest& request, const std::string& project);
    void makeXmlCopy(const BackupRequest& request, const std::string& project,
                     const BackupSettings& settings, const std::optional<FileStamp>& projectBefore);
    [[nodiscard]] static bool isWholeVersionThere(const BackupRequest& request,
                                                  const std::string& project);
    [[nodiscard]] bool wantsXmlCopy(const BackupRequest& request, const std::string& project,
                                    const BackupSettings& settings);
    [[nodiscard]] std::optional<SharedBytes> exported(const BackupRequest& request,
                                                      const std::string& project);
    void dateAsItsProject(const std::string& xmlCopy, const FileStamp& project);
    [[nodiscard]] bool isProjectFile(const std::string& project) const;
    void makeFolder(const std::string& folder);

    BackupServices services_;
};

} // namespace cutstack
