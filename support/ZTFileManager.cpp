#include "support/ZTFileManager.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <unistd.h>

#include "platform/SystemErrors.h"
#include "support/AtomicFile.h"
#include "support/FolderListing.h"
#include "support/PlainFiles.h"
#include "support/Unicode.h"

namespace cutstack {

namespace {

using Path = ZTFileManager::Path;
using Paths = ZTFileManager::Paths;

constexpr std::chrono::milliseconds kWaitForEvent{10};
constexpr std::chrono::milliseconds kWaitBetweenLooks{300};
constexpr FileServices::Seconds kTouchTimeout{5};
constexpr std::size_t kTypeCodeLength = 4;

std::string itemName(const std::string& path) {
    return std::string(fileNameOf(withoutSlashAtEnd(path)));
}

std::string folderOf(const std::string& path) {
    return std::filesystem::path(withoutSlashAtEnd(path)).parent_path().string();
}

/// What follows on the failure of the plain operation.
template <typename Operation>
bool fallBack(std::string_view line, const std::string& error, bool shouldAuth,
              const FileServices& at, Operation privileged) {
    at.log.appendLog(line, error);
    return shouldAuth && privileged();
}

/// copyFile() where nothing is locked.
bool copyUnlocked(const std::string& source, const std::string& destination, bool shouldAuth,
                  const FileServices& at) {
    std::string error;
    const auto goOn = [](const CopyProgress&) { return true; };
    const CopyEnd end = copyItem(source, destination, at.copier, goOn, error);
    if (end == CopyEnd::copied)
        return true;
    const bool mayHelp = shouldAuth && end != CopyEnd::failedForAnybody;
    return fallBack("Error copying file: %@. Authorizing...", error, mayHelp, at,
                    [&] { return at.privileged.copyFile(source, destination); });
}

/// Whether `isVisible` comes true before `end`.
template <typename Outcome>
bool waitUntil(std::chrono::steady_clock::time_point end, const FileServices& at,
               Outcome isVisible) {
    bool isThere = isVisible();
    while (!isThere && at.clock.now() < end) {
        if (at.mainThread.isMainThread())
            at.mainThread.runPending(kWaitForEvent);
        else
            at.clock.sleep(kWaitBetweenLooks);
        isThere = isVisible();
    }
    return isThere;
}

template <typename Outcome>
bool waitFor(std::chrono::seconds timeout, const FileServices& at, Outcome isVisible) {
    return waitUntil(at.clock.now() + timeout, at, isVisible);
}

/// Moves the items of a folder to the Trash that `matches` picks; the paths that they had.
template <typename Rule>
Paths trashMatching(const std::string& folder, const FileServices& at, Rule matches) {
    Paths trashed;
    for (const std::string& name : namesInFolder(folder).value_or(Paths())) {
        std::string path = pathInFolder(folder, name);
        if (matches(name, path) && ZTFileManager::trashFile(path, true, at))
            trashed.push_back(std::move(path));
    }
    return trashed;
}

/// Removes the folder with the few things in it that do not count. Only these are named, so that
/// nothing goes that has come meanwhile. Returns 0 or errno's number.
int removeEmptyFolder(const std::string& folder) {
    for (const std::string_view name : kNamesNotCounted)
        if (std::remove(pathInFolder(folder, name).c_str()) != 0 && errno != ENOENT)
            return errno;
    return ::rmdir(folder.c_str()) == 0 ? 0 : errno;
}

} // namespace

bool ZTFileManager::moveFile(const std::string& path, const std::string& toPath, bool shouldAuth,
                             const FileServices& at) {
    unlockFile(toPath, at);
    unlockFolder(pathInFolder(toPath, itemName(path)), at);
    std::string error;
    const MoveEnd end = moveItem(path, toPath, at.mover, at.copier, error);
    if (end == MoveEnd::moved)
        return true;
    const bool mayHelp = shouldAuth && end != MoveEnd::failedForAnybody;
    return fallBack("Error moving file: %@. Authorizing...", error, mayHelp, at, [&] {
        // Of a copy that is whole only the source is too much; moving would copy it once more.
        return end == MoveEnd::copied ? at.privileged.removeFile(path)
                                      : at.privileged.moveFile(path, toPath);
    });
}

bool ZTFileManager::copyFile(const Path& path, const Path& toPath, bool shouldAuth,
                             const FileServices& at) {
    if (!path) {
        at.log.appendLogAndPrint("Error copying file: source path is nil");
        return false;
    }
    if (!toPath) {
        at.log.appendLogAndPrint("Error copying file %@: destination path is nil",
                                 std::array{FormatArgument(*path)});
        return false;
    }
    unlockFolder(folderOf(*toPath), at);
    return copyUnlocked(*path, *toPath, shouldAuth, at);
}

bool ZTFileManager::createDirectory(const std::string& path, bool shouldAuth,
                                    const FileServices& at) {
    const int fault = makeFolders(path);
    return fault == 0 ||
           fallBack("Error creating folder: %@. Authorizing...", wordingOf(fault), shouldAuth, at,
                    [&] { return at.privileged.createDirectory(path); });
}

bool ZTFileManager::removeFile(const std::string& path, bool shouldAuth, const FileServices& at) {
    unlockFile(path, at);
    const int fault = removeItem(path);
    if (fault == 0 || nothingIsAt(path))
        return true;
    return fallBack("Error removing file: %@. Authorizing...", wordingOf(fault), shouldAuth, at,
                    [&] { return at.privileged.removeFile(path); });
}

bool ZTFileManager::trashFile(const std::string& path, bool shouldAuth, const FileServices& at) {
    unlockFile(path, at);
    std::string error;
    if (nothingIsAt(path) || at.trash.moveToTrash(path, error))
        return true;
    at.log.console().log(formatString("Unable to move %@ to the Trash: %@", {path, error}));
    return shouldAuth && at.privileged.trashFile(path);
}

bool ZTFileManager::trashDirectoryContents(const std::string& folder, bool shouldAuth,
                                           const FileServices& at) {
    const auto names = namesInFolder(folder);
    bool allWent = names.has_value();
    for (const std::string& name : names.value_or(Paths()))
        allWent = trashFile(pathInFolder(folder, name), shouldAuth, at) && allWent;
    return allWent;
}

bool ZTFileManager::moveFile(const std::string& path, const std::string& toPath,
                             std::chrono::seconds timeout, const FileServices& at) {
    return moveFile(path, toPath, true, at) &&
           waitFor(timeout, at, [&] { return somethingIsAt(toPath); });
}

bool ZTFileManager::copyFile(const Path& path, const Path& toPath, std::chrono::seconds timeout,
                             const FileServices& at) {
    return copyFile(path, toPath, true, at) &&
           waitFor(timeout, at, [&] { return somethingIsAt(*toPath); });
}

bool ZTFileManager::copyContentsOfDirectory(const std::string& folder, const std::string& toPath,
                                            std::chrono::seconds timeout, const FileServices& at) {
    const auto end = at.clock.now() + timeout;
    const auto names = namesInFolder(folder); // what the copy itself adds does not count
    if (!names) {
        at.log.appendLog("Error copying contents of folder %@: it can't be listed", folder);
        return false;
    }
    if (!createDirectory(toPath, timeout, at))
        return false;
    unlockFolder(toPath, at);
    bool allAreThere = true;
    Paths expected;
    for (const std::string& name : *names) {
        expected.push_back(pathInFolder(toPath, name));
        allAreThere =
            copyUnlocked(pathInFolder(folder, name), expected.back(), true, at) && allAreThere;
    }
    return allAreThere &&
           waitUntil(end, at, [&] { return std::ranges::all_of(expected, somethingIsAt); });
}

bool ZTFileManager::createDirectory(const std::string& path, std::chrono::seconds timeout,
                                    const FileServices& at) {
    return createDirectory(path, true, at) &&
           waitFor(timeout, at, [&] { return somethingIsAt(path); });
}

bool ZTFileManager::removeFile(const std::string& path, std::chrono::seconds timeout,
                               const FileServices& at) {
    return removeFile(path, true, at) && waitFor(timeout, at, [&] { return nothingIsAt(path); });
}

bool ZTFileManager::trashFile(const std::string& path, std::chrono::seconds timeout,
                              const FileServices& at) {
    return trashFile(path, true, at) && waitFor(timeout, at, [&] { return nothingIsAt(path); });
}

bool ZTFileManager::removeFolderIfEmpty(const std::string& folder, const FileServices& at) {
    if (!isFolderEmpty(folder))
        return false;
    unlockFile(folder, at);
    const int fault = removeEmptyFolder(folder);
    if (fault == 0)
        return true;
    const bool lacksRights = fault == EACCES || fault == EPERM;
    return fallBack("Error removing file: %@. Authorizing...", wordingOf(fault), lacksRights, at,
                    [&] { return at.privileged.removeFile(folder); });
}

Path ZTFileManager::createDirectoryStructure(const std::string& path,
                                             const std::string& destination,
                                             const FileServices& at) {
    std::string innermost = withoutSlashAtEnd(destination);
    for (const std::filesystem::path& component : std::filesystem::path(path).relative_path()) {
        if (component == "..")
            return std::nullopt;
        if (!component.empty() && component != ".")
            innermost = pathInFolder(innermost == "/" ? "" : innermost, component.string());
    }
    return createDirectory(innermost, true, at) ? Path(innermost) : std::nullopt;
}

Paths ZTFileManager::trashFilesNamed(std::string_view name, const std::string& folder,
                                     const FileServices& at) {
    return trashMatching(folder, at, [&](const std::string& item, const std::string& /*path*/) {
        return item == name;
    });
}

Paths ZTFileManager::trashFilesOfType(std::string_view type, const std::string& folder,
                                      const FileServices& at) {
    if (type.empty())
        return {};
    const std::string wanted = caseFolded(type);
    return trashMatching(folder, at, [&](const std::string& item, const std::string& path) {
        return caseFolded(pathExtension(item)) == wanted ||
               (type.size() == kTypeCodeLength && at.finderMetadata.hfsTypeCode(path) == type);
    });
}

bool ZTFileManager::touchFile(const Path& path, const FileServices& at) {
    if (!path)
        return false;
    const std::string tool = "/usr/bin/touch";
    const std::vector<std::string> arguments = {"-c", asOperand(*path)};
    if (::access(path->c_str(), W_OK) != 0)
        return at.privileged.execTask(tool, arguments) == 0;
    static_cast<void>(at.runTool(tool, arguments, kTouchTimeout));
    return true;
}

bool ZTFileManager::compressFile(const std::string& source, const std::string& destination,
                                 const FileServices& at) {
    if (!nothingIsAt(destination) && !trashFile(destination, false, at))
        return false;
    return at.runTool("/usr/bin/ditto",
                      {"-ck", "--keepParent", asOperand(source), asOperand(destination)},
                      std::nullopt) &&
           somethingIsAt(destination);
}

bool ZTFileManager::registerApplicationWithLaunchServices(const std::string& bundlePath,
                                                          const FileServices& at) {
    return at.registerApplication(bundlePath);
}

} // namespace cutstack
