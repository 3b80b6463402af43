#pragma once

// Giving a file another name or folder without ever replacing what is there. Any thread.

#include <string>

namespace cutstack {

class FileMover {
public:
    virtual ~FileMover() = default;

    /// Makes `destination` the path of what is at `source`, a link itself and not its target.
    /// Returns 0, or errno's number with nothing changed: EEXIST when something is at
    /// `destination`, EXDEV when that is on another file system.
    [[nodiscard]] virtual int rename(const std::string& source,
                                     const std::string& destination) const = 0;
};

/// Renames on this machine's file systems. Lives as long as the process.
[[nodiscard]] const FileMover& fileMover();

} // namespace cutstack
