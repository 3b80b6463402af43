#pragma once

// Copying files and folders with everything that belongs to them, as fast as the file system can:
// shared blocks where it has them (reflinks), copying inside the kernel elsewhere. Any thread;
// several copies may run at once.

#include <cstdint>
#include <functional>
#include <string>

namespace cutstack {

/// How far a copy is. Sizes in bytes.
struct CopyProgress {
    /// Goes back when a file is copied anew, because it has been changed meanwhile.
    std::uint64_t bytesCompleted = 0;
    std::uint64_t totalBytes = 0; ///< of all files, as they were when the copy began
    std::uint64_t itemsCompleted = 0;
    std::uint64_t totalItems = 0; ///< files, folders and links
    std::string currentItem;      ///< the path of the source that is being copied
};

enum class CopyEnd {
    copied,
    cancelled,
    failed,
    /// Failed for a reason that would be there with more rights, too: the disk is full, the
    /// source kept changing, a folder would get into itself. Whoever copies in spite of it leaves
    /// half a copy or a mixture.
    failedForAnybody
};

class FileCopier {
public:
    virtual ~FileCopier() = default;

    /// Is told of the steps of a copy, some ten times a second at most; answers whether to go on.
    /// Before anything is copied it is told what there is, and in the end, when the copy is on the
    /// disk, once more. While a large tree is being counted, it hears of totals that still grow.
    using Observer = std::function<bool(const CopyProgress&)>;

    /// Copies the file, folder or symbolic link `source` to `destination`, where nothing may be.
    /// Content, permissions, times and extended attributes are copied, the owner where the system
    /// permits; a link is copied as a link, holes stay holes. What the file system of the
    /// destination cannot keep is left out: then nothing stays set-id, and a group may only do what
    /// everybody may. Locks and security labels are not copied, and several names of one file
    /// become files of their own. Sockets, pipes and devices are refused, and so is copying a
    /// folder into itself.
    ///
    /// A file that is replaced meanwhile is copied as it was. One that is written to is copied
    /// anew, and is a failure when it keeps changing: a copy of it would be a mixture. So is a tree
    /// in which things are moved meanwhile.
    ///
    /// The copy appears under its name only when it is whole and on the disk: until then it has a
    /// hidden name in the same folder, which goes away on failure and on cancelling. `error` is
    /// the reason of a failure, with the path that it came from where that is not `source`; also
    /// where the hidden name is, should it be impossible to remove it. An observer may be empty.
    [[nodiscard]] virtual CopyEnd copy(const std::string& source, const std::string& destination,
                                       const Observer& observer, std::string& error) const = 0;
};

/// Copies on this machine's file systems. Lives as long as the process.
[[nodiscard]] const FileCopier& fileCopier();

} // namespace cutstack
