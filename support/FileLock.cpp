#include "support/FileLock.h"

#include <cerrno>
#include <fcntl.h>
#include <filesystem>
#include <sys/file.h>
#include <unistd.h>

namespace cutstack {

FileLock::FileLock(const std::string& path) {
    const std::filesystem::path file(path);
    const std::string name =
        (file.parent_path() / ("." + file.filename().string() + ".lock")).string();
    descriptor_ = ::open(name.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0644);
    // One that another user made, root for one, can be locked all the same.
    if (descriptor_ < 0 && errno == EACCES)
        descriptor_ = ::open(name.c_str(), O_RDONLY | O_CLOEXEC);
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
