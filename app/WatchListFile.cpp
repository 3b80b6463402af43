#include "app/WatchListFile.h"

#include <algorithm>
#include <filesystem>
#include <system_error>
#include <utility>

#include "app/Settings.h"
#include "platform/SystemErrors.h"
#include "support/AtomicFile.h"
#include "support/FileLock.h"
#include "support/FolderListing.h"
#include "support/PropertyListWriting.h"
#include "support/UserDefaults.h"
#include "support/ZTException.h"

namespace cutstack {

namespace {

PropertyList::Array converted(const PropertyList::Array& oldList) {
    PropertyList::Array list;
    for (const PropertyList& element : oldList) {
        if (const std::string* path = element.asString())
            list.emplace_back(PropertyList::Dictionary{{"path", *path}});
        else if (element.asDictionary() != nullptr)
            list.push_back(element);
    }
    return list;
}

/// Writes the preferences under `lock`; why not, when that fails.
std::string written(const std::string& file, const PropertyList& preferences,
                    const FileLock& lock) {
    if (lock.fault() != 0)
        return "cannot be locked: " + wordingOf(lock.fault());
    const auto xml = xmlPropertyList(preferences);
    if (!xml)
        return "has values that cannot be written as XML";
    std::string error;
    return writeFileAtomically(file, *xml, error) ? "" : error;
}

std::optional<PropertyList::Array> convertIn(const std::string& file,
                                             const PropertyList::Array& oldList, LogWriter& log) {
    // UserDefaults takes the same lock.
    const FileLock lock(file);
    auto preferences = readPreferencesFile(file);
    if (!preferences)
        return std::nullopt;
    auto& values = *preferences->asDictionary();
    const PropertyList* current = preferences->valueForKey(settings::filelist);
    const bool isList = current != nullptr && current->asArray() != nullptr;
    auto list = converted(isList ? *current->asArray() : oldList);
    values.insert_or_assign(std::string(settings::filelist), list);
    if (const std::string fault = written(file, *preferences, lock); !fault.empty())
        log.appendLog("Error converting watch list: %@: %@", file, fault);
    return list;
}

} // namespace

std::optional<PropertyList::Array> convertOldListFormat(const PropertyList::Array& oldList,
                                                        const Locations& locations,
                                                        LogWriter& log) {
    const auto convert = [&]() -> std::optional<PropertyList::Array> {
        const auto folder = ZTLocalPaths::prefsDirectory(true, locations);
        const auto file =
            folder ? endOfLinks(pathInFolder(*folder, kPreferencesFileName)) : std::nullopt;
        return file ? convertIn(*file, oldList, log) : std::nullopt;
    };
    return guarded("-[AppController convertOldListFormat:]", convert, log).value_or(std::nullopt);
}

void repopulateWatchFiles(const Locations& locations, LogWriter& log,
                          const std::function<void()>& generateLaunchdPlist) {
    const auto isMissing = [](const PropertyList& path) {
        std::error_code error;
        return path.asString() != nullptr && !std::filesystem::exists(*path.asString(), error);
    };
    const auto repopulate = [&] {
        log.appendLog("Repopulating watch files...");
        const auto library = ZTLocalPaths::libraryDirectory(true, locations);
        const auto job = library ? readPreferencesFile(pathInFolder(
                                       *library, "LaunchAgents/com.zantrel.Cutstack.plist"))
                                 : std::nullopt;
        const PropertyList* paths = job ? job->valueForKey("WatchPaths") : nullptr;
        if (paths != nullptr && paths->asArray() != nullptr &&
            std::ranges::any_of(*paths->asArray(), isMissing))
            generateLaunchdPlist();
    };
    guarded("-[AppController repopulateWatchFiles]", repopulate, log);
}

} // namespace cutstack
