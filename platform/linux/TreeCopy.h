#pragma once

// Copies what a walk comes to: each file, link and folder into the same place of another tree. The
// copies of folders stay their owner's alone until everything is in them. Each copy belongs to one
// thread.

#include "platform/linux/CopyReport.h"
#include "platform/linux/FolderTrail.h"
#include "platform/linux/TreeWalk.h"

namespace cutstack {

/// What a copy can be made of: files, folders and links. Otherwise `fault` is set.
[[nodiscard]] bool canBeCopied(const TreeItem& item, PathFault& fault);

/// What a copy is called.
struct CopyNames {
    std::string top;         ///< the name that the top of the copy has while it is being made
    std::string source;      ///< the path of the top of the source
    std::string destination; ///< that of the copy in the end; both for people
};

class TreeCopy final : public TreeVisitor {
public:
    /// Copies into the open folder `parent`. Every failure is noted in `fault`, by the path of the
    /// source or of the copy, whichever made it; being cancelled by the observer of `report` is
    /// none. All outlive the copy.
    TreeCopy(const Descriptor& parent, CopyNames names, std::uint64_t bytesAtOnce,
             CopyReport& report, PathFault& fault)
        : trail_(parent),
          names_(std::move(names)),
          bytesAtOnce_(bytesAtOnce),
          report_(report),
          fault_(fault) {}

    bool visit(const TreeItem& item) override;
    bool reach(const TreeItem& folder) override { return report_.goesOnWith(folder.path); }
    bool enter(const TreeItem& folder) override;
    /// When the top folder is left, all of the copy has reached the disk.
    bool leave(const TreeItem& folder, const Descriptor& opened) override;

private:
    bool copyFile(const TreeItem& item);
    bool copyContent(const TreeItem& item, const Descriptor& source, const Descriptor& target);
    bool copyOnce(const TreeItem& item, const Descriptor& source, const Descriptor& target,
                  const struct stat& status);
    bool finishFile(const TreeItem& item, const Descriptor& source, const struct stat& status,
                    const Descriptor& target);
    bool copyLink(const TreeItem& item);
    bool completeItem(const TreeItem& item);

    [[nodiscard]] const std::string& nameOf(const TreeItem& item) const {
        return item.isTop ? names_.top : item.name;
    }
    bool failAtSource(const TreeItem& item);
    bool failAtCopy(const TreeItem& item);

    FolderTrail trail_; ///< in the copy
    const CopyNames names_;
    const std::uint64_t bytesAtOnce_;
    CopyReport& report_;
    PathFault& fault_;
    FileIdentity top_; ///< the copy's own top folder
};

} // namespace cutstack
