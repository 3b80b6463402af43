#include "platform/FileFlags.h"

#include "platform/linux/Descriptor.h"

#include <fcntl.h>
#include <linux/fs.h>
#include <optional>
#include <string>
#include <sys/ioctl.h>
#include <sys/stat.h>

namespace cutstack {

namespace {

/// Opens the file or folder at `path`, and nothing else: a pipe would wait for its other end, and
/// a device may do anything when it is opened.
Descriptor openedFileOrFolder(const std::string& path) {
    const Descriptor found(::open(path.c_str(), O_PATH | O_NOFOLLOW | O_CLOEXEC));
    struct stat status {};
    if (!found.isOpen() || ::fstat(found.number(), &status) != 0 ||
        !(S_ISREG(status.st_mode) || S_ISDIR(status.st_mode)))
        return Descriptor();
    // What has been looked at, whatever has the path by now.
    const std::string same = "/proc/self/fd/" + std::to_string(found.number());
    return Descriptor(::open(same.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
}

/// The file system writes an int, whatever the name of the request says.
std::optional<unsigned> flagsOf(const Descriptor& file) {
    unsigned flags = 0;
    if (!file.isOpen() || ::ioctl(file.number(), FS_IOC_GETFLAGS, &flags) != 0)
        return std::nullopt;
    return flags;
}

class InodeFlags final : public FileFlags {
public:
    [[nodiscard]] bool isImmutable(const std::string& path) const override {
        // This way it can be found out without the right to read the file.
        struct statx status {};
        if (::statx(AT_FDCWD, path.c_str(), AT_SYMLINK_NOFOLLOW, STATX_TYPE, &status) == 0 &&
            (status.stx_attributes_mask & STATX_ATTR_IMMUTABLE) != 0)
            return !S_ISLNK(status.stx_mode) && (status.stx_attributes & STATX_ATTR_IMMUTABLE) != 0;
        return (flagsOf(openedFileOrFolder(path)).value_or(0) & FS_IMMUTABLE_FL) != 0;
    }

    bool setImmutable(const std::string& path, bool immutable) const override {
        if (path.find('\0') != std::string::npos)
            return false; // the system would take what is before it for the path
        const Descriptor file = openedFileOrFolder(path);
        const auto flags = flagsOf(file);
        if (!flags)
            return false;
        unsigned wanted =
            immutable ? *flags | FS_IMMUTABLE_FL : *flags & ~static_cast<unsigned>(FS_IMMUTABLE_FL);
        return wanted == *flags || ::ioctl(file.number(), FS_IOC_SETFLAGS, &wanted) == 0;
    }
};

} // namespace

const FileFlags& fileFlags() {
    static const auto& instance = *new InodeFlags;
    return instance;
}

} // namespace cutstack
