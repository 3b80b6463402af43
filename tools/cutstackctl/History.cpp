#include "tools/cutstackctl/History.h"

#include "app/Settings.h"
#include "changes/Changelists.h"
#include "support/FolderListing.h"
#include "support/UserDefaults.h"
#include "support/ZTLocalPaths.h"
#include "tools/ProgressLine.h"
#include "tools/cutstackctl/LogFiles.h"

#include <algorithm>

namespace cutstack::cutstackctl {

namespace {

/// The log is for the reasons of trouble; a person at a terminal sees the results.
class NoConsole final : public SystemLog {
public:
    void log(std::string_view) override {}
};

/// The progress of the changelists as a line on the terminal.
class TerminalProgress final : public ProgressDisplay {
public:
    void startProgress() override { line_.emplace(); }
    void setDeterminateProgress(double steps) override {
        steps_ = steps;
        done_ = 0;
        show();
    }
    void incrementProgressBar() override {
        ++done_;
        show();
    }
    void endProgress() override { line_.reset(); }

private:
    void show() {
        if (line_ && steps_ > 0)
            line_->show("Working out changes", static_cast<unsigned>(done_ * 100 / steps_));
    }

    std::optional<ProgressLine> line_;
    double steps_ = 0;
    double done_ = 0;
};

/// Keeps the versions instead of showing them.
class KeptVersions final : public VersionsPane {
public:
    void startVersionSpinner() override {}
    void stopVersionSpinner() override {}
    void enableGenerateXMLButton(bool) override {}
    void updateVersionArray(VersionArray versions) override { versions_ = *versions; }

    [[nodiscard]] std::vector<VersionRecord> take() { return std::move(versions_); }

private:
    std::vector<VersionRecord> versions_;
};

/// Why the changes of an XML copy could not be worked out.
std::string reasonFor(const std::string& path) {
    ExportReader exports;
    const ExportReading reading = exports.read(path);
    if (reading.unreadable)
        return path + ": " + *reading.unreadable;
    return path + ": " + reading.malformed.value_or("the XML copy before it cannot be read");
}

/// The XML copies in the folder of which no version tells, and why.
std::vector<std::string> copiesWithoutVersion(const std::string& folder,
                                              const std::vector<VersionRecord>& versions) {
    std::vector<std::string> reasons;
    for (const std::string& name : namesInFolder(folder).value_or(std::vector<std::string>())) {
        const std::string path = pathInFolder(folder, name);
        const bool isCopy = name.ends_with(".xml") && !name.starts_with('.');
        if (isCopy && std::ranges::find(versions, path, &VersionRecord::file) == versions.end())
            reasons.push_back(reasonFor(path));
    }
    return reasons;
}

} // namespace

std::optional<std::string> userStoreFolder() {
    const auto preferences = ZTLocalPaths::prefsDirectory(true);
    if (!preferences)
        return std::nullopt;
    const auto stored = readPreferencesFile(*preferences + "/" + std::string(kPreferencesFileName));
    const PropertyList* folder = stored ? stored->valueForKey(settings::storagePath) : nullptr;
    if (folder != nullptr && folder->asString() != nullptr)
        return *folder->asString();
    return defaultStoragePath();
}

History historyOf(const StoredProject& project) {
    NoConsole console;
    LogWriter log({Locations::ofProcess(), systemClock(), console, ownLogHeader});
    log.createNewLog(std::nullopt);
    std::atomic<bool> progressCancelled = false;
    TerminalProgress progress;
    KeptVersions versions;
    Changelists changelists({.cacheFolder = cacheFolder().value_or(""),
                             .applicationVersion = CUTSTACK_VERSION,
                             .log = log,
                             .clock = systemClock(),
                             .metadata = finderMetadata(),
                             .trash = trash(),
                             .progressCancelled = progressCancelled,
                             .userInterface = nullptr,
                             .progress = &progress});
    changelists.populateChangeListForProject(project.folder, versions);
    History history{versions.take(), {}};
    history.notComputed = copiesWithoutVersion(project.folder, history.versions);
    return history;
}

} // namespace cutstack::cutstackctl
