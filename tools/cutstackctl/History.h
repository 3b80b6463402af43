#pragma once

// Working out the history of one project with the caches that the program itself uses.

#include "changes/VersionRecord.h"
#include "store/VersionStore.h"

#include <optional>
#include <string>
#include <vector>

namespace cutstack::cutstackctl {

struct History {
    std::vector<VersionRecord> versions;  ///< the newest first
    std::vector<std::string> notComputed; ///< each XML copy without a version, and why
};

/// The version store that the settings of the user name, or the default one; nothing for a user who
/// has no home folder.
[[nodiscard]] std::optional<std::string> userStoreFolder();

/// The versions of a project with their changelists, from the cache file as far as it has them. The
/// reasons of what fails are in the log. While changelists are computed and standard error is a
/// terminal, it shows how far they are.
[[nodiscard]] History historyOf(const StoredProject& project);

} // namespace cutstack::cutstackctl
