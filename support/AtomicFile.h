#pragma once

// Reading and writing of whole files. writeFileAtomically() is the one place that writes files (the
// log apart): whoever reads the file, and whatever fails, finds the old content or the new one,
// never a mixture. Any thread; two writers of one file leave the content of one of them.

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace cutstack {

/// The content of the file, pipe or device at `path`, to its end.
/// On failure returns nothing and `error` is the system's wording ("No such file or directory");
/// more than `sizeLimit` bytes are "File too large". On success `error` is as it was.
[[nodiscard]] std::optional<std::string> readFile(const std::string& path, std::size_t sizeLimit,
                                                  std::string& error);

/// Makes `bytes` the content of the file at `path`, whose folder must exist.
///
/// A file that is replaced keeps its mode and, where the system permits, its owner and group; a new
/// one is readable by all and writable by its owner, less what the umask takes away. Through a
/// symbolic link the file that it points to is replaced (or made), and the link stays. Only
/// a regular file is replaced.
///
/// On success the content has reached the disk. On failure returns false with the system's wording
/// in `error`; the old file is untouched, and nothing is left beside it.
[[nodiscard]] bool writeFileAtomically(const std::string& path, std::string_view bytes,
                                       std::string& error);

} // namespace cutstack
