#pragma once

// Turning jobs on and off. Each command prints how it stands then, and returns the exit status.
// Main thread.

#include "support/UserDefaults.h"
#include "tools/cutstackctl/Options.h"
#include "tools/cutstackctl/Program.h"

namespace cutstack::cutstackctl {

/// Whether the settings let projects be backed up: only the number 0 turns that off.
[[nodiscard]] bool areBackupsOn(const UserDefaults& settings);

/// "every 15 minutes", as the settings say it.
[[nodiscard]] std::string autosaveIntervalOf(const UserDefaults& settings);
[[nodiscard]] bool isAutosaveOn(const UserDefaults& settings);

/// Backups as `options.isOn` says, or as they are. Where they are so already the job is written
/// anew.
[[nodiscard]] int backups(Program& program, const Options& options);

/// The same for autosave, which an editor older than version 7 does not get.
[[nodiscard]] int autosave(Program& program, const Options& options);

} // namespace cutstack::cutstackctl
