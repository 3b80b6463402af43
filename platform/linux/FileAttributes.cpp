#include "platform/linux/FileAttributes.h"

#include <array>
#include <fcntl.h>
#include <linux/limits.h>
#include <optional>
#include <string_view>
#include <sys/xattr.h>

namespace cutstack {

namespace {

constexpr std::string_view kAccessList = "system.posix_acl_access";
constexpr std::string_view kDefaultList = "system.posix_acl_default";
constexpr std::string_view kSecurity = "security.";
constexpr mode_t kAllBits = 07777;

/// Whether the system or the file system just doesn't do it, which is no fault.
bool isRefusal(int fault) {
    return fault == EOPNOTSUPP || fault == EPERM || fault == EACCES || fault == EINVAL ||
           fault == ENOSYS;
}

/// What `read` puts into a buffer that is large enough; nothing, with errno, on failure.
template <typename Read>
std::optional<std::string> wholeOf(const Read& read) {
    std::string bytes(256, '\0');
    ssize_t count = -1;
    while ((count = read(bytes.data(), bytes.size())) < 0) {
        if (errno != ERANGE || bytes.size() > XATTR_LIST_MAX)
            return std::nullopt;
        bytes.resize(bytes.size() * 8);
    }
    bytes.resize(static_cast<std::size_t>(count));
    return bytes;
}

/// Copies one extended attribute; false with errno set when that fails.
bool copiesAttribute(int source, int target, const char* name) {
    const auto value = wholeOf(
        [&](char* bytes, std::size_t size) { return ::fgetxattr(source, name, bytes, size); });
    return value && ::fsetxattr(target, name, value->data(), value->size(), 0) == 0;
}

/// Copies the extended attributes. `keepsAccess` becomes false when the access list is not among
/// those that are kept. False with errno set on failure.
bool copiesExtended(int source, int target, bool& keepsAccess) {
    const auto names =
        wholeOf([&](char* bytes, std::size_t size) { return ::flistxattr(source, bytes, size); });
    if (!names)
        return isRefusal(errno);
    for (std::size_t at = 0; at < names->size();) {
        const std::string_view name(names->c_str() + at);
        at += name.size() + 1;
        if (name.starts_with(kSecurity) || copiesAttribute(source, target, name.data()))
            continue;
        if (!isRefusal(errno) && errno != ENODATA)
            return false;
        if (name == kAccessList)
            keepsAccess = false;
    }
    return true;
}

struct Kept {
    bool owner = true;
    bool group = true;
    bool access = true;
};

mode_t permissions(mode_t original, const Kept& kept) {
    mode_t mode = original & kAllBits;
    if (!kept.owner)
        mode &= ~static_cast<mode_t>(S_ISUID | S_ISGID);
    if (!kept.group)
        mode &= ~static_cast<mode_t>(S_ISGID);
    const mode_t others = mode & S_IRWXO;
    if (!kept.group || !kept.access)
        mode &= ~static_cast<mode_t>(S_IRWXG) | (others << 3);
    return mode;
}

} // namespace

bool copyAttributes(const Descriptor& source, const struct stat& status, const Descriptor& target) {
    constexpr auto sameOwner = static_cast<uid_t>(-1);
    const int file = target.number();
    Kept kept;
    kept.owner = ::fchown(file, status.st_uid, status.st_gid) == 0;
    kept.group = kept.owner || ::fchown(file, sameOwner, status.st_gid) == 0;
    // While the owner may still write: that is what setting most of them takes.
    if (!copiesExtended(source.number(), file, kept.access))
        return false;
    const std::array times = {status.st_atim, status.st_mtim};
    return (::fchmod(file, permissions(status.st_mode, kept)) == 0 || isRefusal(errno)) &&
           (::futimens(file, times.data()) == 0 || isRefusal(errno));
}

void copyLinkAttributes(const struct stat& status, const Descriptor& folder,
                        const std::string& name) {
    const std::array times = {status.st_atim, status.st_mtim};
    static_cast<void>(::fchownat(folder.number(), name.c_str(), status.st_uid, status.st_gid,
                                 AT_SYMLINK_NOFOLLOW) == 0);
    static_cast<void>(
        ::utimensat(folder.number(), name.c_str(), times.data(), AT_SYMLINK_NOFOLLOW) == 0);
}

void dropInheritedAccess(const Descriptor& target) {
    for (const std::string_view list : {kAccessList, kDefaultList})
        static_cast<void>(::fremovexattr(target.number(), list.data()) == 0);
}

} // namespace cutstack
