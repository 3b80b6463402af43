#pragma once

// The way down into a tree of folders, and back. Each step goes from an open folder to one in it,
// never along a path and never through a link, so that a tree that others rearrange meanwhile leads
// nowhere else. However deep the way is, only some of its folders are open: the others are opened
// again from below and must still be the same. Failures leave their reason in errno. Each object
// belongs to one thread.

#include <optional>
#include <string>
#include <vector>

#include "platform/linux/Descriptor.h"
#include "platform/linux/PathEntries.h"

namespace cutstack {

class FolderTrail {
public:
    /// Begins in the open folder `top`, which must outlive the trail.
    explicit FolderTrail(const Descriptor& top) : top_(top) {}

    /// The folder where the trail has got to.
    [[nodiscard]] const Descriptor& here() const {
        return levels_.empty() ? top_ : levels_.back().folder;
    }
    /// Which one that is. REQUIRES: the trail has entered a folder.
    [[nodiscard]] const FileIdentity& identity() const { return levels_.back().identity; }

    /// Goes into the folder `name` of this folder. On failure the trail stays where it is.
    [[nodiscard]] bool enter(const std::string& name);

    /// Goes back to the folder above and hands out the one that it leaves. Nothing, and errno is
    /// ESTALE, when that has been moved elsewhere meanwhile; the trail is then of no more use.
    /// REQUIRES: the trail has entered a folder.
    [[nodiscard]] std::optional<Descriptor> leave();

private:
    struct Level {
        Descriptor folder; ///< not open when there are many below
        FileIdentity identity;
    };

    [[nodiscard]] static bool opensAbove(const Descriptor& below, Level& level);

    const Descriptor& top_;
    std::vector<Level> levels_;
};

} // namespace cutstack
