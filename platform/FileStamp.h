#pragma once

// Whether a file is still the one that it was: which file it is, and the traces that every change
// of its content leaves. Values; any thread.

#include <cstdint>
#include <optional>
#include <string>

namespace cutstack {

/// A moment of a file system, which reaches further than a count of nanoseconds does.
struct FileTime {
    std::int64_t seconds = 0; ///< since 1970, rounded down
    std::int64_t nanoseconds = 0;

    bool operator==(const FileTime&) const = default;
};

struct FileStamp {
    std::uint64_t device = 0;
    std::uint64_t inode = 0;
    std::uint64_t sizeInBytes = 0;
    FileTime modified; ///< of the content
    FileTime changed;  ///< of the content or of what is noted about it

    bool operator==(const FileStamp&) const = default;
};

/// The stamp of the file at `path`, links followed; on failure nothing, and the system's wording in
/// `error`.
[[nodiscard]] std::optional<FileStamp> fileStamp(const std::string& path, std::string& error);

} // namespace cutstack
