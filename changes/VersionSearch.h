#pragma once

// Finding text in the sentences of a project's versions. Pure; any thread.

#include "changes/VersionRecord.h"

#include <string_view>
#include <vector>

namespace cutstack {

/// The versions with a sentence that contains `text` without regard to case, in their order, each
/// with those sentences alone. The filter settings play no part.
[[nodiscard]] std::vector<VersionRecord>
versionsContaining(std::string_view text, const std::vector<VersionRecord>& versions);

} // namespace cutstack
