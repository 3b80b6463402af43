#pragma once

// The changelists of a project's versions: a folder of numbered project copies and XML copies
// becomes one record a version, with the sentences that tell what changed since the XML copy
// before. Records are kept in the project's cache file and computed only where the cache lacks
// them.
//
//      project folder --> changelistForProject --+
//                                                +--> cacheForProject -->
//                                                populateChangeListForProject
//      cache file -------------------------------+                          --> VersionsPane
//
// One Changelists belongs to one program run. Its operations may be called on any thread, one at a
// time; what they show goes through the UserInterface on the main thread. An operation that the
// user cancels (`progressCancelled`, with a user interface) ends at its next poll: the file that
// was being compared has no record, those that were done before it keep theirs. Every operation
// runs in a guard: an exception is logged, and nothing is returned.

#include "changes/ChangelistCache.h"
#include "changes/ExportReader.h"
#include "changes/VersionRecord.h"
#include "changes/VersionsPane.h"
#include "platform/Clock.h"
#include "platform/FinderMetadata.h"
#include "platform/Trash.h"
#include "support/LogWriter.h"
#include "support/UserInterface.h"

#include <atomic>
#include <cstdint>
#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace cutstack {

/// What a Changelists works with. All of it outlives it.
struct ChangelistServices {
    std::string cacheFolder;        ///< where the cache files are; made when it is missing
    std::string applicationVersion; ///< the version that the program's bundle states
    LogWriter& log;
    const Clock& clock;
    const FinderMetadata& metadata;
    Trash& trash;
    std::atomic<bool>& progressCancelled;
    UserInterface* userInterface = nullptr; ///< nullptr in a run without a window
    /// Where progress shows: the user interface, or what stands in for it in a run without one.
    ProgressDisplay* progress = nullptr;
};

class Changelists {
public:
    /// XML copies of this size and above are not compared.
    static constexpr std::uint64_t kSizeLimitInBytes = 83'886'080;

    explicit Changelists(ChangelistServices services);

    /// The record of one file of a project folder, compared with the XML copy before it, if there
    /// is one. Nothing for a file that is neither a project copy nor an XML copy, and for one that
    /// could not be read; the log says why, and so does an alert.
    [[nodiscard]] std::optional<VersionRecord>
    changelistForFile(const std::string& file, const std::optional<std::string>& oldFile);

    /// The records of all files of a project folder, by name.
    [[nodiscard]] std::optional<VersionRecords> changelistForProject(const std::string& path);

    /// The records of a project folder from its cache file, which is brought up to date. Sets
    /// `progressCancelled` when it is done, whatever came of it.
    [[nodiscard]] std::optional<VersionRecords> cacheForProject(const std::string& path);

    /// Works out what the versions pane shows for a project folder, and hands it over: the records
    /// with the newest first, without project copies that have an XML copy.
    void populateChangeListForProject(const std::string& path, VersionsPane& pane);

    /// Computes the records of an XML copy that was made anew and of the one after it again, and
    /// puts them into the cache. The newest XML copy becomes a base version by that, deliberately.
    void updateChangelistForItem(const std::string& xmlCopy);

    /// Deletes every cache file.
    void invalidateAllCaches();

    /// Asks whether to, and moves the cache folder to the Trash. Without a user interface nobody
    /// can be asked and nothing happens.
    void trashCaches();

private:
    class Host;
    struct FileFacts;

    [[nodiscard]] bool hasGUI() const { return services_.userInterface != nullptr; }
    [[nodiscard]] bool isCancelled() const { return hasGUI() && services_.progressCancelled; }
    void log(std::string_view format, std::initializer_list<FormatArgument> arguments = {});
    void onMainThread(const std::function<void()>& work);
    void onMainThreadLater(std::function<void()> work);

    void startProgress(std::size_t steps);
    void incrementProgress();
    void endProgress();
    void alert(std::string_view message, std::string_view information);
    /// An alert where there is a user interface, a log line otherwise.
    void report(std::string_view message, std::string_view information);
    /// Ends the progress display and shows an alert, where there is a user interface.
    void endWithAlert(std::string_view message, std::string_view information);

    [[nodiscard]] FileFacts factsOf(const std::string& file);
    [[nodiscard]] bool isProjectCopy(const std::string& file) const;
    [[nodiscard]] std::optional<VersionRecord> recordOf(const std::string& file,
                                                        const std::optional<std::string>& oldFile);
    [[nodiscard]] std::optional<Changelist> compare(const std::string& file,
                                                    const std::string& oldFile);
    [[nodiscard]] SharedDocument newDocument(const std::string& file);
    [[nodiscard]] SharedDocument oldDocument(const std::string& oldFile);
    [[nodiscard]] std::optional<Changelist> compareDocuments(const SharedDocument& newDoc,
                                                             const SharedDocument& oldDoc,
                                                             const std::string& oldFile);
    void readAhead(const std::string& folder, const std::vector<std::string>& names,
                   std::size_t from);
    [[nodiscard]] VersionRecords recordsInOrder(const std::string& folder,
                                                const std::vector<std::string>& names);

    [[nodiscard]] std::string cacheFile(std::string_view folder) const;
    [[nodiscard]] bool makeCacheFolder(std::string& error) const;
    [[nodiscard]] std::optional<VersionRecords> upToDateCache(const std::string& folder);
    void loadCache(ChangelistCache& cache, const std::string& file);
    void loadTrustedCache(ChangelistCache& cache, const std::string& file);
    [[nodiscard]] std::optional<bool> completeCache(ChangelistCache& cache,
                                                    const std::string& folder);
    [[nodiscard]] bool computeMissing(ChangelistCache& cache, const std::string& name,
                                      const std::string& path, const std::string& previous);
    [[nodiscard]] bool recomputeAll(ChangelistCache& cache, const std::string& folder);
    void saveCache(ChangelistCache& cache, const std::string& file);
    [[nodiscard]] static std::vector<VersionRecord> shownRecords(const std::string& folder,
                                                                 VersionRecords records);
    void showVersions(const VersionArray& versions, VersionsPane& pane);
    void forgetDocuments();
    void updateRecords(ChangelistCache& cache, const std::string& xmlCopy);
    [[nodiscard]] bool userWantsToTrashCaches();

    ChangelistServices services_;
    ExportReader exports_;

    bool isInProgress_ = false; ///< from startProgress() to endProgress()
    bool wasCancelled_ = false; ///< the user stopped a comparison, not a failure its progress

    // What one comparison leaves for the next. The path is that of the old file while the document
    // is the new one, deliberately: the document is taken up again only when the same old file is
    // compared again. The lists carry over whatever is compared next; they are those of a document,
    // which is kept for them.
    std::string lastXMLDocPath_;
    SharedDocument lastXMLDoc_;
    SharedDocument lastListsDoc_;
};

} // namespace cutstack
