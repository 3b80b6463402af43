#include "platform/FileWatch.h"

#include <array>
#include <cerrno>
#include <climits>
#include <cstring>
#include <map>
#include <optional>
#include <set>
#include <utility>

#include <poll.h>
#include <sys/eventfd.h>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/FileStamp.h"
#include "platform/SystemErrors.h"
#include "platform/linux/Descriptor.h"

namespace cutstack {

namespace {

// What happens to the entries of a folder, and to the folder itself.
constexpr std::uint32_t kEntryEvents =
    IN_MODIFY | IN_CLOSE_WRITE | IN_CREATE | IN_DELETE | IN_MOVED_FROM | IN_MOVED_TO | IN_ATTRIB;
// What happens to the folders above: only that they come, go and get other names.
constexpr std::uint32_t kWayEvents = IN_CREATE | IN_DELETE | IN_MOVED_FROM | IN_MOVED_TO;
constexpr std::uint32_t kFolderEvents = IN_DELETE_SELF | IN_MOVE_SELF | IN_ONLYDIR | IN_MASK_ADD;
constexpr std::uint32_t kGone = IN_DELETE_SELF | IN_MOVE_SELF | IN_IGNORED | IN_UNMOUNT;

/// How many links a path may lead through.
constexpr int kMostLinks = 40;

/// How often files are looked at as long as one of their folders cannot be watched.
constexpr std::chrono::milliseconds kLookingInterval{2000};

std::string folderOf(const std::string& path) {
    const auto slash = path.rfind('/');
    return slash == 0 ? "/" : path.substr(0, slash);
}

std::string nameOf(const std::string& path) { return path.substr(path.rfind('/') + 1); }

std::optional<std::string> linkTarget(const std::string& path) {
    std::array<char, PATH_MAX> target{};
    const auto length = ::readlink(path.c_str(), target.data(), target.size());
    if (length <= 0)
        return std::nullopt;
    const std::string text(target.data(), static_cast<std::size_t>(length));
    return text.front() == '/' ? text : folderOf(path) + "/" + text;
}

/// A file that is watched, and what was last seen of it.
struct WatchedFile {
    std::string path;
    std::optional<FileStamp> stamp;
    bool isChanged = false;
};

class InotifyWatch final : public FileWatch {
public:
    InotifyWatch(Descriptor inotify, Descriptor waker, const std::vector<std::string>& paths)
        : inotify_(std::move(inotify)), waker_(std::move(waker)) {
        for (const std::string& path : paths)
            files_.push_back({path, std::nullopt});
        arm();
        for (WatchedFile& file : files_)
            file.isChanged = false;
    }

    std::vector<std::string> wait(std::chrono::milliseconds longest) override {
        const auto end = std::chrono::steady_clock::now() + longest;
        std::vector<std::string> changed = takeChanged();
        while (changed.empty()) {
            const auto left = std::chrono::ceil<std::chrono::milliseconds>(
                end - std::chrono::steady_clock::now());
            if (longest.count() >= 0 && left.count() < 0)
                break;
            const bool isEndless = longest.count() < 0;
            const bool looks = !seesAll_ && (isEndless || left > kLookingInterval);
            const auto time = looks ? kLookingInterval : isEndless ? longest : left;
            const Waited waited = waitForEvents(static_cast<int>(time.count()));
            // Watches may have become free meanwhile.
            if (!seesAll_)
                arm();
            changed = takeChanged();
            if (waited == Waited::woken || (waited == Waited::inVain && !looks))
                break;
        }
        return changed;
    }

    void wake() override {
        const std::uint64_t one = 1;
        [[maybe_unused]] const auto written = ::write(waker_.number(), &one, sizeof one);
    }

private:
    enum class Waited { forEvents, inVain, woken };

    /// Waits for events and takes them in.
    Waited waitForEvents(int milliseconds) {
        std::array<pollfd, 2> waiting{
            {{inotify_.number(), POLLIN, 0}, {waker_.number(), POLLIN, 0}}};
        const int ready = ::poll(waiting.data(), waiting.size(), milliseconds);
        if (ready < 0)
            return errno == EINTR ? Waited::forEvents : Waited::woken;
        if (waiting[0].revents != 0)
            takeEvents();
        if (waiting[1].revents == 0)
            return ready > 0 ? Waited::forEvents : Waited::inVain;
        std::uint64_t count = 0;
        [[maybe_unused]] const auto taken = ::read(waker_.number(), &count, sizeof count);
        return Waited::woken;
    }

