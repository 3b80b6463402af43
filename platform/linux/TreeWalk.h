#pragma once

// Goes through everything below a folder, in no particular order, without recursion and without
// following links. What is done on the way is a visitor's business: counting, copying, removing.
// Each walk belongs to one thread.

#include <string>

#include <sys/stat.h>

#include "platform/linux/Descriptor.h"

namespace cutstack {

/// Where something went wrong, and why. No reason: nothing did.
struct PathFault {
    std::string path;
    std::string reason;
    bool isAnybodys = false; ///< more rights do not help

    /// The fault with errno's `number`.
    [[nodiscard]] static PathFault ofNumber(std::string path, int number);
};

/// Something that a walk has come to.
struct TreeItem {
    const Descriptor& folder; ///< in which it is
    const std::string& name;
    const std::string& path; ///< for people; nothing is opened by it
    const struct stat& status;
    bool isTop = false; ///< where the walk began
};

/// Each function answers whether to go on.
class TreeVisitor {
public:
    virtual ~TreeVisitor() = default;

    /// Something that is no folder.
    virtual bool visit(const TreeItem& item) = 0;
    /// A folder that is going to be opened.
    virtual bool reach(const TreeItem&) { return true; }
    /// The same folder, open and listed; what is in it comes next. Here `folder.folder` is itself.
    virtual bool enter(const TreeItem& folder) = 0;
    /// The same folder after all that is in it. It is still open as `opened`.
    virtual bool leave(const TreeItem& folder, const Descriptor& opened) = 0;
};

/// Shows `visitor` what is called `name` in the open folder `parent`, and all that is in it; `path`
/// is what people call it. Returns false when the visitor doesn't want to go on, and when the walk
/// cannot, which is then noted in `fault`. What vanishes between listing and looking is a fault:
/// it may have got a new name that the walk does not come to.
[[nodiscard]] bool walkTree(const Descriptor& parent, const std::string& name,
                            const std::string& path, TreeVisitor& visitor, PathFault& fault);

} // namespace cutstack
