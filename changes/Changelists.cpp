#include "changes/Changelists.h"

#include "store/VersionNames.h"
#include "support/FolderListing.h"
#include "support/Unicode.h"
#include "support/ZTException.h"

#include <algorithm>
#include <array>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <system_error>
#include <utility>

namespace cutstack {

namespace fs = std::filesystem;

namespace {

constexpr std::string_view kProjectFileType = "FCPF";
constexpr std::string_view kXmlSuffix = ".xml";
constexpr std::string_view kNil = "(null)"; // how the log shows that there is none

// Quoted as it is shown; filters and people know it.
constexpr std::string_view kTooLarge =
    "Project file size exceeds 80 MB and will not be processed. To reduce file sizes, go to the "
    "Projects tab and change Backup from \"Entire Project\" to a specific sequence.";

PropertyListDate inSeconds(std::chrono::system_clock::time_point moment) {
    return std::chrono::floor<std::chrono::seconds>(moment);
}

std::string lowerCaseExtension(std::string_view path) { return caseFolded(pathExtension(path)); }

/// Whether two files hold the same bytes; false when one cannot be read.
bool sameContents(const std::string& file, const std::string& other) {
    std::error_code error;
    if (fs::file_size(file, error) != fs::file_size(other, error) || error)
        return false;
    std::ifstream ours(file, std::ios::binary);
    std::ifstream theirs(other, std::ios::binary);
    using Bytes = std::istreambuf_iterator<char>;
    return ours && theirs && std::equal(Bytes(ours), Bytes(), Bytes(theirs), Bytes());
}

} // namespace

/// What the file system tells of a file.
struct Changelists::FileFacts {
    PropertyListDate date;
    std::optional<std::uint64_t> sizeInBytes; ///< none when it could not be asked
};

/// Lets a comparison ask and speak as this Changelists.
class Changelists::Host final : public ComparisonHost {
public:
    explicit Host(Changelists& changelists) : changelists_(changelists) {}

