#pragma once

// Whether a file is still the one that it was: which file it is, and the traces that every change
// of its content leaves. Values; any thread.

#include <cstdint>
#include <optional>
#include <string>

namespace cutstack {

struct FileStamp {
    std::uint64_t device = 0;
    std::uint64_t inode = 0;
    std::uint64_t sizeInBytes = 0;
    std::int64_t modified = 0; ///< nanoseconds since 1970
    std::int64_t changed = 0;  ///< of the content or of what is noted about it

    bool operator==(const FileStamp&) const = default;
};

/// The stamp of the file at `path`, links followed; on failure nothing, and the system's wording in
/// `error`.
[[nodiscard]] std::optional<FileStamp> fileStamp(const std::string& path, std::string& error);

} // namespace cutstack