    void takeEvents() {
        alignas(inotify_event) std::array<char, std::size_t{64} * 1024> buffer{};
        bool needsArming = false;
        for (;;) {
            const auto length = ::read(inotify_.number(), buffer.data(), buffer.size());
            if (length <= 0)
                break;
            for (const char* place = buffer.data(); place < buffer.data() + length;) {
                inotify_event event{};
                std::memcpy(&event, place, sizeof event);
                const char* const name = place + sizeof event;
                needsArming |= takeEvent(event, event.len == 0 ? "" : name);
                place += sizeof event + event.len;
            }
        }
        if (needsArming)
            arm();
    }

    /// Whether folders came or went, so that the watches have to be set anew.
    bool takeEvent(const inotify_event& event, const std::string& name) {
        if ((event.mask & IN_Q_OVERFLOW) != 0) {
            for (WatchedFile& file : files_)
                file.isChanged = true;
            return true;
        }
        if ((event.mask & IN_IGNORED) != 0)
            folders_.erase(event.wd);
        if ((event.mask & kGone) != 0)
            return true;
        const auto entries = entries_.find({event.wd, name});
        if (entries == entries_.end())
            return false;
        bool leadsDeeper = false;
        for (const Entry& entry : entries->second) {
            files_[entry.file].isChanged |= entry.isFile;
            leadsDeeper |= !entry.isFile;
        }
        // A link or a folder on the way was made, taken away, or changed for another one.
        return leadsDeeper || (event.mask & (IN_CREATE | IN_MOVED_TO)) != 0;
    }

    /// Watches, for each file, its folder and every link on the way to it, or the lowest folder
    /// that is there. What changed before its watch was set shows in its stamp.
    void arm() {
        const std::set<int> before = std::move(folders_);
        folders_.clear();
        entries_.clear();
        seesAll_ = true;
        for (std::size_t i = 0; i < files_.size(); ++i) {
            armWay(i);
            noteStamp(files_[i]);
        }
        for (const int number : before) {
            if (!folders_.contains(number))
                ::inotify_rm_watch(inotify_.number(), number);
        }
    }

    void armWay(std::size_t file) {
        std::string path = files_[file].path;
        for (int links = 0; links < kMostLinks; ++links) {
            armFolders(path, file);
            const auto target = linkTarget(path);
            if (!target)
                break;
            path = *target;
        }
    }

    /// Watches the folder of `path` and all that it lies in, as far as they are there: each may be
    /// renamed, and another one put in its place.
    void armFolders(const std::string& path, std::size_t file) {
        std::string entry = path;
        for (bool isFile = true; entry != "/"; isFile = false) {
            const std::string folder = folderOf(entry);
            const int number =
                ::inotify_add_watch(inotify_.number(), folder.c_str(),
                                    (isFile ? kEntryEvents : kWayEvents) | kFolderEvents);
            if (number >= 0) {
                folders_.insert(number);
                entries_[{number, nameOf(entry)}].push_back({file, isFile});
            } else if (errno == ENOSPC || errno == ENOMEM || (isFile && errno == EACCES)) {
                seesAll_ =
                    false; // a folder above that may not be read only hides renames of itself
            }
            entry = folder;
        }
    }

    static void noteStamp(WatchedFile& file) {
        std::string error;
        auto stamp = fileStamp(file.path, error);
        file.isChanged |= stamp != file.stamp;
        file.stamp = stamp;
    }

    std::vector<std::string> takeChanged() {
        std::vector<std::string> changed;
        for (WatchedFile& file : files_) {
            if (!std::exchange(file.isChanged, false))
                continue;
            changed.push_back(file.path);
            noteStamp(file);
            file.isChanged = false;
        }
        return changed;
    }

    /// What an entry of a watched folder is: a file that is watched, or something on the way to it.
    struct Entry {
        std::size_t file;
        bool isFile;
    };

    Descriptor inotify_;
    Descriptor waker_;
    bool seesAll_ = true; ///< else the files are looked at now and then
    std::vector<WatchedFile> files_;
    std::set<int> folders_; ///< the numbers of their watches
    std::map<std::pair<int, std::string>, std::vector<Entry>> entries_;
};

} // namespace

std::unique_ptr<FileWatch> watchFiles(const std::vector<std::string>& paths, std::string& error) {
    Descriptor inotify(::inotify_init1(IN_CLOEXEC | IN_NONBLOCK));
    Descriptor waker(inotify.isOpen() ? ::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK) : -1);
    if (!waker.isOpen()) {
        error = wordingOf(errno);
        return nullptr;
    }
    for (const std::string& path : paths) {
        if (path.size() < 2 || path.front() != '/') {
            error = "not an absolute path: " + path;
            return nullptr;
        }
    }
    return std::make_unique<InotifyWatch>(std::move(inotify), std::move(waker), paths);
}

} // namespace cutstack
