#pragma once

// Jobs that run on their own: property lists in the folders that launchd reads, loaded by
// "/bin/launchctl". A job is named after its file, which need not be its label.
//
// Class functions only. Any thread; alerts are shown on the main thread, and whoever has one shown
// waits for its answer. Different jobs may be worked on at once.

#include <chrono>
#include <functional>
#include <optional>
#include <string>

#include "platform/SystemLog.h"
#include "support/PropertyList.h"
#include "support/UserInterface.h"
#include "support/ZTAuthorization.h"
#include "support/ZTLocalPaths.h"
#include "support/ZTTask.h"

namespace cutstack {

/// What working on jobs needs from outside. All of it outlives them.
struct LaunchdServices {
    const Locations& locations;
    const TaskServices& tasks;
    ZTAuthorization& authorization;
    SystemLog& console;
    UserInterface* userInterface; ///< nullptr in a run without a window, which shows no alert
    /// Lets a tool with an administrator's rights, which nobody waits for, come to its end.
    std::function<void(std::chrono::microseconds)> pause;
};

class ZTLaunchd {
public:
    /// Starts a launch agent, without a process to end: startJob().
    static bool startLaunchAgent(const std::string& jobName, const PropertyList::Dictionary& job,
                                 bool user, const LaunchdServices& at);

    /// Removes a launch agent of the user's, whatever `user` says, with an administrator's rights
    /// if need be: removeJob().
    static bool removeLaunchAgent(const std::string& jobName, bool user, const LaunchdServices& at);

    /// Writes `job` as the property list of the job and loads it, in the place of an earlier one,
    /// which is removed as removeJob() does with `shouldAuth`. A folder that does not let the user
    /// write gets the list with an administrator's rights, whatever `shouldAuth` says. The list can
    /// be read by all and, unless it is the `user`'s, belongs to root. The processes called
    /// `killProcessName` are ended before it is loaded.
    ///
    /// Returns whether the list is in place; nobody is told when it could not be loaded. On failure
    /// a line in the system log and an alert tell the folder, and an earlier job is gone.
    static bool startJob(const std::string& jobName, const PropertyList::Dictionary& job, bool user,
                         bool launchAgent, bool shouldAuth,
                         const std::optional<std::string>& killProcessName,
                         const LaunchdServices& at);

    /// Unloads the job and takes its label, which is `jobName`, out of launchd; the list stays.
    /// `shouldAuth` counts for nothing. Returns false for a user without a home folder.
    static bool stopJob(const std::string& jobName, bool user, bool launchAgent, bool shouldAuth,
                        const LaunchdServices& at);

    /// Unloads the job and deletes its list, with `shouldAuth` also by an administrator's rights.
    /// Returns whether there is no list any more; when there is one, a line in the system log and
    /// an alert tell the folder.
    static bool removeJob(const std::string& jobName, bool user, bool launchAgent, bool shouldAuth,
                          const LaunchdServices& at);

    /// The folder of such jobs; nothing for a user without a home folder.
    [[nodiscard]] static std::optional<std::string> folderOfJobs(bool user, bool launchAgent,
                                                                 const Locations& at);

    /// The property list of the job, whether or not there is one.
    [[nodiscard]] static std::optional<std::string>
    pathOfJob(const std::string& jobName, bool user, bool launchAgent, const Locations& at);
};

} // namespace cutstack
