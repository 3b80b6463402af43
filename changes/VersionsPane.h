#pragma once

// The list of versions on the screen, as the core sees it. Called on the main thread.

#include "changes/VersionRecord.h"

namespace cutstack {

class VersionsPane {
public:
    virtual ~VersionsPane() = default;

    /// Shows that the versions are being worked out, and that they no longer are.
    virtual void startVersionSpinner() = 0;
    virtual void stopVersionSpinner() = 0;

    /// Whether there is a version whose XML copy could be made.
    virtual void enableGenerateXMLButton(bool enabled) = 0;

    /// Shows these versions, the newest first.
    virtual void updateVersionArray(VersionArray versions) = 0;
};

} // namespace cutstack
