#pragma once

// Taking one backup file out of the store: to the Trash or for good, together with what the
// project's changelist cache knows of it. A freed number may be given again, so a record that
// outlived its file would tell the changes of another version. Any thread.

#include <string>
#include <vector>

#include "platform/Trash.h"
#include "support/LogWriter.h"

namespace cutstack {

/// What the setting `removalType` stands for.
enum class RemovalType : unsigned char { toTrash = 0, outright = 1 };

class BackupRemoval {
public:
    /// `cacheFolder` is where the changelist caches are; everything outlives this.
    BackupRemoval(std::string cacheFolder, std::string applicationVersion, Trash& trash,
                  LogWriter& log);

    /// Removes the file at `path`, which lies in a project folder. Returns whether it is gone; the
    /// log tells why not. Its record is forgotten in any case, and before the file goes: one that
    /// is missing is computed again, one too many would be believed.
    bool removeBackup(const std::string& path, RemovalType removeType) const;

    /// The same for files of one project folder, given by their names.
    void removeBackups(const std::string& folder, const std::vector<std::string>& names,
                       RemovalType removeType) const;

    /// Takes the records of files out of their project's cache.
    void forgetRecords(const std::string& folder, const std::vector<std::string>& names) const;

private:
    bool take(const std::string& path, RemovalType removeType) const;

    std::string cacheFolder_;
    std::string applicationVersion_;
    Trash& trash_;
    LogWriter& log_;
};

} // namespace cutstack
