#pragma once

// One item of a project as a document of its own. Pure; any thread.

#include "tools/projecthost/DocumentOutline.h"

#include <optional>
#include <string>
#include <string_view>

namespace cutstack::projecthost {

/// A document with only the sequence, clip or bin that has that UUID, whose case is ignored. It is
/// complete: what the item refers to and the project describes elsewhere, such as its files and
/// nested sequences, is written in full at its first mention. References to master clips stay what
/// they are, for those are items of their own.
/// Nothing when the project has no such item.
/// REQUIRES: the outline has a root.
[[nodiscard]] std::optional<std::string> exportedItem(const DocumentOutline& project,
                                                      std::string_view uuid);

/// The item with that UUID.
[[nodiscard]] std::optional<OutlineIndex> findItem(const DocumentOutline& project,
                                                   std::string_view uuid);

} // namespace cutstack::projecthost
