#pragma once

// Deleting what the user wants to be rid of: one version, or a project with all its versions. The
// user is asked first, always. Whatever goes, goes to the Trash, and only from the store: a file
// that lies in one of its project folders, or such a folder itself.
//
//     one version --> question --> BackupRemoval ---------------------------------+
//     a project ----> question --> Trash --> cache file, watch list, jobs --------+--> list anew
//
// Main thread only; the questions are waited for.

#include <functional>
#include <string>

#include "platform/Trash.h"
#include "store/BackupRemoval.h"
#include "support/LogWriter.h"
#include "support/UserInterface.h"

namespace cutstack {

/// What deleting works with. All of it outlives it.
struct VersionDeletionServices {
    LogWriter& log;
    UserInterface& userInterface;
    Trash& trash;
    const BackupRemoval& removal;
    std::string cacheFolder; ///< where the changelist caches are
    /// The version store's folder as it is now.
    std::function<std::string()> storagePath;
    /// WatchList::removeWatchFileForProjectName.
    std::function<void(const std::string& name)> removeWatchFileForProjectName;
    /// Writes the job that backs up, then the one that looks for watched files, anew.
    std::function<void()> generateLaunchdPlist;
    std::function<void()> generateProjectWatcherPlist;
    /// VersionBrowser's functions of these names.
    std::function<void()> populateVersionFiles;
    std::function<void()> switchProject;
};

class VersionDeletion {
public:
    explicit VersionDeletion(VersionDeletionServices services) : services_(std::move(services)) {}

    /// Moves the version's file at `file` to the Trash when the user agrees, and shows the store
    /// anew; a file that stays is told in the log. Nothing is asked, and the log has a line, for
    /// what is no file in a project folder of the store.
    void processDeletedBackup(const std::string& file);

    /// Moves the project folder to the Trash when the user agrees, and takes the project off the
    /// watch list. A folder that cannot be moved stays with everything that belongs to it, and the
    /// user is told. A link in the store goes itself, what it leads to stays. Nothing is asked, and
    /// the log has a line, for what does not lie in the store.
    void deleteAllBackups(const std::string& projectFolder);

private:
    [[nodiscard]] bool isAgreed(const std::string& question, const std::string& consequence,
                                const std::string& button) const;
    [[nodiscard]] bool liesInStore(const std::string& path, int levelsDown) const;
    void removeProject(const std::string& folder);
    void removeCache(const std::string& projectName) const;
    void showAnew() const;

    const VersionDeletionServices services_;
};

} // namespace cutstack
