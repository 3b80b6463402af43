#include "support/AtomicFile.h"

#include <atomic>
#include <cerrno>
#include <fcntl.h>
#include <filesystem>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>
#include <utility>

#include "platform/SystemErrors.h"

namespace cutstack {

namespace {

constexpr std::size_t kReadAtOnce = std::size_t{256} * 1024;
constexpr int kMostLinks = 40;
constexpr mode_t kNewFileMode = 0644;
/// What a replaced file hands on. Whoever wrote the old content does not vouch for the new one, so
/// that it must not run in another's name.
constexpr mode_t kPermissionBits = 0777;

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
    if (::fstat(file, &status) == 0 && S_ISREG(status.st_mode) && status.st_size > 0) {
        const auto size = static_cast<std::size_t>(status.st_size);
        if (size > sizeLimit) {
            errno = EFBIG;
            return std::nullopt;
        }
        bytes.reserve(size + kReadAtOnce);
    }
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
    // Not being allowed to give a file away is no reason to lose what should be written. What the
    // old group could do is nothing that another one may.
    constexpr auto kSameOwner = static_cast<uid_t>(-1);
    const bool keepsGroup = ::fchown(file, replaced_->st_uid, replaced_->st_gid) == 0 ||
                            ::fchown(file, kSameOwner, replaced_->st_gid) == 0;
    const mode_t mode = replaced_->st_mode & kPermissionBits;
    return ::fchmod(file, keepsGroup ? mode : mode & ~static_cast<mode_t>(S_IRWXG)) == 0;
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

/// Hands a folder that root has made in another user's folder to that user. What was put in its
/// place meanwhile is no folder of root's.
void giveToOwnerOfParent(const std::string& path) {
    const Descriptor folder(openAgain(path.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW));
    struct stat made {};
    struct stat parent {};
    if (folder.isOpen() && ::fstat(folder.number(), &made) == 0 &&
        ::fstatat(folder.number(), "..", &parent, 0) == 0 && made.st_uid == ::geteuid() &&
        made.st_uid != parent.st_uid)
        static_cast<void>(::fchown(folder.number(), parent.st_uid, parent.st_gid) == 0);
}

} // namespace

std::optional<std::string> readFile(const std::string& path, std::size_t sizeLimit, int& fault) {
    const Descriptor file(openAgain(path.c_str(), O_RDONLY));
    std::optional<std::string> bytes;
    if (file.isOpen())
        bytes = readAll(file.number(), sizeLimit);
    if (!bytes)
        fault = errno;
    return bytes;
}

std::optional<std::string> readFile(const std::string& path, std::size_t sizeLimit,
                                    std::string& error) {
    int fault = 0;
    auto bytes = readFile(path, sizeLimit, fault);
    if (!bytes)
        error = wordingOf(fault);
    return bytes;
}

std::optional<std::string> endOfLinks(const std::string& path) {
    std::filesystem::path end(path);
    for (int i = 0; i < kMostLinks; ++i) {
        std::error_code noLink;
        const std::filesystem::path target = std::filesystem::read_symlink(end, noLink);
        if (noLink)
            return end.string();
        end = end.parent_path() / target;
    }
    errno = ELOOP;
    return std::nullopt;
}

int makeFolders(const std::string& folder) {
    if (folder.find('\0') != std::string::npos)
        return EINVAL; // the system would take what is before it for the path
    const std::filesystem::path path(folder);
    std::error_code fault;
    if (path.empty() || std::filesystem::is_directory(path, fault))
        return 0;
    if (const int parentFault = makeFolders(path.parent_path().string()); parentFault != 0)
        return parentFault;
    if (std::filesystem::create_directory(path, fault))
        giveToOwnerOfParent(folder);
    return fault.value();
}

bool writeFileAtomically(const std::string& path, std::string_view bytes, std::string& error) {
    if (path.find('\0') != std::string::npos) {
        error = wordingOf(EINVAL);
        return false;
    }
    const auto target = endOfLinks(path);
    if (target && Replacement(*target).write(bytes))
        return true;
    error = wordingOf(errno);
    return false;
}

} // namespace cutstack
