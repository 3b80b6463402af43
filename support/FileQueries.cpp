// What ZTFileManager answers about files, and their locks.

#include <algorithm>
#include <filesystem>
#include <sys/stat.h>
#include <system_error>

#include "support/AtomicFile.h"
#include "support/FileTree.h"
#include "support/FolderListing.h"
#include "support/PlainFiles.h"
#include "support/ZTFileManager.h"

namespace cutstack {

namespace {

namespace fs = std::filesystem;

/// Sets or clears the locks of all that is in a folder.
class LockSetter final : public FileTreeVisitor {
public:
    LockSetter(std::string folder, bool immutable, const FileFlags& flags)
        : folder_(std::move(folder)), immutable_(immutable), flags_(flags) {}

    int visit(const FileTreeItem& item) override {
        if (!item.path.empty())
            flags_.setImmutable(pathInFolder(folder_, item.path), immutable_);
        return 0;
    }

private:
    const std::string folder_;
    const bool immutable_;
    const FileFlags& flags_;
};

void setLocks(const std::string& path, bool immutable, const FileFlags& flags) {
    const std::string folder = withoutSlashAtEnd(endOfLinks(path).value_or(path));
    LockSetter setter(folder, immutable, flags);
    static_cast<void>(walkTree(folder, setter)); // what cannot be reached keeps its lock
}

class SizeSum final : public FileTreeVisitor {
public:
    int visit(const FileTreeItem& item) override {
        if (S_ISREG(item.status.st_mode))
            sum_ += static_cast<std::uint64_t>(item.status.st_size);
        return 0;
    }
    [[nodiscard]] std::uint64_t sum() const { return sum_; }

private:
    std::uint64_t sum_ = 0;
};

} // namespace

void ZTFileManager::lockFile(const std::string& path, const FileServices& at) {
    at.flags.setImmutable(path, true);
}

void ZTFileManager::unlockFile(const std::string& path, const FileServices& at) {
    at.flags.setImmutable(path, false);
}

void ZTFileManager::lockFolder(const std::string& path, const FileServices& at) {
    setLocks(path, true, at.flags);
}

void ZTFileManager::unlockFolder(const std::string& path, const FileServices& at) {
    setLocks(path, false, at.flags);
}

bool ZTFileManager::isFileLocked(const std::string& path, const FileServices& at) {
    return at.flags.isImmutable(path);
}

bool ZTFileManager::fileExistsAtPath(const std::string& path) {
    std::error_code fault;
    return fs::exists(path, fault);
}

bool ZTFileManager::isDirectoryAtPath(const std::string& path) {
    std::error_code fault;
    return fs::is_directory(path, fault);
}

bool ZTFileManager::isPackageAtPath(const std::string& path, const FileServices& at) {
    return at.isFilePackage(path);
}

bool ZTFileManager::isSymbolicLinkAtPath(const std::string& path) {
    std::error_code fault;
    return fs::is_symlink(path, fault);
}

std::uint64_t ZTFileManager::fileSize(const std::string& path) {
    const auto target = endOfLinks(path);
    SizeSum size;
    // What was counted before the walk broke off is the best answer that there is.
    if (target)
        static_cast<void>(walkTree(*target, size));
    return size.sum();
}

bool ZTFileManager::isFolderEmpty(const std::string& folder) {
    const auto names = namesInFolder(folder);
    return names && std::ranges::all_of(*names, [&](const std::string& name) {
               return std::ranges::find(kNamesNotCounted, name) != kNamesNotCounted.end();
           });
}

} // namespace cutstack
