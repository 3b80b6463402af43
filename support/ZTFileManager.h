#pragma once

// The program's file operations: class functions without state, for any thread.
//
// Where the user's own rights do not suffice, an operation logs why and, if it may, has an
// administrator's rights do the same (`shouldAuth`). That returns when the privileged tool was
// started, so that its outcome is not there yet; the forms with a `timeout` wait for it. On the
// main thread they let the window handle events meanwhile.
//
// Nothing that stands in the way is replaced by the user's own rights; the privileged tools do
// replace files. What an operation removes, moves or counts is a link itself and not its target.

#include <any>
#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/FileReference.h"
#include "support/FileOperation.h"
#include "support/FileServices.h"
#include "support/FinderLabels.h"

namespace cutstack {

class ZTFileManager {
public:
    using Path = std::optional<std::string>;
    using Paths = std::vector<std::string>;
    using Services = FileServices;

    // --- With the fall-back. True when it was done, or when the privileged tool was started. A
    // failure leaves everything as it was, but for locks that were cleared; a tree whose removal
    // failed may have lost a part. What fails whatever the rights are, as on a full disk, is not
    // handed on: the tools would leave half a copy. A copy that fails for a reason that rights do
    // not change, such as a full disk, is not handed on.

    /// Clears the locks of `toPath` and of everything in its item of the source's name first;
    /// that the destination is unlocked and not the source is deliberate.
    static bool moveFile(const std::string& path, const std::string& toPath, bool shouldAuth = true,
                         const Services& at = Services::ofProcess());
    /// Clears the locks of everything in the folder of `toPath` first. A missing path is refused.
    static bool copyFile(const Path& path, const Path& toPath, bool shouldAuth = true,
                         const Services& at = Services::ofProcess());
    /// Makes the folder and those that it lies in; one that is there is a success.
    static bool createDirectory(const std::string& path, bool shouldAuth = true,
                                const Services& at = Services::ofProcess());
    /// Clears the lock of the item first. Nothing at `path` is a success.
    static bool removeFile(const std::string& path, bool shouldAuth = true,
                           const Services& at = Services::ofProcess());
    /// The same, into the Trash. The reason of a failure is a line in the system log.
    static bool trashFile(const std::string& path, bool shouldAuth = true,
                          const Services& at = Services::ofProcess());
    /// trashFile() for every item of the folder, whatever becomes of the others. True when the
    /// folder could be listed and every item went.
    static bool trashDirectoryContents(const std::string& folder, bool shouldAuth = true,
                                       const Services& at = Services::ofProcess());

    // --- Waiting until the outcome shows, for `timeout` at most; whether it does. At once false
    // when the operation itself answers false.

    static bool moveFile(const std::string& path, const std::string& toPath,
                         std::chrono::seconds timeout, const Services& at = Services::ofProcess());
    static bool copyFile(const Path& path, const Path& toPath, std::chrono::seconds timeout,
                         const Services& at = Services::ofProcess());
    /// copyFile() for every item of `folder` into `toPath`, which is made if need be. Every item is
    /// tried; false when one of them, or the list of them, failed.
    static bool copyContentsOfDirectory(const std::string& folder, const std::string& toPath,
                                        std::chrono::seconds timeout,
                                        const Services& at = Services::ofProcess());
    static bool createDirectory(const std::string& path, std::chrono::seconds timeout,
                                const Services& at = Services::ofProcess());
    static bool removeFile(const std::string& path, std::chrono::seconds timeout,
                           const Services& at = Services::ofProcess());
    static bool trashFile(const std::string& path, std::chrono::seconds timeout,
                          const Services& at = Services::ofProcess());

    // --- Locks (FileFlags). Failures are ignored. Those of a folder concern everything in it,
    // in its sub-folders too, and deliberately not the folder itself.

    static void lockFile(const std::string& path, const Services& at = Services::ofProcess());
    static void unlockFile(const std::string& path, const Services& at = Services::ofProcess());
    static void lockFolder(const std::string& path, const Services& at = Services::ofProcess());
    static void unlockFolder(const std::string& path, const Services& at = Services::ofProcess());
    [[nodiscard]] static bool isFileLocked(const std::string& path,
                                           const Services& at = Services::ofProcess());

    // --- Queries. A link is what it leads to.

