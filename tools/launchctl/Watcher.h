#pragma once

// The process that starts a job's runs when watched files change. It decides by comparing the files
// with the record of how they were when the last run was started (WatchRecord.h); being told of
// changes only wakes it.
//
//                      +-----------------------------------------------+
//                      v                                               |
//     start ---> files as recorded?                                    |
//                  | yes      | no                                     |
//                  v          v                                        |
//        +----> wait for    wait until a second passes without         |
//        +----- a change    a change, but not longer than ten          |
//                             |                                        |
//                             v                                        |
//                           wait for the end of the run at work  <--+  |
//                             |                                     |  |
//                             v                                     |  |
//                        (1) look at the files                      |  |
//                             |                                     |  |
//                             v                                     |  |
//                        (2) is a run at work? --- yes -------------+  |
//                             | no                                     |
//                             v                                        |
//                        (3) start a run                               |
//                             |                                        |
//                             v                                        |
//                        (4) write what (1) saw into the record -------+
//
// No save is lost, and none is backed up for ever:
// - Between (2) and (3) somebody else may start a run, which (3) then joins. That one began after
//   (1), so it meets the files as (1) saw them or later; what is later is found when the record is
//   compared again.
// - A watcher that is ended anywhere (every run of the backup job ends by replacing it) leaves a
//   record in which what has not been handed to a run still differs. Between (3) and (4) that is
//   one run too many.
// - A run that the watcher started belongs to the manager and goes on without the watcher.

#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include "platform/Clock.h"
#include "platform/FileWatch.h"
#include "platform/SystemLog.h"
#include "tools/launchctl/Systemctl.h"
#include "tools/launchctl/UnitFiles.h"
#include "tools/launchctl/WatchRecord.h"

namespace cutstack::launchctl {

struct WatcherServices {
    const Systemctl& systemctl;
    const Clock& clock;
    SystemLog& console;
};

/// One thread.
class Watcher {
public:
    /// A watcher for the job whose units are `names`; `paths` are absolute.
    Watcher(UnitNames names, std::vector<std::string> paths, WatchRecord record,
            WatcherServices services);

    /// Watches until something keeps it from working, which it logs. Whatever the record then says
    /// still holds, so another watcher may take over.
    void run();

private:
    bool takeUpRecord();
    void waitForDifference();
    void waitForQuiet();
    bool startRun();
    bool waitForEndOfRun(Stamps& now);
    bool isChangedWithin(std::chrono::milliseconds longest);
    bool succeeded(bool result, const std::string& error);

    UnitNames names_;
    std::vector<std::string> paths_;
    WatchRecord record_;
    WatcherServices services_;
    std::unique_ptr<FileWatch> watch_;
    Stamps seen_;
};

} // namespace cutstack::launchctl
