#pragma once

// What a run without a window needs of the settings, as it stands in the preferences file: such a
// run registers no defaults, and what the user has never set has fallbacks of its own here.
// Values; any thread.

#include <string>

#include "store/BackupPipeline.h"
#include "store/RetentionPlan.h"
#include "support/PropertyList.h"

namespace cutstack {

struct BackupPreferences {
    BackupSettings backups;
    RetentionRules retention;
    RemovalType removalType = RemovalType::toTrash;
};

/// The preferences that a preferences file's dictionary states; `storagePath` is
/// `defaultStoragePath` where it states none. A value of a wrong type counts as absent.
[[nodiscard]] BackupPreferences backupPreferences(const PropertyList& file,
                                                  const std::string& defaultStoragePath);

} // namespace cutstack
