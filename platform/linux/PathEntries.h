#pragma once

// What a path leads through on its way from the root folder: each folder, each symbolic link, and
// what the links lead through in turn. Two paths that reach a folder in different ways have it in
// common here. Any thread.

#include <string>
#include <vector>

#include <sys/types.h>

struct stat;

namespace cutstack {

/// One thing in the file system, whatever its names.
struct FileIdentity {
    dev_t device = 0;
    ino_t number = 0;

    friend bool operator==(const FileIdentity&, const FileIdentity&) = default;
};

[[nodiscard]] FileIdentity identityOf(const struct stat& status);

/// The entries on the way of an absolute path, the root folder first and what it names itself last.
/// Where something is missing, or cannot be looked at, the list ends before it.
[[nodiscard]] std::vector<FileIdentity> entriesOnTheWay(const std::string& path);

} // namespace cutstack
