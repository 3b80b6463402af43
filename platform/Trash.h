#pragma once

// The user's Trash: where a thing goes that its owner may want back. Any thread; several threads
// and programs may use it at once.

#include <string>

namespace cutstack {

class Trash {
public:
    virtual ~Trash() = default;

    /// Moves the file, folder or symbolic link at `path` to the Trash, with the note of where and
    /// when it was taken from which file managers put it back. A link goes itself, its target
    /// stays. The thing remains on its file system, so that any size takes a moment only; one of
    /// the same name that is in the Trash already stays there beside it.
    ///
    /// Refused are the home folder, the Trash, the top of a file system, every folder or link that
    /// leads to one of these, and what is in the Trash already.
    ///
    /// On success nothing is at `path` any more, and `error` is as it was. On failure returns false
    /// with the reason in `error`; what was at `path` is there unchanged, and of the attempt at
    /// most an empty Trash is left.
    [[nodiscard]] virtual bool moveToTrash(const std::string& path, std::string& error) = 0;
};

/// The Trash of the user that this process runs as. Lives as long as the process.
[[nodiscard]] Trash& trash();

} // namespace cutstack
