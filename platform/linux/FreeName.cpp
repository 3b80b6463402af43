#include "platform/linux/FreeName.h"

#include <cstdio>
#include <fcntl.h>
#include <sys/stat.h>

namespace cutstack {

namespace {

/// By a second name, which folders and some file systems cannot have.
bool linkedToFreeName(const Descriptor& from, const std::string& name, const Descriptor& into,
                      const std::string& newName) {
    return ::linkat(from.number(), name.c_str(), into.number(), newName.c_str(), 0) == 0 &&
           (::unlinkat(from.number(), name.c_str(), 0) == 0 ||
            (::unlinkat(into.number(), newName.c_str(), 0), false));
}

} // namespace

bool renameToFreeName(const Descriptor& from, const std::string& name, const Descriptor& into,
                      const std::string& newName) {
    if (::renameat2(from.number(), name.c_str(), into.number(), newName.c_str(),
                    RENAME_NOREPLACE) == 0)
        return true;
    if (errno != EINVAL && errno != ENOSYS)
        return false;
    if (linkedToFreeName(from, name, into, newName))
        return true;
    struct stat status {};
    if (::fstatat(into.number(), newName.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0) {
        errno = EEXIST;
        return false;
    }
    return errno == ENOENT &&
           ::renameat(from.number(), name.c_str(), into.number(), newName.c_str()) == 0;
}

} // namespace cutstack
