#include "platform/FileMover.h"

#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <sys/stat.h>

namespace cutstack {

namespace {

bool hasZeroByte(const std::string& path) { return path.find('\0') != std::string::npos; }

int renameWhereNothingIs(const char* source, const char* destination) {
    struct stat status {};
    if (::lstat(destination, &status) == 0)
        return EEXIST;
    if (errno != ENOENT)
        return errno;
    return ::rename(source, destination) == 0 ? 0 : errno;
}

class KernelMover final : public FileMover {
public:
    int rename(const std::string& source, const std::string& destination) const override {
        if (hasZeroByte(source) || hasZeroByte(destination))
            return EINVAL; // the system would take what is before it for the path
        if (::renameat2(AT_FDCWD, source.c_str(), AT_FDCWD, destination.c_str(),
                        RENAME_NOREPLACE) == 0)
            return 0;
        // Some file systems (network shares mostly) cannot tell at the moment of renaming.
        if (errno == EINVAL || errno == ENOSYS)
            return renameWhereNothingIs(source.c_str(), destination.c_str());
        return errno;
    }
};

} // namespace

const FileMover& fileMover() {
    static const auto& instance = *new KernelMover;
    return instance;
}

} // namespace cutstack
