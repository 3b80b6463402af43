#include "tools/ditto/ArchiveFile.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace cutstack::ditto {

namespace {

constexpr std::array kEndingSignals = {SIGTERM, SIGINT, SIGHUP};
constexpr std::size_t kMostPathBytes = 4096;
constexpr mode_t kArchiveMode = 0644;

/// The path of the hidden file while there is one, where the handler of a signal can read it.
std::array<char, kMostPathBytes> hiddenFile{};

/// Held up while the file is made, named and removed.
class SignalsHeldUp {
public:
    SignalsHeldUp() {
        sigset_t held;
        sigemptyset(&held);
        for (const int signal : kEndingSignals)
            sigaddset(&held, signal);
        sigprocmask(SIG_BLOCK, &held, &before_);
    }
    ~SignalsHeldUp() {
        const int fault = errno;
        sigprocmask(SIG_SETMASK, &before_, nullptr);
        errno = fault;
    }
    SignalsHeldUp(const SignalsHeldUp&) = delete;
    SignalsHeldUp& operator=(const SignalsHeldUp&) = delete;

private:
    sigset_t before_{};
};

void removeAndEnd(int signal) {
    if (hiddenFile.front() != '\0')
        ::unlink(hiddenFile.data());
    std::signal(signal, SIG_DFL);
    raise(signal); // comes when this handler has returned
}

void forget() {
    if (hiddenFile.front() != '\0')
        ::unlink(hiddenFile.data());
    hiddenFile.front() = '\0';
}

} // namespace

ArchiveFile::ArchiveFile(std::string destination) : destination_(std::move(destination)) {
    folder_ = std::filesystem::path(destination_).parent_path().string();
    if (folder_.empty())
        folder_ = ".";
    for (const int signal : kEndingSignals)
        std::signal(signal, removeAndEnd);
}

ArchiveFile::~ArchiveFile() {
    const SignalsHeldUp held;
    forget();
    if (descriptor_ >= 0)
        ::close(descriptor_);
    for (const int signal : kEndingSignals)
        std::signal(signal, SIG_DFL);
}

bool ArchiveFile::create() {
    const std::string name = folder_ + "/.cutstack-ditto-XXXXXX";
    if (name.size() >= hiddenFile.size()) {
        errno = ENAMETOOLONG;
        return false;
    }
    const SignalsHeldUp held;
    std::memcpy(hiddenFile.data(), name.c_str(), name.size() + 1);
    descriptor_ = ::mkostemp(hiddenFile.data(), O_CLOEXEC);
    if (descriptor_ < 0)
        hiddenFile.front() = '\0';
    return descriptor_ >= 0;
}

bool ArchiveFile::isMeantBy(const struct stat& status) const {
    struct stat own {};
    return ::fstat(descriptor_, &own) == 0 && own.st_dev == status.st_dev &&
           own.st_ino == status.st_ino;
}

bool ArchiveFile::putInPlace() {
    const mode_t masked = ::umask(0);
    ::umask(masked);
    if (::fchmod(descriptor_, kArchiveMode & ~masked) != 0 || ::fsync(descriptor_) != 0)
        return false;
    const SignalsHeldUp held;
    if (::rename(hiddenFile.data(), destination_.c_str()) != 0)
        return false;
    hiddenFile.front() = '\0';
    // The archive stands. Where a folder cannot be brought to the disk, a power cut may take back
    // its name at worst.
    const int folder = ::open(folder_.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (folder >= 0) {
        ::fsync(folder);
        ::close(folder);
    }
    return true;
}

} // namespace cutstack::ditto
