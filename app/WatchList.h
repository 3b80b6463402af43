#pragma once

// The user's list of project files that are backed up: rows of ZTProject in memory, the setting
// `filelist` on disk. Every change is stored at once. The window shows the rows; the launchd jobs
// watch their paths.
//
//   filelist: array of  path          string, "~" for the home folder
//                       sequences     array of dictionaries with name and uuid
//                       selectedUUID  string, empty for the entire project
//
// Older programs stored plain paths, which are read and rewritten. Two paths are the same when they
// are with their tildes expanded.
//
// Main thread only, but for watchedPaths(). Exceptions end the operation and are logged; the list
// stays as it was at that point.

#include <cstddef>
#include <cstdint>
#include <functional>
#include <mutex>
#include <optional>
#include <set>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "app/ZTProject.h"
#include "platform/FinderMetadata.h"
#include "support/LogWriter.h"
#include "support/UserDefaults.h"
#include "support/UserInterface.h"
#include "support/ZTLocalPaths.h"

namespace cutstack {

/// What a watch list works with. All of it outlives the list; functions may be empty.
struct WatchListServices {
    UserDefaults& settings;
    LogWriter& log;
    const Locations& locations;
    const FinderMetadata& finderMetadata;
    UserInterface* userInterface; ///< nullptr in a run without a window
    /// Writes the launchd jobs that depend on the list anew: the one that watches the projects and
    /// the one that watches that one.
    std::function<void()> regenerateJobs;
    /// Lets the user choose a sequence of the project in that row.
    std::function<void(std::size_t row)> showSequenceDialog;
    /// Shows the rows as they are now.
    std::function<void()> reloadTable;
};

class WatchList {
public:
    explicit WatchList(WatchListServices services) : services_(std::move(services)) {}

    [[nodiscard]] const std::vector<ZTProject>& fileArray() const { return fileArray_; }

    /// Stores the rows in the settings and writes these. A failure is logged, and the rows stay to
    /// be written the next time.
    void saveWatchList();

    /// Reads the rows from the settings. Elements that are no project are logged and passed over; a
    /// list with plain paths is stored again in today's form.
    void populateWatchFiles();

    /// Adds a row for the project, unless there is one, and stores the list. For a large file the
    /// user is asked whether to choose a sequence of it. A path that the settings cannot keep is
    /// logged and not added.
    void addFileToList(const std::string& path);

    /// Adds the projects in the folder and in those inside of it, in listing order: the files that
    /// are called "fcp" alone, in whatever case, and those of the type 'FCPF'. Links to folders are
    /// followed, each folder is searched once. A folder that cannot be read is logged.
    void addFilesInDirectoryToList(const std::string& folder);

    /// Removes the rows with these indexes, counted from 0, and stores the list. Indexes without a
    /// row count for nothing.
    void removeFilesFromList(const std::set<std::size_t>& rows);

    /// Removes all rows whose project has that file name, and stores the list.
    void removeWatchFileForProjectName(const std::string& name);

    /// The remove button: removes the selected rows and regenerates the jobs; nothing without a
    /// selection.
    void removeFile(const std::set<std::size_t>& selectedRows);

    /// Adds the files that the user has chosen, whatever they are, and regenerates the jobs.
    void importFiles(std::span<const std::string> paths);

    /// Whether these paths may be dropped on the list: there are some, and each is a folder, a file
    /// with the extension "fcp", or one of the type 'FCPF'.
    [[nodiscard]] bool validateDrop(std::span<const std::string> paths) const;

    /// Adds what is dropped by the rules of addFilesInDirectoryToList(), so that a file that was
    /// let through for its extension alone is not added, deliberately; then regenerates the jobs.
    /// Returns whether all went well.
    bool acceptDrop(std::span<const std::string> paths);

    /// Chooses one of the sequences that the row offers, or the entire project, and stores the
    /// list. Does nothing for a row that is not there.
    void changeSequence(std::size_t row, const std::optional<std::string>& uuid);

    /// The same for a sequence that the row may not offer yet.
    void chooseSequence(std::size_t row, const ProjectSequence& sequence);

    /// The paths of the rows with their tildes expanded, each once, in the order of the rows.
    [[nodiscard]] std::vector<std::string> expandPaths(const std::vector<ZTProject>& rows) const;

    /// expandPaths() of the rows as they are now. Any thread: jobs are written on others than the
    /// one that changes the list.
    [[nodiscard]] std::vector<std::string> watchedPaths() const;

private:
    using FolderIdentity = std::pair<std::uint64_t, std::uint64_t>; ///< device and inode

    void storeRows();
    void readRows();
    void setRows(std::vector<ZTProject> rows);
    void addRow(const std::string& path);
    void offerSequencesOfLargeProject(std::size_t row);
    void searchFolder(const std::string& folder, std::set<FolderIdentity>& searched);
    void removeRows(const std::function<bool(std::size_t row)>& isRemoved);
    void storeAndShow();
    [[nodiscard]] bool isProjectFile(const std::string& path) const;
    [[nodiscard]] bool hasProjectType(const std::string& path) const;
    [[nodiscard]] std::string expanded(const std::string& path) const;
    [[nodiscard]] std::string abbreviated(const std::string& path) const;

    const WatchListServices services_;
    mutable std::mutex guard_; ///< held where rows come and go, and where others read them
    std::vector<ZTProject> fileArray_;
};

} // namespace cutstack
