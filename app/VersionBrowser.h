#pragma once

// What the versions pane of the window shows, without any widget: the projects of the store, the
// one that is selected, its versions, and the versions that match a search. The window draws it
// through a VersionsView and calls it for what the user does; whoever computes hands results back
// on the main thread.
//
//      user --> switchProject --(a thread)--> Changelists --(main thread)--> updateVersionArray
//      user --> search ---------(a thread)--> VersionSearch --(main thread)-->
//      updateVersionSearchArray
//
// Main thread only. Searches may overtake each other: the last one to finish wins. The threads that
// were started are waited for when the browser goes.

#include "changes/VersionsPane.h"
#include "store/VersionStore.h"
#include "support/LogWriter.h"
#include "support/UserDefaults.h"
#include "support/UserInterface.h"

#include <cstddef>
#include <functional>
#include <future>
#include <optional>
#include <string>
#include <vector>

namespace cutstack {

/// What draws a VersionBrowser. Called on the main thread.
class VersionsView {
public:
    virtual ~VersionsView() = default;

    /// Shows the projects to choose from, with one of them selected or none.
    virtual void showProjects(const std::vector<StoredProject>& projects,
                              std::optional<std::size_t> selected) = 0;
    /// Draws the versions anew, every version with its sentences unfolded.
    virtual void reloadVersions() = 0;
    virtual void enablePrinting(bool enabled) = 0;
    virtual void clearSearchField() = 0;
    virtual void showVersionSpinner(bool spinning) = 0;
    virtual void enableGenerateXMLButton(bool enabled) = 0;
};

/// What a browser works with. All of it outlives it.
struct VersionBrowserServices {
    UserDefaults& defaults;
    std::string defaultStoragePath; ///< the store where the settings name none
    LogWriter& log;
    UserInterface& userInterface;
    VersionsView& view;
    /// Works out the versions of a project folder and hands them to the pane; called on a thread of
    /// its own. Changelists::populateChangeListForProject in the program.
    std::function<void(const std::string& folder, VersionsPane& pane)> populateChangeListForProject;
};

class VersionBrowser final : public VersionsPane {
public:
    explicit VersionBrowser(VersionBrowserServices services);
    ~VersionBrowser() override;
    VersionBrowser(const VersionBrowser&) = delete;
    VersionBrowser& operator=(const VersionBrowser&) = delete;

    /// Looks up the projects of the store and selects the one that was shown last. Tells the user
    /// when there is none.
    void populateVersionFiles();

    /// Selects one of projects(), or none.
    void selectProject(std::optional<std::size_t> index) { selected_ = index; }

    /// Shows the selected project: remembers it in the settings, drops what is shown, and has its
    /// versions worked out. Does nothing without a selection.
    void switchProject();

    /// Shows only versions with a sentence that contains `text`; all of them for an empty text.
    void search(const std::string& text);
    /// Empties the search field and shows all versions.
    void resetSearch();

    /// The versions of the selected project that match the search, found on the calling thread from
    /// the versions as they are at that time, and handed to updateVersionSearchArray().
    void beginSearch(const std::string& text, const VersionArray& versions);

    /// Replaces what matches the search; nothing ends the search, which differs from no match.
    void updateVersionSearchArray(VersionArray matches);

    /// The sentences that the filter settings let through, for the rows below a version. A filter
    /// that cannot work is logged and lets everything through.
    [[nodiscard]] Changelist filterArray(const Changelist& sentences) const;

    [[nodiscard]] const std::vector<StoredProject>& projects() const { return projects_; }
    [[nodiscard]] const VersionArray& versionArray() const { return versionArray_; }
    /// nullptr when no search is active.
    [[nodiscard]] const VersionArray& versionSearchArray() const { return versionSearchArray_; }
    /// What is on the screen: the matches while a search is active. Never nullptr.
    [[nodiscard]] const std::vector<VersionRecord>& shownVersions() const;

    // VersionsPane
    void startVersionSpinner() override;
    void stopVersionSpinner() override;
    void enableGenerateXMLButton(bool enabled) override;
    void updateVersionArray(VersionArray versions) override;

private:
    void startThread(std::function<void()> work);
    [[nodiscard]] std::string storagePath() const;
    [[nodiscard]] std::optional<std::size_t> lastShownProject() const;

    VersionBrowserServices services_;
    std::vector<StoredProject> projects_;
    std::optional<std::size_t> selected_;
    VersionArray versionArray_;
    VersionArray versionSearchArray_;
    std::vector<std::future<void>> threads_;
};

} // namespace cutstack
