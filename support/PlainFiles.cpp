#include "support/PlainFiles.h"

#include <cerrno>
#include <fcntl.h>
#include <filesystem>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

#include "platform/SystemErrors.h"
#include "support/FileTree.h"
#include "support/FolderListing.h"

namespace cutstack {

namespace {

class Removal final : public FileTreeVisitor {
public:
    int visit(const FileTreeItem& item) override {
        return S_ISDIR(item.status.st_mode) ? 0 : unlinked(item, 0);
    }
    int leave(const FileTreeItem& folder, int fault) override {
        const int end = unlinked(folder, AT_REMOVEDIR);
        return end != 0 && fault != 0 ? fault : end;
    }

private:
    static int unlinked(const FileTreeItem& item, int flags) {
        const bool isGone =
            ::unlinkat(item.folder, item.name.c_str(), flags) == 0 || errno == ENOENT;
        return isGone ? 0 : errno;
    }
};

/// The folder that an item lies in.
std::string folderOf(const std::string& path) {
    const std::filesystem::path folder =
        std::filesystem::path(withoutSlashAtEnd(path)).parent_path();
    return folder.empty() ? "." : folder.string();
}

/// Whether `path` would lie in the folder `folder`, whatever links lead there.
bool liesWithin(const std::string& path, const std::string& folder) {
    std::error_code fault;
    if (std::filesystem::symlink_status(folder, fault).type() !=
        std::filesystem::file_type::directory)
        return false;
    const auto outer = std::filesystem::canonical(folder, fault);
    const auto inner = fault ? outer : std::filesystem::canonical(folderOf(path), fault);
    return !fault && (inner == outer || inner.string().starts_with(outer.string() + "/"));
}

/// Moves by a copy, when the source is likely to go.
MoveEnd moveByCopy(const std::string& source, const std::string& destination,
                   const FileCopier& copier, std::string& error) {
    if (::access(folderOf(source).c_str(), W_OK | X_OK) != 0) {
        error = wordingOf(errno);
        return MoveEnd::failed;
    }
    const auto goOn = [](const CopyProgress&) { return true; };
    const CopyEnd end = copyItem(source, destination, copier, goOn, error);
    if (end != CopyEnd::copied)
        return end == CopyEnd::failedForAnybody ? MoveEnd::failedForAnybody : MoveEnd::failed;
    const int fault = removeItem(source);
    if (fault != 0)
        error = wordingOf(fault);
    return fault == 0 ? MoveEnd::moved : MoveEnd::copied;
}

} // namespace

bool somethingIsAt(const std::string& path) {
    struct stat status {};
    errno = ENOENT;
    return path.find('\0') == std::string::npos && ::lstat(path.c_str(), &status) == 0;
}

bool nothingIsAt(const std::string& path) {
    return !somethingIsAt(path) && (errno == ENOENT || errno == ENOTDIR);
}

CopyEnd copyItem(const std::string& source, const std::string& destination,
                 const FileCopier& copier, const FileCopier::Observer& observer,
                 std::string& error) {
    const int fault = somethingIsAt(destination)        ? EEXIST
                      : liesWithin(destination, source) ? EINVAL
                                                        : 0;
    if (fault == 0)
        return copier.copy(source, destination, observer, error);
    error = wordingOf(fault);
    return fault == EINVAL ? CopyEnd::failedForAnybody : CopyEnd::failed;
}

MoveEnd moveItem(const std::string& source, const std::string& destination, const FileMover& mover,
                 const FileCopier& copier, std::string& error) {
    const int fault = mover.rename(source, destination);
    if (fault == EXDEV)
        return moveByCopy(source, destination, copier, error);
    if (fault == 0)
        return MoveEnd::moved;
    error = wordingOf(fault);
    return fault == EINVAL ? MoveEnd::failedForAnybody : MoveEnd::failed;
}

int removeItem(const std::string& path) {
    const std::string item = withoutSlashAtEnd(path);
    const std::string_view name = fileNameOf(item);
    if (name.empty() || name == "." || name == "..")
        return EBUSY;
    Removal removal;
    return walkTree(item, removal);
}

} // namespace cutstack
