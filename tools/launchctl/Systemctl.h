#pragma once

// Asking the systemd user manager, through systemctl(1). Every call is a process of its own. Any
// thread.

#include <optional>
#include <string>
#include <vector>

#include "platform/ChildProcess.h"

namespace cutstack::launchctl {

/// What the manager knows of a unit.
struct UnitState {
    std::string fragmentPath; ///< the file that it comes from; empty when there is none
    std::string activeState;
    std::string mainPid;    ///< "0" when no process runs
    std::string exitCode;   ///< how the last process ended, a number of waitid(2)
    std::string exitStatus; ///< its status or the number of the signal that ended it
    std::string exitMoment; ///< when it ended; empty or "0" when none did yet

    /// Whether a run is under way, be it beginning or ending.
    [[nodiscard]] bool isAtWork() const {
        return activeState != "inactive" && activeState != "failed";
    }
    [[nodiscard]] bool hasRun() const { return !exitMoment.empty() && exitMoment != "0"; }
};

class Systemctl {
public:
    explicit Systemctl(ChildProcessLauncher& launcher) : launcher_(launcher) {}

    /// Runs "systemctl --user" with `arguments` and waits for its end. On failure returns false
    /// with the reason in `error`, on one line.
    [[nodiscard]] bool run(const std::vector<std::string>& arguments, std::string& error) const;

    /// What the manager knows of `units`, in their order; also of units that are not there.
    [[nodiscard]] std::optional<std::vector<UnitState>> show(const std::vector<std::string>& units,
                                                             std::string& error) const;
    [[nodiscard]] std::optional<UnitState> show(const std::string& unit, std::string& error) const;

private:
    [[nodiscard]] std::optional<std::string> outputOf(const std::vector<std::string>& arguments,
                                                      std::string& error) const;

    ChildProcessLauncher& launcher_;
};

} // namespace cutstack::launchctl
