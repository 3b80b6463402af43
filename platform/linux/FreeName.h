#pragma once

// Giving things names that nothing else has. Any thread.

#include <string>

#include "platform/linux/Descriptor.h"

namespace cutstack {

/// Moves what is called `name` in the open folder `from` to `newName` in the open folder `into`.
/// Returns false, with nothing moved and the reason in errno, on failure; EEXIST is something that
/// has the new name already.
///
/// Not every file system does this in one step. Where two are needed, an empty folder that gets the
/// new name between them is replaced when a folder moves; nothing else can be where links can be
/// made.
[[nodiscard]] bool renameToFreeName(const Descriptor& from, const std::string& name,
                                    const Descriptor& into, const std::string& newName);

} // namespace cutstack
