#include "support/AtomicFile.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <fcntl.h>
#include <filesystem>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace cutstack {

namespace {

constexpr std::size_t kReadAtOnce = std::size_t{256} * 1024;
constexpr int kMostLinks = 40;
constexpr mode_t kNewFileMode = 0644;
constexpr mode_t kPermissionBits = 07777;

std::string wordingOf(int fault) { return std::generic_category().message(fault); }

/// Keeps errno through the cleaning up after a failure.
class KeptFault {
public:
    KeptFault() = default;
    ~KeptFault() { errno = fault_; }
    KeptFault(const KeptFault&) = delete;
    KeptFault& operator=(const KeptFault&) = delete;

private:
    const int fault_ = errno;
};

/// An open file, closed at the end of its scope.
class Descriptor {
public:
    explicit Descriptor(int number) : number_(number) {}
    ~Descriptor() {
        const KeptFault kept;
        if (number_ >= 0)
            ::close(number_);
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;

    [[nodiscard]] int number() const { return number_; }
    [[nodiscard]] bool isOpen() const { return number_ >= 0; }
    /// Closes now; false with errno set when what was written did not arrive.
    bool close() { return ::close(std::exchange(number_, -1)) == 0; }

private:
    int number_;
};

int openAgain(const char* path, int flags, mode_t mode = 0) {
    int number = -1;
    do
        number = ::open(path, flags | O_CLOEXEC, mode);
    while (number < 0 && errno == EINTR);
    return number;
}

/// The next bytes at the end of `bytes`: how many came, 0 at the end of the file, -1 with errno.
ssize_t readMore(int file, std::string& bytes, std::size_t most) {
    const std::size_t size = bytes.size();
    bytes.resize(size + most);
    ssize_t count = -1;
    do
        count = ::read(file, bytes.data() + size, most);
    while (count < 0 && errno == EINTR);
    bytes.resize(size + static_cast<std::size_t>(count > 0 ? count : 0));
    return count;
}

/// All of the file, or nothing with errno set.
std::optional<std::string> readAll(int file, std::size_t sizeLimit) {
    struct stat status {};
    std::string bytes;
    if (::fstat(file, &status) == 0 && S_ISREG(status.st_mode) && status.st_size > 0)
        bytes.reserve(std::min(static_cast<std::size_t>(status.st_size), sizeLimit) + kReadAtOnce);
    ssize_t count = 0;
    while ((count = readMore(file, bytes, kReadAtOnce)) > 0) {
        if (bytes.size() > sizeLimit) {
            errno = EFBIG;
            return std::nullopt;
        }
    }
    return count < 0 ? std::nullopt : std::optional(std::move(bytes));
}

/// Writes everything; false with errno set when that fails.
bool writeAll(int file, std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t count = ::write(file, bytes.data(), bytes.size());
        if (count < 0 && errno != EINTR)
            return false;
        if (count > 0)
            bytes.remove_prefix(static_cast<std::size_t>(count));
    }
    return true;
}

/// Where the links that `path` may be lead to; nothing, with errno, when they never end.
std::optional<std::filesystem::path> endOfLinks(std::filesystem::path path) {
    for (int i = 0; i < kMostLinks; ++i) {
        std::error_code noLink;
        const std::filesystem::path target = std::filesystem::read_symlink(path, noLink);
        if (noLink)
            return path;
        path = path.parent_path() / target;
    }
    errno = ELOOP;
    return std::nullopt;
}

/// A file that is being written beside the one that it will replace. Unless it has replaced it,
/// it is removed in the end.
class Replacement {
public:
    explicit Replacement(std::filesystem::path target) : target_(std::move(target)) {}
    ~Replacement() {
        const KeptFault kept;
        if (!name_.empty())
            ::unlink(name_.c_str());
    }
    Replacement(const Replacement&) = delete;
    Replacement& operator=(const Replacement&) = delete;

    /// Does all of it; false with errno set when a step fails.
    bool write(std::string_view bytes) {
        return lookAtTarget() && writeBeside(bytes) && putInPlace();
    }

private:
    bool lookAtTarget();
    int create();
    bool writeBeside(std::string_view bytes);
    bool takeOverPermissions(int file) const;
    bool putInPlace();

    const std::filesystem::path target_;
    std::optional<struct stat> replaced_; ///< nothing when the file is new
    std::string name_;                    ///< of the temporary file while there is one
};

bool Replacement::lookAtTarget() {
    struct stat status {};
    if (::lstat(target_.c_str(), &status) != 0)
        return errno == ENOENT && target_.has_filename();
    if (!S_ISREG(status.st_mode)) {
        errno = S_ISDIR(status.st_mode) ? EISDIR : EINVAL;
        return false;
    }
    replaced_ = status;
    return true;
}

/// The temporary file, new and open. The file that replaces another one is its owner's own until
/// it has got the other's mode.
int Replacement::create() {
    static std::atomic<unsigned> counter = 0;
    const mode_t mode = replaced_ ? S_IRUSR | S_IWUSR : kNewFileMode;
    int file = -1;
    do {
        name_ = (target_.parent_path() /
                 (".cutstack-" + std::to_string(::getpid()) + "-" + std::to_string(counter++)))
                    .string();
        file = openAgain(name_.c_str(), O_WRONLY | O_CREAT | O_EXCL, mode);
    } while (file < 0 && errno == EEXIST);
    if (file < 0)
        name_.clear();
    return file;
}

bool Replacement::takeOverPermissions(int file) const {
    if (!replaced_)
        return true;
    // Not being allowed to give a file away is no reason to lose what should be written.
    static_cast<void>(::fchown(file, replaced_->st_uid, replaced_->st_gid) == 0);
    return ::fchmod(file, replaced_->st_mode & kPermissionBits) == 0;
}

bool Replacement::writeBeside(std::string_view bytes) {
    Descriptor file(create());
    return file.isOpen() && writeAll(file.number(), bytes) && takeOverPermissions(file.number()) &&
           ::fsync(file.number()) == 0 && file.close();
}

bool Replacement::putInPlace() {
    if (::rename(name_.c_str(), target_.c_str()) != 0)
        return false;
    name_.clear();
    // The new content stands. Where a folder cannot be brought to the disk by itself, a power cut
    // may at worst bring the old file back, whole.
    const std::filesystem::path folder = target_.parent_path();
    const Descriptor parent(
        openAgain(folder.empty() ? "." : folder.c_str(), O_RDONLY | O_DIRECTORY));
    if (parent.isOpen())
        ::fsync(parent.number());
    return true;
}

} // namespace

std::optional<std::string> readFile(const std::string& path, std::size_t sizeLimit,
                                    std::string& error) {
    const Descriptor file(openAgain(path.c_str(), O_RDONLY));
    std::optional<std::string> bytes;
    if (file.isOpen())
        bytes = readAll(file.number(), sizeLimit);
    if (!bytes)
        error = wordingOf(errno);
    return bytes;
}

bool writeFileAtomically(const std::string& path, std::string_view bytes, std::string& error) {
    const auto target = endOfLinks(path);
    if (target && Replacement(*target).write(bytes))
        return true;
    error = wordingOf(errno);
    return false;
}

} // namespace cutstack
