#include "platform/linux/TrashFolder.h"

#include "platform/linux/FreeName.h"
#include "platform/linux/TrashInfo.h"

#include <algorithm>
#include <climits>
#include <cstring>
#include <fcntl.h>
#include <string_view>
#include <sys/stat.h>
#include <utility>

namespace cutstack {

namespace {

constexpr mode_t kOwnFolder = S_IRWXU;
constexpr mode_t kOwnFile = S_IRUSR | S_IWUSR;
constexpr unsigned kMostNames = 1'000'000;

bool writeAll(const Descriptor& file, std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t count = ::write(file.number(), bytes.data(), bytes.size());
        if (count < 0 && errno != EINTR)
            return false;
        bytes.remove_prefix(count < 0 ? 0 : static_cast<std::size_t>(count));
    }
    return true;
}

/// The note on a thing that is about to come into the trash. Unless it is kept, it is removed in
/// the end.
class Note {
public:
    Note(const Descriptor& folder, std::string name)
        : folder_(folder),
          name_(std::move(name)),
          file_(::openat(folder.number(), name_.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC,
                         kOwnFile)) {}
    ~Note() {
        const int fault = errno;
        if (file_.isOpen() && !isKept_)
            ::unlinkat(folder_.number(), name_.c_str(), 0);
        errno = fault;
    }
    Note(const Note&) = delete;
    Note& operator=(const Note&) = delete;

    [[nodiscard]] bool isReserved() const { return file_.isOpen(); }

    /// Brings the text to the disk, before anything moves that could not be put back without it.
    [[nodiscard]] bool write(std::string_view text) const {
        if (!writeAll(file_, text) || ::fsync(file_.number()) != 0)
            return false;
        // Where a folder cannot be brought to the disk by itself, the file is enough.
        ::fsync(folder_.number());
        return true;
    }

    void keep() { isKept_ = true; }

private:
    const Descriptor& folder_;
    const std::string name_;
    const Descriptor file_;
    bool isKept_ = false;
};

/// The most bytes that a thing's name can have when its note is to have a name, too.
std::size_t longestNameIn(const Descriptor& folder) {
    constexpr long fewest = 64;
    const long most = ::fpathconf(folder.number(), _PC_NAME_MAX);
    const long usable = most <= 0 ? NAME_MAX : std::clamp<long>(most, fewest, NAME_MAX);
    return static_cast<std::size_t>(usable) - std::strlen(kTrashInfoExtension);
}

} // namespace

Descriptor openedOrMade(const Descriptor& parent, const std::string& name, int flags) {
    const auto open = [&] {
        return Descriptor(::openat(parent.number(), name.c_str(), O_DIRECTORY | O_CLOEXEC | flags));
    };
    Descriptor folder = open();
    if (folder.isOpen() || errno != ENOENT)
        return folder;
    if (::mkdirat(parent.number(), name.c_str(), kOwnFolder) != 0 && errno != EEXIST)
        return Descriptor();
    return open();
}

TrashFolder::TrashFolder(Descriptor files, Descriptor info)
    : files_(std::move(files)), info_(std::move(info)), longestName_(longestNameIn(info_)) {}

std::optional<TrashFolder> TrashFolder::opened(const Descriptor& folder, uid_t userId) {
    struct stat status {};
    if (::fstat(folder.number(), &status) != 0)
        return std::nullopt;
    if (status.st_uid != userId && status.st_uid != 0) {
        errno = EPERM;
        return std::nullopt;
    }
    Descriptor files = openedOrMade(folder, "files", O_PATH | O_NOFOLLOW);
    if (!files.isOpen())
        return std::nullopt;
    Descriptor info = openedOrMade(folder, "info", O_RDONLY | O_NOFOLLOW);
    if (!info.isOpen())
        return std::nullopt;
    return TrashFolder(std::move(files), std::move(info));
}

bool TrashFolder::takeAs(const std::string& trashName, const Descriptor& parent,
                         const std::string& name, const std::string& info) const {
    Note note(info_, trashName + kTrashInfoExtension);
    if (!note.isReserved() || !note.write(info) ||
        !renameToFreeName(parent, name, files_, trashName))
        return false;
    note.keep();
    return true;
}

bool TrashFolder::take(const Descriptor& parent, const std::string& name,
                       const std::string& info) const {
    bool isTaken = false;
    unsigned number = 0;
    do
        isTaken = takeAs(trashName(name, ++number, longestName_), parent, name, info);
    while (!isTaken && errno == EEXIST && number < kMostNames);
    return isTaken;
}

} // namespace cutstack
