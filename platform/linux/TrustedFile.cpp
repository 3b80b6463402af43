#include "platform/linux/TrustedFile.h"

#include <cerrno>
#include <filesystem>

#include <sys/stat.h>

#include "platform/SystemErrors.h"

namespace cutstack {

namespace {

std::optional<Distrust> distrustOf(const std::string& path, mode_t kind) {
    struct stat entry {};
    // Not through links: what a link names could be another thing at every look.
    if (lstat(path.c_str(), &entry) != 0)
        return Distrust{errno, path + ": " + wordingOf(errno)};
    if ((entry.st_mode & S_IFMT) != kind)
        return Distrust{EINVAL, path + " is not a plain " + (kind == S_IFDIR ? "folder" : "file")};
    if (entry.st_uid != 0)
        return Distrust{EPERM, path + " does not belong to root"};
    if ((entry.st_mode & (S_IWGRP | S_IWOTH)) != 0)
        return Distrust{EPERM, path + " can be changed by other users than root"};
    return std::nullopt;
}

} // namespace

std::optional<Distrust> distrustOfProgram(const std::string& path) {
    const std::filesystem::path whole(path);
    if (!whole.is_absolute())
        return Distrust{EINVAL, path + " is not an absolute path"};
    std::filesystem::path folder = whole.root_path();
    for (const auto& component : whole.parent_path().relative_path()) {
        if (auto distrust = distrustOf(folder.string(), S_IFDIR))
            return distrust;
        folder /= component;
    }
    if (auto distrust = distrustOf(folder.string(), S_IFDIR))
        return distrust;
    return distrustOf(path, S_IFREG);
}

} // namespace cutstack
