#include "support/FileTree.h"

#include "support/FolderListing.h"

#include <algorithm>
#include <cerrno>
#include <dirent.h>
#include <fcntl.h>
#include <memory>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>
#include <vector>

namespace cutstack {

namespace {

// Going through a folder takes no right to list it.
#if defined(O_SEARCH)
constexpr int kGoThrough = O_SEARCH | O_DIRECTORY | O_CLOEXEC;
#elif defined(O_PATH)
constexpr int kGoThrough = O_PATH | O_DIRECTORY | O_CLOEXEC;
#else
constexpr int kGoThrough = O_RDONLY | O_DIRECTORY | O_CLOEXEC;
#endif

/// An open folder, closed at the end of its scope.
class OpenFolder {
public:
    explicit OpenFolder(int number = -1) : number_(number) {}
    OpenFolder(OpenFolder&& other) noexcept : number_(std::exchange(other.number_, -1)) {}
    OpenFolder& operator=(OpenFolder&& other) noexcept {
        std::swap(number_, other.number_);
        return *this;
    }
    OpenFolder(const OpenFolder&) = delete;
    OpenFolder& operator=(const OpenFolder&) = delete;
    ~OpenFolder() {
        if (number_ >= 0)
            ::close(number_);
    }

    [[nodiscard]] int number() const { return number_; }
    [[nodiscard]] bool isOpen() const { return number_ >= 0; }

private:
    int number_;
};

/// A folder on the way down to where the walk is.
struct Level {
    std::string name;
    struct stat status {};
    int fault = 0;                      ///< why it could not be looked into
    std::vector<std::string> remaining; ///< names not yet visited, the next one last
};

bool isSame(const struct stat& one, const struct stat& other) {
    return one.st_dev == other.st_dev && one.st_ino == other.st_ino;
}

/// The names in an open folder, the first one last; on failure sets `fault`.
std::vector<std::string> namesIn(int folder, int& fault) {
    std::vector<std::string> names;
    const int own = ::openat(folder, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    const std::unique_ptr<DIR, int (*)(DIR*)> listing(own < 0 ? nullptr : ::fdopendir(own),
                                                      &::closedir);
    if (!listing) {
        fault = errno;
        if (own >= 0)
            ::close(own);
        return names;
    }
    errno = 0;
    while (const dirent* entry = ::readdir(listing.get())) {
        const std::string name = static_cast<const char*>(entry->d_name);
        if (name != "." && name != "..")
            names.push_back(name);
    }
    fault = errno;
    std::ranges::sort(names, std::ranges::greater());
    return names;
}

class Walk {
public:
    Walk(OpenFolder parent, FileTreeVisitor& visitor)
        : outer_(std::move(parent)), visitor_(visitor) {}

    int run(const std::string& name) {
        struct stat top {};
        if (::fstatat(outer_.number(), name.c_str(), &top, AT_SYMLINK_NOFOLLOW) != 0)
            return errno;
        int end = come(name, top);
        while (end == 0 && !levels_.empty())
            end = step();
        return end;
    }

private:
    int come(const std::string& name, const struct stat& status);
    int step();
    int goUp();
    void goDown(Level& level);
    [[nodiscard]] int leave(const Level& level);

    /// The folder where the walk is.
    [[nodiscard]] int here() const { return (levels_.empty() ? outer_ : current_).number(); }

    const OpenFolder outer_; ///< in which the top lies
    OpenFolder current_;     ///< of the last level
    FileTreeVisitor& visitor_;
    std::vector<Level> levels_;
    std::string path_; ///< of the last level
};

/// Visits an item of the folder where the walk is, and goes down when it is a folder.
int Walk::come(const std::string& name, const struct stat& status) {
    const std::size_t outerLength = path_.size();
    if (!levels_.empty())
        path_.append(path_.empty() ? "" : "/").append(name);
    const int end = visitor_.visit({here(), name, path_, status});
    if (end != 0 || !S_ISDIR(status.st_mode)) {
        path_.resize(outerLength);
        return end;
    }
    Level level{name, status, 0, {}};
    goDown(level);
    if (level.fault == 0) {
        levels_.push_back(std::move(level));
        return 0;
    }
    const int endOfUnread = leave(level);
    path_.resize(outerLength);
    return endOfUnread;
}

/// Opens the folder and lists it; the walk stays where it is when that fails. A folder that may be
/// read but not searched leads nowhere, not even up again.
void Walk::goDown(Level& level) {
    OpenFolder folder(::openat(here(), level.name.c_str(), kGoThrough | O_NOFOLLOW));
    struct stat status {};
    if (!folder.isOpen() || ::fstat(folder.number(), &status) != 0) {
        level.fault = errno;
        return;
    }
    level.fault = isSame(status, level.status) ? 0 : ESTALE;
    if (level.fault == 0)
        level.remaining = namesIn(folder.number(), level.fault);
    if (level.fault == 0)
        current_ = std::move(folder);
}

int Walk::leave(const Level& level) {
    return visitor_.leave({here(), level.name, path_, level.status}, level.fault);
}

int Walk::step() {
    Level& level = levels_.back();
    if (level.remaining.empty())
        return goUp();
    const std::string name = std::move(level.remaining.back());
    level.remaining.pop_back();
    struct stat status {};
    if (::fstatat(current_.number(), name.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0)
        return errno == ENOENT ? 0 : errno;
    return come(name, status);
}

int Walk::goUp() {
    const Level left = std::move(levels_.back());
    levels_.pop_back();
    if (!levels_.empty()) {
        OpenFolder outer(::openat(current_.number(), "..", kGoThrough));
        struct stat status {};
        if (!outer.isOpen() || ::fstat(outer.number(), &status) != 0)
            return errno;
        if (!isSame(status, levels_.back().status))
            return ESTALE;
        current_ = std::move(outer);
    }
    const int end = leave(left);
    const std::size_t slash = path_.rfind('/');
    path_.resize(slash == std::string::npos ? 0 : slash);
    return end;
}

} // namespace

int walkTree(const std::string& path, FileTreeVisitor& visitor) {
    if (path.find('\0') != std::string::npos)
        return EINVAL; // the system would take what is before it for the path
    const std::string whole = withoutSlashAtEnd(path);
    const std::string name(fileNameOf(whole));
    const std::string parent =
        name.size() == whole.size() ? "." : whole.substr(0, whole.size() - name.size());
    OpenFolder folder(::open(parent.c_str(), kGoThrough));
    if (!folder.isOpen())
        return errno;
    return Walk(std::move(folder), visitor).run(name.empty() ? "." : name);
}

} // namespace cutstack