    [[nodiscard]] bool progressCancelled() const override { return changelists_.isCancelled(); }
    /// Only a comparison that the user cancelled ends the progress.
    void endProgress() override {
        changelists_.wasCancelled_ = true;
        changelists_.endProgress();
    }
    void appendLog(std::string_view line) override { changelists_.log("%@", {line}); }
    void console(std::string_view line) override { changelists_.services_.log.console().log(line); }

private:
    Changelists& changelists_;
};

Changelists::Changelists(ChangelistServices services) : services_(std::move(services)) {}

void Changelists::log(std::string_view format, std::initializer_list<FormatArgument> arguments) {
    services_.log.appendLog(format, std::span(arguments.begin(), arguments.size()));
}

// The screen

void Changelists::onMainThread(const std::function<void()>& work) {
    if (hasGUI())
        services_.userInterface->performOnMainThreadAndWait(work);
    else
        work();
}

void Changelists::onMainThreadLater(std::function<void()> work) {
    if (hasGUI())
        services_.userInterface->performOnMainThread(std::move(work));
    else
        work();
}

void Changelists::startProgress(std::size_t steps) {
    services_.progressCancelled = false;
    isInProgress_ = true;
    if (services_.progress == nullptr)
        return;
    onMainThread([this, steps] {
        services_.progress->startProgress();
        if (steps > 1)
            services_.progress->setDeterminateProgress(static_cast<double>(steps));
    });
}

void Changelists::incrementProgress() {
    if (ProgressDisplay* progress = services_.progress; progress != nullptr)
        onMainThreadLater([progress] { progress->incrementProgressBar(); });
}

/// The end of a progress is the end of an operation: no document is remembered beyond it.
void Changelists::endProgress() {
    isInProgress_ = false;
    if (services_.progress != nullptr)
        onMainThread([this] { services_.progress->endProgress(); });
    if (!hasGUI())
        return;
    services_.progressCancelled = true;
    lastXMLDocPath_.clear();
    lastXMLDoc_.reset();
}

void Changelists::alert(std::string_view message, std::string_view information) {
    onMainThread([&] {
        services_.userInterface->alertSheet({.messageText = std::string(message),
                                             .informativeText = std::string(information),
                                             .defaultButton = "OK",
                                             .alternateButton = {},
                                             .otherButton = {}});
    });
}

void Changelists::report(std::string_view message, std::string_view information) {
    if (hasGUI())
        alert(message, information);
    else
        log("%@. %@", {message, information});
}

void Changelists::endWithAlert(std::string_view message, std::string_view information) {
    if (!hasGUI())
        return;
    endProgress();
    alert(message, information);
}

// One file

Changelists::FileFacts Changelists::factsOf(const std::string& file) {
    std::string reason;
    const auto stamp = fileStamp(file, reason);
    if (!stamp) {
        log("Unable to get attributes for file %@: %@", {file, reason});
        return {inSeconds(services_.clock.now()), std::nullopt};
    }
    log("Project file size is %llu bytes", {stamp->sizeInBytes});
    return {PropertyListDate(std::chrono::seconds(stamp->modified.seconds)), stamp->sizeInBytes};
}

bool Changelists::isProjectCopy(const std::string& file) const {
    return lowerCaseExtension(file) == kFcpType ||
           services_.metadata.hfsTypeCode(file) == kProjectFileType;
}

std::optional<VersionRecord>
Changelists::changelistForFile(const std::string& file, const std::optional<std::string>& oldFile) {
    return guarded(
               "-[AppController changelistForFile:withOldFile:]",
               [&] { return recordOf(file, oldFile); }, services_.log)
        .value_or(std::nullopt);
}

std::optional<VersionRecord> Changelists::recordOf(const std::string& file,
                                                   const std::optional<std::string>& oldFile) {
    log("Getting changelist for file %@ with old file %@",
        {file, oldFile ? std::string_view(*oldFile) : kNil});
    const FileFacts facts = factsOf(file);
    if (oldFile)
        static_cast<void>(factsOf(*oldFile));
    VersionRecord record{.changelist = {},
                         .version = versionOfFile(file),
                         .date = facts.date,
                         .size = facts.sizeInBytes ? formatFileSize(*facts.sizeInBytes) : "",
                         .file = file,
                         .type = std::string(kXmlType)};
    if (isProjectCopy(file)) {
        record.type = kFcpType;
        const bool same = oldFile && sameContents(file, *oldFile);
        record.changelist = {same ? "No change"
                                  : formatString("XML copy %@ not generated", {record.version})};
        return record;
    }
    if (lowerCaseExtension(file) != kXmlType)
        return std::nullopt;
    if (!oldFile || isProjectCopy(*oldFile)) {
        record.changelist = {"(Base version)"};
        return record;
    }
    if (facts.sizeInBytes.value_or(0) >= kSizeLimitInBytes) {
        record.changelist = {std::string(kTooLarge)};
        record.noProcess = true;
        return record;
    }
    auto changes = compare(file, *oldFile);
    if (!changes)
        return std::nullopt;
    record.changelist = *std::move(changes);
    return record;
}

SharedDocument Changelists::newDocument(const std::string& file) {
    ExportReading reading = exports_.read(file);
    if (reading.unreadable) {
        log("Unable to load data: %@", {*reading.unreadable});
        endWithAlert("Unable to load data", *reading.unreadable);
    } else if (reading.malformed) {
        log("Unable to load XML document");
        // The title has always lacked its verb.
        endWithAlert("Unable to XML document", "The file may be corrupt.");
    }
    return reading.document;
}

SharedDocument Changelists::oldDocument(const std::string& oldFile) {
    if (lastXMLDocPath_ == oldFile && lastXMLDoc_ != nullptr)
        return lastXMLDoc_;
    ExportReading reading = exports_.read(oldFile);
    if (reading.unreadable)
        log("Unable to load prev data: %@", {*reading.unreadable});
    else if (reading.malformed)
        log("Unable to load prev XML document");
    if (reading.document == nullptr && hasGUI())
        endProgress();
    return reading.document;
}

std::optional<Changelist> Changelists::compare(const std::string& file,
                                               const std::string& oldFile) {
    if (lastXMLDocPath_ != oldFile)
        exports_.readAhead(std::array{file, oldFile});
    const SharedDocument newDoc = newDocument(file);
    const SharedDocument oldDoc = newDoc == nullptr ? nullptr : oldDocument(oldFile);
    if (oldDoc == nullptr)
        return std::nullopt;
    auto changes = compareDocuments(newDoc, oldDoc, oldFile);
    if (!changes)
        log("Unable to create change list");
    return changes;
}

std::optional<Changelist> Changelists::compareDocuments(const SharedDocument& newDoc,
                                                        const SharedDocument& oldDoc,
                                                        const std::string& oldFile) {
    const SharedDocument oldLists = lastListsDoc_ != nullptr ? lastListsDoc_ : oldDoc;
    lastXMLDocPath_ = oldFile;
    lastListsDoc_ = newDoc;
    lastXMLDoc_ = newDoc;
    Host host(*this);
    return changeListForXMLDoc(newDoc.get(), oldDoc.get(), oldLists->uuidList(), oldLists->idList(),
                               newDoc->uuidList(), newDoc->idList(), host);
}

// A folder

std::optional<VersionRecords> Changelists::changelistForProject(const std::string& path) {
    return guarded(
        "-[AppController changelistForProject:]",
        [&] {
            const std::string folder = withoutSlashAtEnd(path);
            const auto names = namesInFolder(folder).value_or(std::vector<std::string>());
            startProgress(names.size());
            VersionRecords records = recordsInOrder(folder, names);
            endProgress();
            return records;
        },
        services_.log);
}

/// The exports that come next in the folder, as far as they will be read, are read meanwhile.
void Changelists::readAhead(const std::string& folder, const std::vector<std::string>& names,
                            std::size_t from) {
    std::vector<std::string> coming;
    for (std::size_t i = from; i < names.size() && coming.size() < ExportReader::kReadAhead; ++i) {
        std::error_code error;
        const std::string path = pathInFolder(folder, names[i]);
        if (names[i].ends_with(kXmlSuffix) && fs::is_regular_file(path, error) &&
            fs::file_size(path, error) < kSizeLimitInBytes)
            coming.push_back(path);
    }
    exports_.readAhead(coming);
}

VersionRecords Changelists::recordsInOrder(const std::string& folder,
                                           const std::vector<std::string>& names) {
    VersionRecords records;
    std::optional<std::string> previous;
    for (std::size_t i = 0; i < names.size() && !isCancelled(); ++i) {
        const std::string& name = names[i];
        const std::string path = pathInFolder(folder, name);
        readAhead(folder, names, i);
        auto record = changelistForFile(path, previous);
        incrementProgress();
        if (name.ends_with(kXmlSuffix))
            previous = record && record->noProcess ? std::nullopt : std::optional(path);
        if (record)
            records.insert_or_assign(name, *std::move(record));
    }
    exports_.forget();
    return records;
}

} // namespace cutstack
