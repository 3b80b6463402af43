// The operations of Changelists that concern cache files.

#include "changes/Changelists.h"
#include "platform/SystemErrors.h"
#include "support/AtomicFile.h"
#include "support/FolderListing.h"
#include "support/Unicode.h"
#include "support/ZTException.h"

#include <algorithm>
#include <filesystem>
#include <system_error>
#include <utility>

namespace cutstack {

namespace fs = std::filesystem;

namespace {

constexpr std::string_view kCacheSuffix = ".cache.plist";
constexpr std::string_view kXmlSuffix = ".xml";
constexpr std::string_view kFcpSuffix = ".fcp";

bool isHidden(std::string_view name) { return name.starts_with('.'); }

std::vector<std::string> visibleNames(const std::string& folder) {
    auto names = namesInFolder(folder).value_or(std::vector<std::string>());
    std::erase_if(names, isHidden);
    return names;
}

bool exists(const std::string& path) {
    std::error_code error;
    return fs::exists(path, error);
}

/// Whether a project copy is represented by the XML copy of the same version.
bool hasXmlCopy(const std::string& folder, std::string_view projectCopy) {
    return exists(folder + "/" + std::string(withoutPathExtension(projectCopy)) +
                  std::string(kXmlSuffix));
}

} // namespace

std::string Changelists::cacheFile(std::string_view folder) const {
    return formatString("%@/%@.cache.plist", {services_.cacheFolder, fileNameOf(folder)});
}

bool Changelists::makeCacheFolder(std::string& error) const {
    const int fault = makeFolders(services_.cacheFolder);
    error = wordingOf(fault);
    return fault == 0;
}

void Changelists::forgetDocuments() {
    lastXMLDocPath_.clear();
    lastXMLDoc_.reset();
    exports_.forget();
}

std::optional<VersionRecords> Changelists::cacheForProject(const std::string& path) {
    auto records = guarded(
        "-[AppController cacheForProject:]", [&] { return upToDateCache(withoutSlashAtEnd(path)); },
        services_.log);
    services_.progressCancelled = true;
    return std::move(records).value_or(std::nullopt);
}

std::optional<VersionRecords> Changelists::upToDateCache(const std::string& folder) {
    std::string error;
    if (!makeCacheFolder(error)) {
        if (hasGUI())
            alert("Unable to create cache folder", error);
        else
            log("Unable to create cache folder: %@", {error});
        return std::nullopt;
    }
    const std::string file = cacheFile(folder);
    ChangelistCache cache(file, services_.applicationVersion);
    loadCache(cache, file);
    const auto changed = completeCache(cache, folder);
    if (!changed)
        return std::nullopt;
    if (*changed)
        saveCache(cache, file);
    forgetDocuments();
    VersionRecords records = cache.records();
    std::erase_if(records, [&](const auto& entry) {
        return entry.second.file != pathInFolder(folder, entry.first);
    });
    return records;
}

void Changelists::loadCache(ChangelistCache& cache, const std::string& file) {
    std::string damage;
    switch (cache.load(damage)) {
    case ChangelistCache::Found::records:
        return;
    case ChangelistCache::Found::damage:
        log("Cache file %@ is damaged: %@. Rebuilding it...", {file, damage});
        break;
    case ChangelistCache::Found::nothing:
    case ChangelistCache::Found::otherVersion:
        log("Cache version does not match application version. Resetting cache...");
        break;
    }
    cache.reset();
}

/// The same without a word about versions: records of another one are left behind, and what is put
/// into the cache now is all that it holds until it is completed.
void Changelists::loadTrustedCache(ChangelistCache& cache, const std::string& file) {
    std::string damage;
    const auto found = cache.load(damage);
    if (found == ChangelistCache::Found::damage)
        log("Cache file %@ is damaged: %@. Rebuilding it...", {file, damage});
    if (found != ChangelistCache::Found::records)
        cache.reset();
}

/// Computes what the cache lacks. Whether anything was computed; nothing when it could not be.
std::optional<bool> Changelists::completeCache(ChangelistCache& cache, const std::string& folder) {
    bool changed = false;
    wasCancelled_ = false;
    isInProgress_ = false; // an exception may have left it behind
    std::optional<std::string> previous;
    for (const std::string& name : visibleNames(folder)) {
        const std::string path = pathInFolder(folder, name);
        const bool isMissing = !cache.hasRecordOf(path);
        if (isMissing && !previous)
            return recomputeAll(cache, folder) ? std::optional(true) : std::nullopt;
        if (isMissing && computeMissing(cache, name, path, *previous))
            changed = true;
        if (name.ends_with(kXmlSuffix))
            previous = path;
    }
    if (isInProgress_)
        endProgress();
    return changed;
}

/// Computes one record. It is an operation of its own with a progress of its own, or a comparison
/// would take an idle program for a cancelled one; a failure ends that progress, and the next
/// record begins another. After the user has cancelled nothing more is computed.
bool Changelists::computeMissing(ChangelistCache& cache, const std::string& name,
                                 const std::string& path, const std::string& previous) {
    wasCancelled_ = wasCancelled_ || (isInProgress_ && isCancelled());
    if (wasCancelled_)
        return false;
    if (!isInProgress_ && caseFolded(name).ends_with(kXmlSuffix))
        startProgress(1);
    auto record = changelistForFile(path, previous);
    if (!record)
        return false;
    cache.put(name, *std::move(record));
    return true;
}

bool Changelists::recomputeAll(ChangelistCache& cache, const std::string& folder) {
    auto records = changelistForProject(folder);
    if (!records) {
        if (!isCancelled()) {
            report("Unable to get change data", "Please report this bug to Zantrel.");
            if (!hasGUI())
                services_.log.console().log(
                    "Unable to get change data. Please report this bug to Zantrel.");
        }
        return false;
    }
    cache.reset();
    for (auto& [name, record] : *records)
        cache.put(name, std::move(record));
    return true;
}

void Changelists::saveCache(ChangelistCache& cache, const std::string& file) {
    std::string error;
    if (!cache.save(error))
        log("Unable to write cache file %@: %@", {file, error});
}

/// The records that are shown, the newest first. A project copy with an XML copy is left out.
std::vector<VersionRecord> Changelists::shownRecords(const std::string& folder,
                                                     VersionRecords records) {
    std::vector<VersionRecord> shown;
    for (const std::string& name : visibleNames(folder)) {
        const auto record = records.find(name);
        const bool isShown = !name.ends_with(kFcpSuffix) || !hasXmlCopy(folder, name);
        if (record != records.end() && isShown)
            shown.push_back(std::move(record->second));
    }
    std::ranges::reverse(shown);
    return shown;
}

void Changelists::populateChangeListForProject(const std::string& path, VersionsPane& pane) {
    guarded(
        "-[AppController populateChangeListForProject:]",
        [&] {
            const std::string folder = withoutSlashAtEnd(path);
            log("Populating changelist for project: %@", {folder});
            if (hasGUI())
                onMainThread([&] { pane.startVersionSpinner(); });
            auto versions = std::make_shared<std::vector<VersionRecord>>();
            if (auto records = cacheForProject(folder))
                *versions = shownRecords(folder, *std::move(records));
            else if (!isCancelled())
                report("Unable to load cache",
                       "Cutstack was unable to determine version information.");
            forgetDocuments();
            lastListsDoc_.reset();
            showVersions(versions, pane);
            log("Finished populating changelist for project %@.", {folder});
        },
        services_.log);
}

void Changelists::showVersions(const VersionArray& versions, VersionsPane& pane) {
    const bool hasProjectCopy = std::ranges::any_of(
        *versions, [](const VersionRecord& record) { return record.file.ends_with(kFcpSuffix); });
    onMainThread([&] {
        pane.enableGenerateXMLButton(hasProjectCopy);
        pane.updateVersionArray(versions);
        if (hasGUI())
            pane.stopVersionSpinner();
    });
}

void Changelists::updateChangelistForItem(const std::string& xmlCopy) {
    guarded(
        "-[AppController updateChangelistForItem:]",
        [&] {
            std::string error;
            if (!makeCacheFolder(error)) {
                if (hasGUI())
                    alert("Unable to create cache folder", error);
                else
                    services_.log.console().log(
                        formatString("Unable to create cache folder: %@", {error}));
                return;
            }
            const std::string file = cacheFile(fs::path(xmlCopy).parent_path().string());
            ChangelistCache cache(file, services_.applicationVersion);
            loadTrustedCache(cache, file);
            updateRecords(cache, xmlCopy);
            saveCache(cache, file);
        },
        services_.log);
}

void Changelists::updateRecords(ChangelistCache& cache, const std::string& xmlCopy) {
    const std::string folder = fs::path(xmlCopy).parent_path().string();
    auto names = namesInFolder(folder).value_or(std::vector<std::string>());
    std::erase_if(names,
                  [](const std::string& name) { return !caseFolded(name).ends_with(kXmlSuffix); });
    const auto item = std::ranges::find(names, fileNameOf(xmlCopy));
    const bool isBeforeLast = item != names.end() && item + 1 != names.end();
    std::optional<std::string> old;
    if (isBeforeLast && item != names.begin())
        old = folder + "/" + *(item - 1);
    if (auto record = changelistForFile(xmlCopy, old))
        cache.put(std::string(fileNameOf(xmlCopy)), *std::move(record));
    if (!isBeforeLast)
        return;
    if (auto record = changelistForFile(folder + "/" + *(item + 1), xmlCopy))
        cache.put(*(item + 1), *std::move(record));
}

void Changelists::invalidateAllCaches() {
    guarded(
        "-[AppController invalidateAllCaches]",
        [&] {
            log("Invalidating all caches...");
            for (const std::string& name :
                 namesInFolder(services_.cacheFolder).value_or(std::vector<std::string>())) {
                std::error_code ignored;
                if (name.ends_with(kCacheSuffix))
                    fs::remove(services_.cacheFolder + "/" + name, ignored);
            }
        },
        services_.log);
}

void Changelists::trashCaches() {
    guarded(
        "-[AppController trashCaches:]",
        [&] {
            if (!hasGUI() || !userWantsToTrashCaches() || !exists(services_.cacheFolder))
                return;
            std::string error;
            if (!services_.trash.moveToTrash(services_.cacheFolder, error))
                log("Unable to move %@ to the Trash: %@", {services_.cacheFolder, error});
        },
        services_.log);
}

bool Changelists::userWantsToTrashCaches() {
    int answer = 0;
    onMainThread([&] {
        answer = services_.userInterface->alertSheet(
            {.messageText = "Are you sure you wish to trash caches?",
             .informativeText = "Changelists will need to be regenerated for each project.",
             .defaultButton = "Trash",
             .alternateButton = "Cancel",
             .otherButton = {}});
    });
    return answer == 1;
}

} // namespace cutstack
