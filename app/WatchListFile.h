#pragma once

// The watch list as runs without a window meet it: in the preferences file and in the launchd job
// that watches the projects. Any thread; the file may be written by other processes meanwhile.

#include <functional>
#include <optional>

#include "support/LogWriter.h"
#include "support/PropertyList.h"
#include "support/ZTLocalPaths.h"

namespace cutstack {

/// Rewrites a watch list of plain paths, `oldList`, as dictionaries with the key "path", in the
/// preferences file, whose other keys stay, and returns it. Dictionaries stay as they are, other
/// elements are left out. When somebody has changed the list since it was read, that one is
/// rewritten and returned instead.
/// Nothing when the file cannot be read. When it cannot be written it is as it was, and the log has
/// the reason.
[[nodiscard]] std::optional<PropertyList::Array>
convertOldListFormat(const PropertyList::Array& oldList, const Locations& locations,
                     LogWriter& log);

/// Looks whether everything that the job "com.zantrel.Cutstack" watches still exists, and has the
/// job generated anew, once, when something does not.
void repopulateWatchFiles(const Locations& locations, LogWriter& log,
                          const std::function<void()>& generateLaunchdPlist);

} // namespace cutstack
