#pragma once

// Paths as people write them: "~" for the user's home folder, "~name" for somebody else's. Paths
// are kept in this form where they shall follow the home folder. Any thread.

#include <string>
#include <string_view>

#include "support/ZTLocalPaths.h"

namespace cutstack {

/// `path` with the "~" or "~name" that it begins with replaced by that home folder; the path as it
/// is when it begins otherwise, and when there is no such user or home.
[[nodiscard]] std::string expandingTildeInPath(std::string_view path,
                                               const Locations& at = Locations::ofProcess());

/// `path` with the user's home folder that it begins with replaced by "~", which
/// expandingTildeInPath() takes back; the path as it is when it lies elsewhere. A home that is "/"
/// is not abbreviated.
[[nodiscard]] std::string abbreviatingWithTildeInPath(std::string_view path,
                                                      const Locations& at = Locations::ofProcess());

} // namespace cutstack
