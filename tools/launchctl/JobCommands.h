#pragma once

// Loading jobs into the systemd user manager and taking them out again. A job that is loaded comes
// back at every login until it is unloaded. Two processes that load or unload at once do so one
// after the other. A run that is at work is never ended by any of this. One thread.

#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include "platform/Clock.h"
#include "tools/launchctl/Systemctl.h"
#include "tools/launchctl/UnitFolder.h"
#include "tools/launchctl/WatchRecord.h"

namespace cutstack::launchctl {

struct JobPlaces {
    std::string units;        ///< the folder of the user's own units
    std::string runtimeUnits; ///< that of units which end with the session
    std::string records;      ///< what is kept about watched files; ends with the session too
    std::string helper;       ///< this program
};

class JobCommands {
public:
    /// `errors` takes one line for each thing that goes wrong or is left out.
    JobCommands(JobPlaces places, const Systemctl& systemctl, const Clock& clock,
                std::ostream& errors);

    /// Loads the job in `file`, anew if it is loaded: writes its units and starts what starts it,
    /// and also a run of it, for whose end nobody waits, if the job says so. On failure nothing of
    /// the job stays loaded, except when its file cannot be read or the manager cannot be reached:
    /// then everything is as it was.
    [[nodiscard]] bool load(const std::string& file);

    /// Unloads the job that was loaded from a file of that name, which need not be there any more.
    /// False when none is loaded.
    [[nodiscard]] bool unload(const std::string& file);

    /// Unloads the job whose file is called `name`, without ".plist", and forgets how its watched
    /// files were. If there is none, the one whose label is `name` is meant, provided that its file
    /// is called so but for the case of letters: jobs may share a label, and taking away one of
    /// them must not take away another.
    [[nodiscard]] bool remove(const std::string& name);

    /// Prints a table of the jobs, or of the one that remove() would mean: process, how the last
    /// run ended (minus the signal that ended it), label and file, with "-" for what is not there.
    [[nodiscard]] bool list(std::ostream& output, const std::optional<std::string>& name);

private:
    class Lock;

    [[nodiscard]] bool lockIsHeld(const Lock& lock);
    [[nodiscard]] bool mayBeLoaded(const UnitNames& names, const std::string& file);
    [[nodiscard]] bool start(const JobDefinition& job, const UnitNames& names,
                             const std::string& file, std::string& error);
    [[nodiscard]] bool stopStarters(const UnitNames& names, std::string& error);
    [[nodiscard]] bool takeOut(const UnitNames& names, std::string& error);
    [[nodiscard]] bool keepForRunAtWork(const UnitNames& names, const std::string& content,
                                        std::string& error);
    [[nodiscard]] UnitNames namesFor(const std::string& name) const;
    [[nodiscard]] WatchRecord recordOf(const UnitNames& names) const;
    bool trouble(const std::string& about, const std::string& error);

    JobPlaces places_;
    UnitFolder folder_;
    const Systemctl& systemctl_;
    const Clock& clock_;
    std::ostream& errors_;
};

} // namespace cutstack::launchctl
