#include "platform/linux/FolderTrail.h"

#include <fcntl.h>
#include <sys/stat.h>

namespace cutstack {

namespace {

/// Deeper trees than this are rare, and several trails of a process share its descriptors.
constexpr std::size_t kMostOpen = 16;

Descriptor openedFolder(const Descriptor& parent, const char* name) {
    return Descriptor(
        ::openat(parent.number(), name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
}

std::optional<FileIdentity> identityOfOpen(const Descriptor& folder) {
    struct stat status {};
    if (!folder.isOpen() || ::fstat(folder.number(), &status) != 0)
        return std::nullopt;
    return identityOf(status);
}

} // namespace

bool FolderTrail::enter(const std::string& name) {
    Descriptor folder = openedFolder(here(), name.c_str());
    const auto identity = identityOfOpen(folder);
    if (!identity)
        return false;
    levels_.push_back({std::move(folder), *identity});
    if (levels_.size() > kMostOpen)
        levels_[levels_.size() - kMostOpen - 1].folder = Descriptor();
    return true;
}

bool FolderTrail::opensAbove(const Descriptor& below, Level& level) {
    level.folder = openedFolder(below, "..");
    const auto identity = identityOfOpen(level.folder);
    if (identity && *identity != level.identity)
        errno = ESTALE;
    return identity == level.identity;
}

std::optional<Descriptor> FolderTrail::leave() {
    Descriptor left = std::move(levels_.back().folder);
    levels_.pop_back();
    if (!here().isOpen() && !opensAbove(left, levels_.back()))
        return std::nullopt;
    return left;
}

} // namespace cutstack
