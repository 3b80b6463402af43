#pragma once

// A job as units of the systemd user manager (systemd.unit(5)). What starts the job are units of
// their own, so that they can be taken away while a run of the job is at work:
//
//     NAME.service              a run of the job, from its start to its end
//     NAME.timer                starts it at load and at intervals
//     NAME-watch.service        starts it when watched files change (Watcher.h)
//     NAME-idle.service         does nothing; starting it takes until the run at work has ended
//     NAME-onmount@.service     starts it after the run at work; mount.d/NAME.conf makes every
//                               mount want one
//
// NAME is the name of the job's file, escaped. Pure; any thread.

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tools/launchctl/JobDefinition.h"

namespace cutstack::launchctl {

/// The exit status of "launchctl watch" for a job that cannot be read, however often it is tried.
inline constexpr int kRefusedJobStatus = 2;

/// The names of a job's units.
class UnitNames {
public:
    /// `name` is the name of the job's file without ".plist".
    explicit UnitNames(std::string_view name);
    /// Those of the job in the file at `path`.
    [[nodiscard]] static UnitNames ofJobFile(std::string_view path);

    /// Whether there is a name at all, and one short enough for systemd.
    [[nodiscard]] bool areUsable() const;

    [[nodiscard]] const std::string& stem() const { return stem_; }
    [[nodiscard]] std::string service() const { return stem_ + ".service"; }
    [[nodiscard]] std::string timer() const { return stem_ + ".timer"; }
    [[nodiscard]] std::string watch() const { return stem_ + "-watch.service"; }
    [[nodiscard]] std::string idle() const { return stem_ + "-idle.service"; }
    [[nodiscard]] std::string onMount() const { return stem_ + "-onmount@.service"; }
    [[nodiscard]] std::string mountDropIn() const { return "mount.d/" + stem_ + ".conf"; }

    /// Every file that a job may have in the folder of the units.
    [[nodiscard]] std::vector<std::string> files() const;
    /// The units that are at work as long as the job is loaded.
    [[nodiscard]] std::vector<std::string> starters() const { return {watch(), timer()}; }

private:
    std::string stem_;
};

/// Where a job came from, as its files keep it.
struct JobOrigin {
    std::string label;
    std::string file; ///< the absolute path of its property list
};

/// The names, in the folder of the units, and the contents of a job's files. `helper` is the
/// absolute path of this program.
[[nodiscard]] std::map<std::string, std::string>
unitFiles(const JobDefinition& job, const std::string& jobFile, const std::string& helper);

/// The units among them that are started at load and at every login.
[[nodiscard]] std::vector<std::string> unitsAtLogin(const JobDefinition& job,
                                                    const UnitNames& names);

/// Whether a unit file of that content was made here, and may be replaced or removed.
[[nodiscard]] bool isOwnUnit(std::string_view content);

/// Where the job came from that the unit file is one of; nothing for a file of somebody else.
[[nodiscard]] std::optional<JobOrigin> originOf(std::string_view content);

} // namespace cutstack::launchctl
