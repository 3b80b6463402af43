#pragma once

// Removes a folder with all that is in it, or a single thing, also where folders in it may be
// neither read nor written by anybody. Any thread.

#include "platform/linux/TreeWalk.h"

namespace cutstack {

/// Removes what is called `name` in the open folder `parent`. Nothing there counts as removed.
/// Returns false when something could not be removed and is still there.
[[nodiscard]] bool removeTree(const Descriptor& parent, const std::string& name);

} // namespace cutstack
