#include "platform/linux/TreeWalk.h"

#include "platform/SystemErrors.h"

#include "platform/linux/FolderTrail.h"

#include <dirent.h>
#include <fcntl.h>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

namespace cutstack {

namespace {

/// The names in an open folder; nothing, with errno, when they cannot be read.
std::optional<std::vector<std::string>> namesIn(const Descriptor& folder) {
    const int number = ::fcntl(folder.number(), F_DUPFD_CLOEXEC, 0);
    const std::unique_ptr<DIR, int (*)(DIR*)> listing(number < 0 ? nullptr : ::fdopendir(number),
                                                      &::closedir);
    if (!listing) {
        const Descriptor unused(number);
        return std::nullopt;
    }
    std::vector<std::string> names;
    errno = 0;
    while (const dirent* entry = ::readdir(listing.get())) {
        std::string name(entry->d_name);
        if (name != "." && name != "..")
            names.push_back(std::move(name));
        errno = 0;
    }
    return errno == 0 ? std::optional(std::move(names)) : std::nullopt;
}

class TreeWalk {
public:
    TreeWalk(const Descriptor& parent, std::string path, TreeVisitor& visitor, PathFault& fault)
        : trail_(parent), path_(std::move(path)), visitor_(visitor), fault_(fault) {}

    bool run(const std::string& name) {
        bool goesOn = meet(name);
        while (goesOn && !levels_.empty())
            goesOn = levels_.back().ahead.empty() ? leave() : meetNext();
        return goesOn;
    }

private:
    /// A folder that the walk is in.
    struct Level {
        std::string name;
        struct stat status {};
        std::vector<std::string> ahead; ///< what has not been met yet
    };

    bool meetNext() {
        const std::string name = std::move(levels_.back().ahead.back());
        levels_.back().ahead.pop_back();
        if (!path_.ends_with('/'))
            path_ += '/';
        path_ += name;
        return meet(name);
    }

    bool meet(const std::string& name) {
        struct stat status {};
        if (::fstatat(trail_.here().number(), name.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0)
            return fail();
        if (S_ISDIR(status.st_mode))
            return visitor_.reach(item(name, status)) && enter(name);
        const bool goesOn = visitor_.visit(item(name, status));
        shortenPath(name);
        return goesOn;
    }

    bool enter(const std::string& name) {
        const bool isTop = levels_.empty();
        Level level{name, {}, {}};
        if (!trail_.enter(name) || ::fstat(trail_.here().number(), &level.status) != 0)
            return fail();
        auto names = namesIn(trail_.here());
        if (!names)
            return fail();
        level.ahead = std::move(*names);
        levels_.push_back(std::move(level));
        const Level& entered = levels_.back();
        return visitor_.enter({trail_.here(), entered.name, path_, entered.status, isTop});
    }

    bool leave() {
        const Level left = std::move(levels_.back());
        levels_.pop_back();
        const auto folder = trail_.leave();
        if (!folder)
            return fail();
        const bool goesOn = visitor_.leave(item(left.name, left.status), *folder);
        shortenPath(left.name);
        return goesOn;
    }

    [[nodiscard]] TreeItem item(const std::string& name, const struct stat& status) const {
        return {trail_.here(), name, path_, status, levels_.empty()};
    }

    /// Takes off the name that meetNext() has added.
    void shortenPath(const std::string& name) {
        if (levels_.empty())
            return;
        path_.resize(path_.size() - name.size());
        if (path_.size() > 1)
            path_.pop_back();
    }

    bool fail() {
        fault_ = errno == ESTALE ? PathFault{path_, "It was moved meanwhile", true}
                                 : PathFault::ofNumber(path_, errno);
        return false;
    }

    FolderTrail trail_;
    std::vector<Level> levels_;
    std::string path_;
    TreeVisitor& visitor_;
    PathFault& fault_;
};

} // namespace

PathFault PathFault::ofNumber(std::string path, int number) {
    const bool isFull = number == ENOSPC || number == EDQUOT || number == EFBIG;
    return {std::move(path), wordingOf(number), isFull};
}

bool walkTree(const Descriptor& parent, const std::string& name, const std::string& path,
              TreeVisitor& visitor, PathFault& fault) {
    return TreeWalk(parent, path, visitor, fault).run(name);
}

} // namespace cutstack
