#pragma once

// What a job's property list says: which program runs, and what starts it. Reading is strict, so
// that a job either runs as it was meant or is refused with a reason. Values; any thread.

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "support/PropertyList.h"

namespace cutstack::launchctl {

struct JobDefinition {
    std::string label;
    std::string program;                 ///< an absolute path
    std::vector<std::string> arguments;  ///< begins with the name of the process
    std::vector<std::string> watchPaths; ///< absolute, each once, without slashes at the end
    std::optional<std::uint64_t> startIntervalInSeconds; ///< at least 1
    bool runAtLoad = false;
    bool startOnMount = false;
    std::optional<int> nice; ///< -20 to 19
    bool lowPriorityIO = false;
};

/// The job that `list` describes. Keys that mean nothing here go into `ignoredKeys`. On failure
/// returns nothing and tells the first fault in `error`.
[[nodiscard]] std::optional<JobDefinition>
jobOf(const PropertyList& list, std::vector<std::string>& ignoredKeys, std::string& error);

/// The same for the list in the file at `path`.
[[nodiscard]] std::optional<JobDefinition>
readJob(const std::string& path, std::vector<std::string>& ignoredKeys, std::string& error);

} // namespace cutstack::launchctl
