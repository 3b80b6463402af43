#pragma once

// The runs without a window, each of which does one job and ends. The first argument says which;
// every other start is the windowed program. Constants and pure functions; any thread.

#include <array>
#include <optional>
#include <string_view>

namespace cutstack {

enum class RunMode { process, autosave, reload, repopulate };

struct RunModeRule {
    RunMode mode;
    std::string_view argument;
    std::string_view operation; ///< the job, as the log names it
    bool isFollowedByReload;    ///< whether the jobs are loaded again by a process of their own
};

/// In the order in which an argument is compared.
inline constexpr std::array kRunModes = {
    RunModeRule{RunMode::process, "-process", "-[AppController processProjects]", true},
    RunModeRule{RunMode::autosave, "-autosave", "-[AppController autosave]", true},
    RunModeRule{RunMode::reload, "-reload", "-[AppController reloadLaunchDPlist]", false},
    RunModeRule{RunMode::repopulate, "-repopulate", "-[AppController repopulateWatchFiles]", false},
};

/// The argument of the process that follows a run.
inline constexpr std::string_view kReloadArgument = "-reload";

/// The mode that `firstArgument` is exactly, byte for byte; nothing for the windowed program.
[[nodiscard]] std::optional<RunModeRule> runModeForArgument(std::string_view firstArgument);

} // namespace cutstack
