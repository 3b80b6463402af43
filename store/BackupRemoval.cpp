#include "store/BackupRemoval.h"

#include <cerrno>

#include <unistd.h>

#include "changes/ChangelistCache.h"
#include "platform/SystemErrors.h"
#include "support/FolderListing.h"

namespace cutstack {

BackupRemoval::BackupRemoval(std::string cacheFolder, std::string applicationVersion, Trash& trash,
                             LogWriter& log)
    : cacheFolder_(std::move(cacheFolder)),
      applicationVersion_(std::move(applicationVersion)),
      trash_(trash),
      log_(log) {}

bool BackupRemoval::removeBackup(const std::string& path, RemovalType removeType) const {
    forgetRecords(path.substr(0, path.rfind('/')), {std::string(fileNameOf(path))});
    return take(path, removeType);
}

void BackupRemoval::removeBackups(const std::string& folder, const std::vector<std::string>& names,
                                  RemovalType removeType) const {
    forgetRecords(folder, names);
    for (const std::string& name : names)
        take(pathInFolder(folder, name), removeType);
}

bool BackupRemoval::take(const std::string& path, RemovalType removeType) const {
    log_.appendLog("Removing backup %@", path);
    if (removeType == RemovalType::outright) {
        // Never more than this one name: a folder refuses, and a link goes without its target.
        if (::unlink(path.c_str()) == 0)
            return true;
        log_.appendLog("Unable to remove file: %@", wordingOf(errno));
        return false;
    }
    std::string error;
    if (trash_.moveToTrash(path, error))
        return true;
    log_.appendLog("Unable to move file to Trash");
    log_.console().log(path + ": " + error);
    return false;
}

void BackupRemoval::forgetRecords(const std::string& folder,
                                  const std::vector<std::string>& names) const {
    const std::string cacheName = std::string(fileNameOf(folder)) + ".cache.plist";
    ChangelistCache cache(pathInFolder(cacheFolder_, cacheName), applicationVersion_);
    std::string error;
    if (names.empty())
        return;
    const auto found = cache.load(error);
    if (found == ChangelistCache::Found::otherVersion) {
        // Only a program of that version may write its records; it can compute them again.
        static_cast<void>(::unlink(pathInFolder(cacheFolder_, cacheName).c_str()));
        return;
    }
    if (found != ChangelistCache::Found::records)
        return;
    const std::size_t before = cache.records().size();
    for (const std::string& name : names)
        cache.remove(name);
    if (cache.records().size() != before && !cache.save(error))
        log_.appendLog("Unable to update the changelist cache of %@: %@", folder, error);
}

} // namespace cutstack
