#pragma once

// How the program's jobs stand: their property lists, and what launchctl says of them. Blocks until
// launchctl is done. Any thread.

#include "support/ZTLocalPaths.h"

#include <array>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace cutstack::cutstackctl {

/// The names of the jobs, which are those of their files.
inline constexpr std::string_view kBackupJob = "com.zantrel.Cutstack";
inline constexpr std::string_view kWatcherJob = "com.zantrel.CutstackProjectWatcher";
inline constexpr std::string_view kAutosaveJob = "com.zantrel.Cutstack.autosave";
inline constexpr std::array kJobs = {kBackupJob, kWatcherJob, kAutosaveJob};

struct JobState {
    std::string name;
    bool isWritten = false; ///< its property list is there
    bool isLoaded = false;
    std::optional<std::string> process;  ///< while it is at work
    std::optional<std::string> lastExit; ///< how its last run ended, minus the signal that did it
};

struct JobStates {
    std::vector<JobState> jobs; ///< those of kJobs, in that order
    std::string error;          ///< why nobody knows what is loaded; empty mostly
};

[[nodiscard]] JobStates jobStates(const Locations& at);

/// Whether the job is written and loaded; if not, complains about it on standard error.
[[nodiscard]] bool isJobAtWork(std::string_view jobName, const Locations& at);

} // namespace cutstack::cutstackctl
