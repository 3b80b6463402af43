#pragma once

// Which editor is installed, and what follows from its version. Reads files only; any thread.

#include <optional>
#include <string>
#include <string_view>

#include "support/Workspace.h"
#include "support/ZTLocalPaths.h"

namespace cutstack {

/// The version that the installed editor's bundle states, found through the workspace or else in
/// the machine's Applications folder. Nothing when the bundle states none; "7.0" when there is no
/// bundle or it cannot be read.
[[nodiscard]] std::optional<std::string> installedEditorVersion(Workspace& workspace,
                                                                const Locations& locations);

/// The number that the first character of a version is, so that "10.1" gives 1, deliberately; 7 for
/// an empty version or none.
[[nodiscard]] int majorVersionOf(const std::optional<std::string>& version);

/// The newest version of XMEML, 1 to 5, that the editor of that version writes. Components that are
/// missing or no numbers count as 0, also those of no version at all.
[[nodiscard]] int maximumXMEMLVersionOf(const std::optional<std::string>& version);

} // namespace cutstack