    [[nodiscard]] static bool fileExistsAtPath(const std::string& path);
    [[nodiscard]] static bool isDirectoryAtPath(const std::string& path);
    [[nodiscard]] static bool isPackageAtPath(const std::string& path,
                                              const Services& at = Services::ofProcess());
    [[nodiscard]] static bool isSymbolicLinkAtPath(const std::string& path);
    /// A reference that follows the item; nothing for a path that leads nowhere.
    [[nodiscard]] static std::optional<FileReference> stringToFSRef(const std::string& path) {
        std::string ignored;
        return FileReference::toPath(path, ignored);
    }
    /// Where the item is now.
    [[nodiscard]] static Path stringWithFSRef(const FileReference& reference) {
        return reference.path();
    }
    /// Bytes. Of a folder those of all regular files below it, links in it not followed and what
    /// cannot be looked into left out; 0 for what is not there.
    [[nodiscard]] static std::uint64_t fileSize(const std::string& path);
    /// Whether the folder lists nothing but ".DS_Store", "Icon" and "Icon\r"; no for what cannot be
    /// listed.
    [[nodiscard]] static bool isFolderEmpty(const std::string& folder);

    // --- More operations.

    /// Removes the folder when isFolderEmpty() says so; whether it was removed. What comes into it
    /// meanwhile stays, and so does the folder.
    static bool removeFolderIfEmpty(const std::string& folder,
                                    const Services& at = Services::ofProcess());
    /// Makes the folders that `path` names below `destination`: of "/Reels/One" and "/Archive" the
    /// folder "/Archive/Reels/One", whose path is answered. Nothing when one of them could not be
    /// made, or when `path` leads upwards ("..").
    [[nodiscard]] static Path createDirectoryStructure(const std::string& path,
                                                       const std::string& destination,
                                                       const Services& at = Services::ofProcess());
    /// Moves the items of the folder with exactly that name to the Trash. The paths that they had,
    /// of those that went.
    static Paths trashFilesNamed(std::string_view name, const std::string& folder,
                                 const Services& at = Services::ofProcess());
    /// The same for the items with that extension, whatever its case, or with exactly that
    /// four-letter type. An empty type is none.
    static Paths trashFilesOfType(std::string_view type, const std::string& folder,
                                  const Services& at = Services::ofProcess());
    /// Makes the present the time of the file's last change; a missing file is not made. Whether
    /// that could be asked for.
    static bool touchFile(const Path& path, const Services& at = Services::ofProcess());
    /// Makes a zip archive of the item with its own name. What is at `destination` goes to the
    /// Trash first; when it can't, nothing is done. Whether the archive is there.
    static bool compressFile(const std::string& source, const std::string& destination,
                             const Services& at = Services::ofProcess());
    static bool registerApplicationWithLaunchServices(const std::string& bundlePath,
                                                      const Services& at = Services::ofProcess());
    /// Tells the Finder that the item changed; failures are ignored.
    static void notifyFileSystemChanged(const std::string& path,
                                        const Services& at = Services::ofProcess());

    // --- Names.

    /// `path` while nothing is there, otherwise the first that is free of "Report 2.txt",
    /// "Report 3.txt", ... Nothing is made; somebody else may take the name meanwhile.
    [[nodiscard]] static std::string uniqueFilename(const std::string& path);
    /// `name` without a dot at its beginning, white space around it, slashes and colons; may be
    /// empty.
    [[nodiscard]] static std::string validateFilename(std::string_view name);
    /// "1023 B", "1.00 KB", ...; each unit is 1024 of the one before.
    [[nodiscard]] static std::string formatFileSize(double bytes);

    /// The paths that `pattern` stands for below `basePath` (below "/" without one), in the order
    /// of folder listings. Only components with a "*" are patterns (matchesWildcards()), hidden
    /// items count, and what does not exist is left out. A pattern without any "*" is answered as a
    /// path, whether or not that exists.
    [[nodiscard]] static Paths filesMatchingWildcardPath(const std::string& pattern,
                                                         const Path& basePath = std::nullopt);
    /// The first of them; without any the pattern itself as a path.
    [[nodiscard]] static std::string decodeWildcardPath(const std::string& pattern,
                                                        const Path& basePath);

    // --- Finder labels (FinderLabels.h).

    /// 0, 2, ... 14; 0 also for what cannot be read.
    [[nodiscard]] static int finderColorIndexForPath(const std::string& path,
                                                     const Services& at = Services::ofProcess());
    /// Changes the label and no other flag; false, with nothing changed, when that is refused.
    static bool setFinderColorIndex(int index, const std::string& path,
                                    const Services& at = Services::ofProcess());
    [[nodiscard]] static std::optional<FinderColor>
    finderColorForPath(const std::string& path, const Services& at = Services::ofProcess());

    // --- Copying in the background (FileOperation.h).

    /// Starts to copy `source` into the folder `destination`, under its own name. Nothing, with a
    /// line in the log, when one of them is missing or no thread can be had.
    [[nodiscard]] static std::shared_ptr<FileOperation>
    copyFileWithProgress(const std::string& source, const std::string& destination,
                         std::shared_ptr<FileOperationDelegate> delegate, std::any object = {},
                         std::any otherObject = {}, const Services& at = Services::ofProcess());
    static void cancelFileOperation(const std::shared_ptr<FileOperation>& operation);
};

} // namespace cutstack
