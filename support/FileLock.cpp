#include "support/FileLock.h"

#include <cerrno>
#include <fcntl.h>
#include <filesystem>
#include <sys/file.h>
#include <unistd.h>

namespace cutstack {

namespace {

/// The open lock of a file, made when it is missing; -1 with errno set when that fails.
int openLockOf(const std::filesystem::path& file) {
    const std::string name =
        (file.parent_path() / ("." + file.filename().string() + ".lock")).string();
    const int made = ::open(name.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0644);
    if (made >= 0 || errno != EACCES)
        return made;
    // One that another user made, root for one, can be locked all the same.
    const int found = ::open(name.c_str(), O_RDONLY | O_CLOEXEC);
    if (found < 0)
        errno = EACCES; // where there is none, none could be made
    return found;
}

} // namespace

FileLock::FileLock(const std::string& path) : FileLock(openLockOf(path)) {}

FileLock FileLock::ofFolder(const std::string& path) {
    return FileLock(::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
}

FileLock::FileLock(int descriptor) : descriptor_(descriptor) {
    if (descriptor_ < 0) {
        fault_ = errno;
        return;
    }
    while (::flock(descriptor_, LOCK_EX) != 0) {
        if (errno != EINTR) {
            fault_ = errno;
            return;
        }
    }
}

FileLock::~FileLock() {
    if (descriptor_ >= 0)
        ::close(descriptor_);
}

} // namespace cutstack
