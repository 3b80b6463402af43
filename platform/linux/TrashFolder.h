#pragma once

// One trash folder: things lie in its folder "files", and for each there is a note of the same name
// in its folder "info". The note is made first and reserves the name, so that programs that use the
// same trash don't meet. All failures leave their reason in errno. Any thread may use an object
// that stays where it is.

#include <functional>
#include <optional>
#include <string>

#include "platform/linux/Descriptor.h"

namespace cutstack {

class TrashFolder {
public:
    /// Opens the trash in `folder`, making its two folders where they are missing. One that belongs
    /// to neither this user nor root is not opened: its owner could read what comes into it.
    [[nodiscard]] static std::optional<TrashFolder> opened(const Descriptor& folder, uid_t userId);

    /// Moves what is called `name` in the open folder `parent` into the trash, with the text of
    /// `info` as its note. On failure nothing has moved and there is no note.
    [[nodiscard]] bool take(const Descriptor& parent, const std::string& name,
                            const std::string& info) const;

private:
    TrashFolder(Descriptor files, Descriptor info);

    /// Does it under one name; errno is EEXIST when the name is in use.
    [[nodiscard]] bool takeAs(const std::string& trashName, const Descriptor& parent,
                              const std::string& name, const std::string& info) const;

    Descriptor files_;
    Descriptor info_;
    std::size_t longestName_;
};

/// Opens the folder `name` of the open folder `parent`, with `flags` in addition; makes it for this
/// user alone where it is missing. Nothing open on failure.
[[nodiscard]] Descriptor openedOrMade(const Descriptor& parent, const std::string& name, int flags);

} // namespace cutstack
