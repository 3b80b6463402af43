#pragma once

// What kind of file system a file is on. Values; any thread.

#include <cstdint>
#include <optional>
#include <string>

namespace cutstack {

struct FileSystemInformation {
    bool isRemovable = false;   ///< the medium can be taken out
    bool isWritable = false;    ///< not mounted for reading only
    bool isUnmountable = false; ///< a person may take it off the machine: not the system's own
    std::string description;    ///< what is mounted: a device or a share
    std::string type;           ///< "ext4"
    std::string mountPoint;
    std::uint64_t freeBytes = 0; ///< for this user
};

/// That of the file system that holds `path`, links followed. On failure returns nothing with the
/// system's wording in `error`.
[[nodiscard]] std::optional<FileSystemInformation> fileSystemInformation(const std::string& path,
                                                                         std::string& error);

} // namespace cutstack
