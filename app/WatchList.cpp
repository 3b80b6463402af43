#include "app/WatchList.h"

#include <algorithm>
#include <filesystem>
#include <string_view>
#include <system_error>

#include "app/Settings.h"
#include "platform/FileStamp.h"
#include "support/FolderListing.h"
#include "support/PropertyListWriting.h"
#include "support/TildePaths.h"
#include "support/Unicode.h"
#include "support/ZTException.h"

namespace cutstack {

namespace fs = std::filesystem;

namespace {

/// The largest project that is backed up as a whole without a question.
constexpr std::uint64_t kLargestUnquestionedProject = 31457279;

constexpr std::string_view kProjectType = "FCPF";
constexpr std::string_view kProjectExtension = "fcp";

constexpr std::string_view kPath = "path";
constexpr std::string_view kSequences = "sequences";
constexpr std::string_view kSelectedUUID = "selectedUUID";
constexpr std::string_view kName = "name";
constexpr std::string_view kUuid = "uuid";

/// Whether the settings can keep the text: XML has no form for some bytes that a path may have. One
/// of them would keep the whole list from being written.
bool isStorable(std::string_view text) { return xmlPropertyList(PropertyList(text)).has_value(); }

std::optional<std::string> storableText(const PropertyList& list, std::string_view key) {
    const PropertyList* value = list.valueForKey(key);
    const std::string* text = value == nullptr ? nullptr : value->asString();
    return text != nullptr && isStorable(*text) ? std::optional(*text) : std::nullopt;
}

std::vector<ProjectSequence> sequencesOf(const PropertyList& entry) {
    const PropertyList* list = entry.valueForKey(kSequences);
    std::vector<ProjectSequence> sequences;
    if (list == nullptr || list->asArray() == nullptr)
        return sequences;
    for (const PropertyList& sequence : *list->asArray())
        sequences.push_back({storableText(sequence, kName).value_or(""),
                             storableText(sequence, kUuid).value_or("")});
    return sequences;
}

/// The row that an element of the stored list stands for; nothing when it stands for none.
std::optional<ZTProject> projectOf(const PropertyList& entry) {
    if (const std::string* plain = entry.asString())
        return isStorable(*plain) ? std::optional(ZTProject::projectWithPath(*plain, {}))
                                  : std::nullopt;
    auto path = storableText(entry, kPath);
    if (!path)
        return std::nullopt;
    auto project = ZTProject::projectWithPath(*std::move(path), sequencesOf(entry));
    project.selectSequenceWithUUID(storableText(entry, kSelectedUUID));
    return project;
}

PropertyList entryOf(const ZTProject& project) {
    PropertyList::Array sequences;
    for (const ProjectSequence& sequence : project.sequences())
        sequences.emplace_back(PropertyList::Dictionary{{std::string(kName), sequence.name},
                                                        {std::string(kUuid), sequence.uuid}});
    return PropertyList::Dictionary{
        {std::string(kPath), project.projectPath()},
        {std::string(kSequences), std::move(sequences)},
        {std::string(kSelectedUUID), project.selectedUUID().value_or("")}};
}

bool isFolder(const std::string& path) {
    std::error_code error;
    return fs::is_directory(path, error);
}

bool isRegularFile(const std::string& path) {
    std::error_code error;
    return fs::is_regular_file(path, error);
}

std::string pathInsideOf(std::string_view folder, std::string_view name) {
    return pathInFolder(folder == "/" ? "" : folder, name);
}

void call(const std::function<void()>& action) {
    if (action)
        action();
}

} // namespace

std::string WatchList::expanded(const std::string& path) const {
    return expandingTildeInPath(path, services_.locations);
}

std::string WatchList::abbreviated(const std::string& path) const {
    return abbreviatingWithTildeInPath(path, services_.locations);
}

void WatchList::saveWatchList() {
    guarded(
        "-[AppController saveWatchList]", [&] { storeRows(); }, services_.log);
}

void WatchList::storeRows() {
    services_.log.appendLog("Saving watch list...");
    PropertyList::Array list;
    list.reserve(fileArray_.size());
    std::ranges::transform(fileArray_, std::back_inserter(list), entryOf);
    services_.settings.setObject(std::move(list), settings::filelist);
    const Synchronization result = services_.settings.synchronize();
    if (!result.error.empty())
        services_.log.appendLog("Unable to store settings: %@", result.error);
    if (!result.damage.empty())
        services_.log.appendLog("Damaged settings: %@; kept as %@", result.damage,
                                result.damagedFile);
}

void WatchList::populateWatchFiles() {
    guarded(
        "-[AppController populateWatchFiles]", [&] { readRows(); }, services_.log);
}

void WatchList::readRows() {
    services_.log.appendLog("Populating watch files...");
    const auto stored = services_.settings.objectForKey(settings::filelist);
    const auto* list = stored ? stored->asArray() : nullptr;
    std::vector<ZTProject> rows;
    bool isOldFormat = false;
    for (const PropertyList& entry : list == nullptr ? PropertyList::Array() : *list) {
        isOldFormat = isOldFormat || entry.asString() != nullptr;
        if (auto project = projectOf(entry))
            rows.push_back(*std::move(project));
        else
            services_.log.appendLog("Skipping an element of the watch list that is no project");
    }
    setRows(std::move(rows));
    if (isOldFormat)
        saveWatchList();
}

void WatchList::setRows(std::vector<ZTProject> rows) {
    const std::lock_guard lock(guard_);
    fileArray_ = std::move(rows);
}

void WatchList::storeAndShow() {
    saveWatchList();
    call(services_.reloadTable);
}

void WatchList::addFileToList(const std::string& path) {
    guarded(
        "-[AppController addFileToList:]", [&] { addRow(path); }, services_.log);
}

void WatchList::addRow(const std::string& path) {
    const std::string file = expanded(path);
    const auto isSame = [&](const ZTProject& row) { return expanded(row.projectPath()) == file; };
    if (std::ranges::any_of(fileArray_, isSame))
        return;
    if (!isStorable(path)) {
        services_.log.appendLog("Unable to add project %@: the settings cannot keep a path "
                                "with such characters",
                                path);
        return;
    }
    services_.log.appendLog("Adding project %@ to list...", path);
    auto rows = fileArray_;
    rows.push_back(ZTProject::projectWithPath(path, {}));
    setRows(std::move(rows));
    call(services_.reloadTable);
    saveWatchList();
    std::string error;
    const auto stamp = fileStamp(file, error);
    if (stamp && stamp->sizeInBytes > kLargestUnquestionedProject)
        offerSequencesOfLargeProject(fileArray_.size() - 1);
}

void WatchList::offerSequencesOfLargeProject(std::size_t row) {
    constexpr int kDefaultButton = 1;
    if (services_.userInterface == nullptr)
        return;
    const int answer = services_.userInterface->alertSheet(
        {.messageText = "This project is quite large",
         .informativeText = "For greater stability and performance we recommend only backing up "
                            "the current sequence rather than the entire project file.",
         .defaultButton = "Choose Sequence...",
         .alternateButton = "Ignore",
         .otherButton = ""});
    if (answer == kDefaultButton && services_.showSequenceDialog)
        services_.showSequenceDialog(row);
}

void WatchList::addFilesInDirectoryToList(const std::string& folder) {
    std::set<FolderIdentity> searched;
    guarded(
        "-[AppController addFilesInDirectoryToList:]",
        [&] { searchFolder(withoutSlashAtEnd(folder), searched); }, services_.log);
}

void WatchList::searchFolder(const std::string& folder, std::set<FolderIdentity>& searched) {
    std::string error;
    const auto stamp = fileStamp(folder, error);
    if (stamp && !searched.emplace(stamp->device, stamp->inode).second)
        return;
    services_.log.appendLog("Adding projects from directory %@...", folder);
    const auto names = namesInFolder(folder);
    if (!names) {
        services_.log.appendLog("Unable to read directory %@", folder);
        return;
    }
    for (const std::string& name : *names) {
        const std::string path = pathInsideOf(folder, name);
        if (isFolder(path))
            searchFolder(path, searched);
        else if (isProjectFile(path))
            addFileToList(abbreviated(path));
    }
}

bool WatchList::hasProjectType(const std::string& path) const {
    return services_.finderMetadata.hfsTypeCode(path) == kProjectType;
}

/// The whole name, not the extension, deliberately.
bool WatchList::isProjectFile(const std::string& path) const {
    return isRegularFile(path) &&
           (caseFolded(fileNameOf(path)) == kProjectExtension || hasProjectType(path));
}

void WatchList::removeRows(const std::function<bool(std::size_t row)>& isRemoved) {
    std::vector<ZTProject> kept;
    for (std::size_t row = 0; row < fileArray_.size(); ++row)
        if (!isRemoved(row))
            kept.push_back(fileArray_[row]);
    setRows(std::move(kept));
    storeAndShow();
}

void WatchList::removeFilesFromList(const std::set<std::size_t>& rows) {
    guarded(
        "-[AppController removeFilesFromList:]",
        [&] { removeRows([&](std::size_t row) { return rows.contains(row); }); }, services_.log);
}

void WatchList::removeWatchFileForProjectName(const std::string& name) {
    const auto hasName = [&](std::size_t row) {
        return fileNameOf(fileArray_[row].projectPath()) == name;
    };
    const auto remove = [&] {
        services_.log.appendLog("Removing watch file for project %@...", name);
        removeRows(hasName);
    };
    guarded("-[AppController removeWatchFileForProjectName:]", remove, services_.log);
}

void WatchList::removeFile(const std::set<std::size_t>& selectedRows) {
    if (selectedRows.empty())
        return;
    removeFilesFromList(selectedRows);
    guarded(
        "-[AppController removeFile:]", [&] { call(services_.regenerateJobs); }, services_.log);
}

void WatchList::importFiles(std::span<const std::string> paths) {
    const auto import = [&] {
        for (const std::string& path : paths)
            addFileToList(abbreviated(path));
        call(services_.regenerateJobs);
    };
    guarded("-[AppController browsePanelDidEnd:returnCode:contextInfo:]", import, services_.log);
}

bool WatchList::validateDrop(std::span<const std::string> paths) const {
    const auto isWelcome = [&](const std::string& path) {
        return isFolder(path) || caseFolded(pathExtension(path)) == kProjectExtension ||
               hasProjectType(path);
    };
    return guarded(
               "-[AppController tableView:validateDrop:proposedRow:proposedDropOperation:]",
               [&] { return !paths.empty() && std::ranges::all_of(paths, isWelcome); },
               services_.log)
        .value_or(false);
}

bool WatchList::acceptDrop(std::span<const std::string> paths) {
    const auto accept = [&] {
        for (const std::string& path : paths) {
            if (isFolder(path))
                addFilesInDirectoryToList(path);
            else if (isProjectFile(path))
                addFileToList(abbreviated(path));
        }
        call(services_.regenerateJobs);
    };
    return guarded("-[AppController tableView:acceptDrop:row:dropOperation:]", accept,
                   services_.log);
}

void WatchList::changeSequence(std::size_t row, const std::optional<std::string>& uuid) {
    const auto change = [&] {
        if (row >= fileArray_.size())
            return;
        fileArray_[row].selectSequenceWithUUID(uuid);
        storeAndShow();
    };
    guarded("-[AppController changeSequence]", change, services_.log);
}

void WatchList::chooseSequence(std::size_t row, const ProjectSequence& sequence) {
    const auto choose = [&] {
        if (row >= fileArray_.size())
            return;
        auto sequences = fileArray_[row].sequences();
        if (std::ranges::find(sequences, sequence.uuid, &ProjectSequence::uuid) == sequences.end())
            sequences.push_back(sequence);
        fileArray_[row].populateSequences(std::move(sequences));
        changeSequence(row, sequence.uuid);
    };
    guarded("-[AppController chooseSequence:]", choose, services_.log);
}

std::vector<std::string> WatchList::expandPaths(const std::vector<ZTProject>& rows) const {
    std::vector<std::string> paths;
    std::set<std::string> known;
    for (const ZTProject& row : rows) {
        std::string path = expanded(row.projectPath());
        if (known.insert(path).second)
            paths.push_back(std::move(path));
    }
    return paths;
}

std::vector<std::string> WatchList::watchedPaths() const {
    const std::lock_guard lock(guard_);
    return expandPaths(fileArray_);
}

} // namespace cutstack
