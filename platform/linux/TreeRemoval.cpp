#include "platform/linux/TreeRemoval.h"

#include <fcntl.h>

namespace cutstack {

namespace {

/// Goes on after failures: whatever can be removed goes.
class Removal final : public TreeVisitor {
public:
    bool visit(const TreeItem& item) override { return remove(item, 0); }
    bool reach(const TreeItem& folder) override {
        // Where this fails, opening it fails, too.
        static_cast<void>(::fchmodat(folder.folder.number(), folder.name.c_str(), S_IRWXU,
                                     AT_SYMLINK_NOFOLLOW) == 0);
        return true;
    }
    bool enter(const TreeItem&) override { return true; }
    bool leave(const TreeItem& folder, const Descriptor&) override {
        return remove(folder, AT_REMOVEDIR);
    }

    [[nodiscard]] bool isComplete() const { return isComplete_; }

private:
    bool remove(const TreeItem& item, int flags) {
        if (::unlinkat(item.folder.number(), item.name.c_str(), flags) != 0 && errno != ENOENT)
            isComplete_ = false;
        return true;
    }

    bool isComplete_ = true;
};

} // namespace

bool removeTree(const Descriptor& parent, const std::string& name) {
    struct stat status {};
    if (::fstatat(parent.number(), name.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0)
        return errno == ENOENT;
    Removal removal;
    PathFault fault;
    return walkTree(parent, name, name, removal, fault) && removal.isComplete();
}

} // namespace cutstack
