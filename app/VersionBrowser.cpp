#include "app/VersionBrowser.h"

#include "app/Settings.h"
#include "changes/ChangeFilter.h"
#include "changes/VersionSearch.h"
#include "support/ZTException.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <utility>

namespace cutstack {

namespace {

/// The settings of the kinds of change, in the order of ChangeKind.
constexpr std::array<std::string_view, kChangeKinds> kFilterSettings = {
    settings::filterInPoints,  settings::filterOutPoints,    settings::filterMarkers,
    settings::filterFilters,   settings::filterSequences,    settings::filterClips,
    settings::filterSubclips,  settings::filterFreezeFrames, settings::filterBins,
    settings::filterMulticlips};

bool hasEnded(const std::future<void>& thread) {
    return thread.wait_for(std::chrono::seconds(0)) == std::future_status::ready;
}

} // namespace

VersionBrowser::VersionBrowser(VersionBrowserServices services) : services_(std::move(services)) {}

// Each future waits for its thread.
VersionBrowser::~VersionBrowser() = default;

void VersionBrowser::startThread(std::function<void()> work) {
    std::erase_if(threads_, hasEnded);
    threads_.push_back(std::async(std::launch::async, std::move(work)));
}

std::string VersionBrowser::storagePath() const {
    return services_.defaults.stringForKey(settings::storagePath)
        .value_or(services_.defaultStoragePath);
}

std::optional<std::size_t> VersionBrowser::lastShownProject() const {
    const auto last = services_.defaults.stringForKey(settings::lastProject);
    const auto project = std::ranges::find_if(
        projects_, [&](const StoredProject& candidate) { return candidate.folder == last; });
    if (project == projects_.end())
        return projects_.empty() ? std::nullopt : std::optional<std::size_t>(0);
    return static_cast<std::size_t>(project - projects_.begin());
}

void VersionBrowser::populateVersionFiles() {
    guarded(
        "-[AppController populateVersionFiles]",
        [this] {
            services_.log.appendLog("Populating version files...");
            projects_ = VersionStore(storagePath()).projects();
            // A popup always shows one of its items.
            selected_ = lastShownProject();
            services_.view.showProjects(projects_, selected_);
            if (projects_.empty())
                services_.userInterface.alertSheet(
                    {.messageText = "No backups found",
                     .informativeText =
                         "You must add a project to the file list and then save it within Final "
                         "Cut Pro in order to receive version information.",
                     .defaultButton = "OK",
                     .alternateButton = {},
                     .otherButton = {}});
        },
        services_.log);
}

void VersionBrowser::switchProject() {
    guarded(
        "-[AppController switchProject:]",
        [this] {
            if (!selected_ || *selected_ >= projects_.size())
                return;
            const std::string folder = projects_[*selected_].folder;
            services_.defaults.setObject(folder, settings::lastProject);
            if (const auto result = services_.defaults.synchronize(); !result.error.empty())
                services_.log.appendLog("Unable to store settings: %@", result.error);
            versionArray_.reset();
            services_.view.reloadVersions();
            resetSearch();
            startThread([this, folder] { services_.populateChangeListForProject(folder, *this); });
        },
        services_.log);
}

void VersionBrowser::search(const std::string& text) {
    if (text.empty()) {
        updateVersionSearchArray(nullptr);
        return;
    }
    startThread([this, text, versions = versionArray_] { beginSearch(text, versions); });
}

void VersionBrowser::resetSearch() {
    services_.view.clearSearchField();
    updateVersionSearchArray(nullptr);
}

void VersionBrowser::beginSearch(const std::string& text, const VersionArray& versions) {
    guarded(
        "-[AppController beginSearch:]",
        [&] {
            services_.log.appendLog("Beginning search for '%@'", text);
            auto matches = std::make_shared<std::vector<VersionRecord>>();
            if (versions != nullptr)
                *matches = versionsContaining(text, *versions);
            services_.userInterface.performOnMainThread(
                [this, matches] { updateVersionSearchArray(matches); });
        },
        services_.log);
}

Changelist VersionBrowser::filterArray(const Changelist& sentences) const {
    FilterSettings values{};
    std::ranges::transform(kFilterSettings, values.begin(), [this](std::string_view setting) {
        return services_.defaults.integerForKey(setting);
    });
    const ChangeFilter filter(values);
    if (const auto reason = filter.failure())
        ZTException::logException(Exception("NSInvalidArgumentException", *reason),
                                  "-[AppController filterArray:]", services_.log);
    return filter.filterArray(sentences);
}

void VersionBrowser::updateVersionSearchArray(VersionArray matches) {
    versionSearchArray_ = std::move(matches);
    services_.view.reloadVersions();
    services_.view.enablePrinting(versionSearchArray_ != nullptr && !versionSearchArray_->empty());
}

const std::vector<VersionRecord>& VersionBrowser::shownVersions() const {
    static const std::vector<VersionRecord> none;
    const VersionArray& shown =
        versionSearchArray_ != nullptr ? versionSearchArray_ : versionArray_;
    return shown == nullptr ? none : *shown;
}

void VersionBrowser::startVersionSpinner() { services_.view.showVersionSpinner(true); }

void VersionBrowser::stopVersionSpinner() { services_.view.showVersionSpinner(false); }

void VersionBrowser::enableGenerateXMLButton(bool enabled) {
    services_.view.enableGenerateXMLButton(enabled);
}

void VersionBrowser::updateVersionArray(VersionArray versions) {
    versionArray_ = std::move(versions);
    services_.view.reloadVersions();
    services_.view.enablePrinting(versionArray_ != nullptr && !versionArray_->empty());
}

} // namespace cutstack
