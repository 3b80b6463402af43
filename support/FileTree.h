#pragma once

// Walking through a folder and everything below it. Links are never followed, also not those that
// somebody puts in a folder's place during the walk; a tree of any depth takes two open folders
// only. Any thread.

#include <string>

struct stat;

namespace cutstack {

/// What a walk has come to. Valid during the call that hands it over.
struct FileTreeItem {
    int folder;              ///< open folder in which the item lies
    const std::string& name; ///< its name there
    const std::string& path; ///< from the top of the walk; empty for the top itself
    const struct stat& status;
};

/// Told of the items. What it answers ends the walk, unless it is 0.
class FileTreeVisitor {
public:
    virtual ~FileTreeVisitor() = default;

    /// Every item, a folder before what is in it.
    virtual int visit(const FileTreeItem& item) = 0;
    /// A folder, when all that is in it was visited. `fault` is errno's number when it could not be
    /// looked into, so that nothing in it was visited.
    virtual int leave(const FileTreeItem& /*folder*/, int /*fault*/) { return 0; }
};

/// Visits what is at `path`, and everything in it when it is a folder; each folder's items in the
/// order of their bytes. What vanishes meanwhile is left out.
/// Returns 0, what the visitor answered, or errno's number when the walk cannot go on: nothing is
/// at `path`, or a folder was moved during the walk.
[[nodiscard]] int walkTree(const std::string& path, FileTreeVisitor& visitor);

} // namespace cutstack
