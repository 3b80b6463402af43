#pragma once

// The lock of a file: while it is set, nobody may change, rename or remove it. Any thread.

#include <string>

namespace cutstack {

class FileFlags {
public:
    virtual ~FileFlags() = default;

    /// Whether the item at `path` is locked; no for what is not there, and where a file system
    /// keeps no lock. A symbolic link is never locked, whatever its target is.
    [[nodiscard]] virtual bool isImmutable(const std::string& path) const = 0;

    /// Sets or clears the lock. Returns false, with nothing changed, where the system does not
    /// permit it or the file system keeps none.
    virtual bool setImmutable(const std::string& path, bool immutable) const = 0;
};

/// What the file system keeps. Lives as long as the process.
[[nodiscard]] const FileFlags& fileFlags();

} // namespace cutstack
