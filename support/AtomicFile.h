#pragma once

// Reading and writing of whole files. writeFileAtomically() is the one place that writes files (the
// log apart): whoever reads the file, and whatever fails, finds the old content or the new one,
// never a mixture. Any thread; two writers of one file leave the content of one of them.
// makeFolders() makes the place for a file.

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace cutstack {

/// The content of the file, pipe or device at `path`, to its end.
/// On failure returns nothing and `error` is the system's wording ("No such file or directory");
/// more than `sizeLimit` bytes are "File too large", for a file without reading it. On success
/// `error` is as it was.
[[nodiscard]] std::optional<std::string> readFile(const std::string& path, std::size_t sizeLimit,
                                                  std::string& error);
/// The same for callers to whom failures differ: `fault` is errno's number.
[[nodiscard]] std::optional<std::string> readFile(const std::string& path, std::size_t sizeLimit,
                                                  int& fault);

/// Where the symbolic links that `path` may be lead to, whether or not there is something; `path`
/// itself when it is no link. Nothing, and errno is ELOOP, when they never end.
[[nodiscard]] std::optional<std::string> endOfLinks(const std::string& path);

/// Makes the folder and those that it lies in where they are missing. What root makes belongs to
/// the owner of the folder that it is made in, so that root, at work for a user, takes no folder
/// from that user. Returns 0 when the folder is there, else errno's number.
[[nodiscard]] int makeFolders(const std::string& folder);

/// Makes `bytes` the content of the file at `path`, whose folder must exist.
///
/// A file that is replaced keeps its permissions and, where the system permits, its owner and
/// group; a group that it cannot keep loses its permissions, and nothing stays set-id. A new one is
/// readable by all and writable by its owner, less what the umask takes away. Through a symbolic
/// link the file that it points to is replaced (or made), and the link stays. Only a regular file
/// is replaced.
///
/// On success the content has reached the disk. On failure returns false with the system's wording
/// in `error`; the old file is untouched, and nothing is left beside it.
[[nodiscard]] bool writeFileAtomically(const std::string& path, std::string_view bytes,
                                       std::string& error);

} // namespace cutstack
