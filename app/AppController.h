#pragma once

// The one object that the windowed program and the runs without a window share. It owns what does
// the work and the state that they have in common; the work itself is done elsewhere. Made and
// used on the main thread; progressCancelled may be read and written by any.

#include <atomic>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "support/Bundle.h"
#include "support/LogWriter.h"
#include "support/ZTLocalPaths.h"

namespace cutstack {

/// The identifier of the program's bundle.
inline constexpr std::string_view kOwnBundleIdentifier = "com.zantrel.Cutstack";

class AppController {
public:
    /// A controller for a run without a window. Opens a new file of `log`.
    /// Returns nothing, and leaves the log alone, for a user who has no home folder: settings,
    /// versions and log would have no place. `ownBundle` may be nullptr and outlives the result.
    [[nodiscard]] static std::unique_ptr<AppController>
    initWithoutGUI(LogWriter& log, const Locations& locations, const Bundle* ownBundle);

    /// Whether there is a user interface to show something on.
    [[nodiscard]] bool hasGUI() const { return hasGUI_; }

    /// Set when the user cancels what is going on; long loops poll it.
    std::atomic<bool> progressCancelled = false;

    /// The path of the program's bundle; nothing when the system does not know it.
    [[nodiscard]] std::optional<std::string> currentBundlePath() const;

    /// The path of the program's executable in that bundle.
    [[nodiscard]] std::optional<std::string> currentExePath() const;

private:
    explicit AppController(const Bundle* ownBundle) : ownBundle_(ownBundle) {}

    const Bundle* ownBundle_;
    bool hasGUI_ = false;
};

} // namespace cutstack
