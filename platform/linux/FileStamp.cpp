#include "platform/FileStamp.h"

#include "platform/SystemErrors.h"

#include <cerrno>
#include <sys/stat.h>

namespace cutstack {

namespace {

FileTime fileTime(const timespec& time) { return {time.tv_sec, time.tv_nsec}; }

} // namespace

std::optional<FileStamp> fileStamp(const std::string& path, std::string& error) {
    struct stat status {};
    if (stat(path.c_str(), &status) != 0) {
        error = wordingOf(errno);
        return std::nullopt;
    }
    return FileStamp{status.st_dev, status.st_ino, static_cast<std::uint64_t>(status.st_size),
                     fileTime(status.st_mtim), fileTime(status.st_ctim)};
}

} // namespace cutstack
