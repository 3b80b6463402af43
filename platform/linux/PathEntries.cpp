#include "platform/linux/PathEntries.h"

#include <algorithm>
#include <filesystem>
#include <sys/stat.h>
#include <system_error>

namespace cutstack {

namespace {

namespace fs = std::filesystem;

constexpr int kMostLinks = 40;

/// Goes along a path name by name.
class PathWalk {
public:
    explicit PathWalk(const fs::path& path) { goOnWith(path); }

    std::vector<FileIdentity> entries() {
        bool goesOn = enter(here_);
        while (goesOn && !ahead_.empty()) {
            const fs::path name = ahead_.back();
            ahead_.pop_back();
            if (name == "..")
                here_ = here_.parent_path();
            else if (!name.empty() && name != ".")
                goesOn = enter(here_ / name);
        }
        return entries_;
    }

private:
    /// Notes what is at `entry` and goes there, or to where it points as a link.
    bool enter(const fs::path& entry) {
        struct stat status {};
        if (::lstat(entry.c_str(), &status) != 0)
            return false;
        entries_.push_back(identityOf(status));
        if (!S_ISLNK(status.st_mode)) {
            here_ = entry;
            return true;
        }
        std::error_code fault;
        goOnWith(fs::read_symlink(entry, fault));
        return !fault && ++links_ <= kMostLinks;
    }

    void goOnWith(const fs::path& path) {
        if (path.is_absolute())
            here_ = "/";
        const fs::path relative = path.relative_path();
        const std::vector<fs::path> names(relative.begin(), relative.end());
        ahead_.insert(ahead_.end(), names.rbegin(), names.rend());
    }

    fs::path here_;               ///< a folder; no link leads to it
    std::vector<fs::path> ahead_; ///< names to go to from there, the next one last
    std::vector<FileIdentity> entries_;
    int links_ = 0;
};

} // namespace

FileIdentity identityOf(const struct stat& status) { return {status.st_dev, status.st_ino}; }

std::vector<FileIdentity> entriesOnTheWay(const std::string& path) {
    return PathWalk(path).entries();
}

} // namespace cutstack
