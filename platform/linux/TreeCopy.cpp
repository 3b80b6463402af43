#include "platform/linux/TreeCopy.h"

#include "platform/SystemErrors.h"

#include "platform/linux/FileAttributes.h"
#include "platform/linux/FileData.h"

#include <array>
#include <climits>
#include <fcntl.h>

namespace cutstack {

namespace {

constexpr int kMostAttempts = 3;

/// Whether the content is still the same, as far as anybody can tell.
bool isUnchanged(const struct stat& before, const struct stat& after) {
    return before.st_size == after.st_size && before.st_mtim.tv_sec == after.st_mtim.tv_sec &&
           before.st_mtim.tv_nsec == after.st_mtim.tv_nsec;
}

/// Where the link leads to; empty with errno on failure.
std::string targetOf(const TreeItem& link) {
    std::array<char, PATH_MAX> target{};
    const ssize_t size =
        ::readlinkat(link.folder.number(), link.name.c_str(), target.data(), target.size());
    return size <= 0 ? "" : std::string(target.data(), static_cast<std::size_t>(size));
}

} // namespace

bool canBeCopied(const TreeItem& item, PathFault& fault) {
    const mode_t mode = item.status.st_mode;
    if (S_ISREG(mode) || S_ISLNK(mode) || S_ISDIR(mode))
        return true;
    fault = {item.path, "It is neither a file, a folder nor a link"};
    return false;
}

bool TreeCopy::failAtSource(const TreeItem& item) {
    fault_ = PathFault::ofNumber(item.path, errno);
    return false;
}

bool TreeCopy::failAtCopy(const TreeItem& item) {
    fault_ =
        PathFault::ofNumber(names_.destination + item.path.substr(names_.source.size()), errno);
    return false;
}

bool TreeCopy::visit(const TreeItem& item) {
    return report_.goesOnWith(item.path) && canBeCopied(item, fault_) &&
           (S_ISREG(item.status.st_mode) ? copyFile(item) : copyLink(item)) && completeItem(item);
}

bool TreeCopy::completeItem(const TreeItem& item) {
    report_.completeItem();
    return report_.goesOnWith(item.path);
}

bool TreeCopy::copyFile(const TreeItem& item) {
    // Something else may be there by now; it must neither be waited for nor become a terminal.
    const Descriptor source(::openat(item.folder.number(), item.name.c_str(),
                                     O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    if (!source.isOpen())
        return failAtSource(item);
    const Descriptor target(::openat(trail_.here().number(), nameOf(item).c_str(),
                                     O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC,
                                     S_IRUSR | S_IWUSR));
    return target.isOpen() ? copyContent(item, source, target) : failAtCopy(item);
}

/// Until the source stays the same meanwhile.
bool TreeCopy::copyContent(const TreeItem& item, const Descriptor& source,
                           const Descriptor& target) {
    struct stat before {};
    struct stat after {};
    if (::fstat(source.number(), &before) != 0)
        return failAtSource(item);
    for (int attempt = 0; attempt < kMostAttempts; ++attempt) {
        if (!canBeCopied({item.folder, item.name, item.path, before}, fault_) ||
            !copyOnce(item, source, target, before))
            return false;
        if (::fstat(source.number(), &after) != 0)
            return failAtSource(item);
        if (isUnchanged(before, after))
            return finishFile(item, source, before, target);
        before = after;
    }
    fault_ = {item.path, "It kept changing while it was being copied", true};
    return false;
}

bool TreeCopy::copyOnce(const TreeItem& item, const Descriptor& source, const Descriptor& target,
                        const struct stat& status) {
    if (::ftruncate(target.number(), 0) != 0)
        return failAtCopy(item);
    const DataEnd end = copyData(source, status, target, bytesAtOnce_, [&](std::uint64_t bytes) {
        report_.setBytes(bytes);
        return report_.goesOnWith(item.path);
    });
    if (end == DataEnd::unreadable)
        return failAtSource(item);
    if (end == DataEnd::unwritable)
        return failAtCopy(item);
    return end == DataEnd::copied;
}

bool TreeCopy::finishFile(const TreeItem& item, const Descriptor& source, const struct stat& status,
                          const Descriptor& target) {
    if (item.isTop)
        dropInheritedAccess(target);
    if (!copyAttributes(source, status, target) || (item.isTop && ::fsync(target.number()) != 0))
        return failAtCopy(item);
    return true;
}

bool TreeCopy::copyLink(const TreeItem& item) {
    const std::string target = targetOf(item);
    if (target.empty())
        return failAtSource(item);
    if (::symlinkat(target.c_str(), trail_.here().number(), nameOf(item).c_str()) != 0)
        return failAtCopy(item);
    copyLinkAttributes(item.status, trail_.here(), nameOf(item));
    return true;
}

bool TreeCopy::enter(const TreeItem& folder) {
    // However the copy's own folder was reached, by a second mount for instance.
    if (!folder.isTop && identityOf(folder.status) == top_) {
        fault_ = {folder.path, "A folder cannot be copied into itself", true};
        return false;
    }
    const std::string& name = nameOf(folder);
    if (::mkdirat(trail_.here().number(), name.c_str(), S_IRWXU) != 0 || !trail_.enter(name))
        return failAtCopy(folder);
    if (folder.isTop) {
        top_ = trail_.identity();
        dropInheritedAccess(trail_.here());
        // Those may even have kept the owner out.
        if (::fchmod(trail_.here().number(), S_IRWXU) != 0)
            return failAtCopy(folder);
    }
    return true;
}

bool TreeCopy::leave(const TreeItem& folder, const Descriptor& opened) {
    const auto copy = trail_.leave();
    if (!copy || !copyAttributes(opened, folder.status, *copy) ||
        // For many small files this is many times as fast as one after the other.
        (folder.isTop && ::syncfs(copy->number()) != 0))
        return failAtCopy(folder);
    return completeItem(folder);
}

} // namespace cutstack
