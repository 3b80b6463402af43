#pragma once

// A run of the program from its first argument to its exit status. main makes an EntryPoint of the
// real things and runs it. Main thread only.

#include <functional>
#include <map>
#include <memory>

#include "app/AppController.h"
#include "app/RunMode.h"
#include "platform/ProgramStarter.h"
#include "support/LogWriter.h"

namespace cutstack {

struct EntryPoint {
    /// Makes the controller of a run without a window, or nothing when it cannot be made.
    std::function<std::unique_ptr<AppController>()> initWithoutGUI;
    /// The jobs that this build can do. A mode without one ends well, and the log says so.
    std::map<RunMode, std::function<void(AppController&)>> operations;
    /// The windowed program, given the arguments as they came; returns the exit status.
    std::function<int(int argc, char** argv)> runApplication;
    /// Starts the process that loads the jobs again.
    ProgramStarter& programs;
    LogWriter& log;

    /// Does what the first argument asks for. Returns the exit status: 1 when there is no
    /// controller, otherwise 0 for a run without a window, whatever came of its job; the windowed
    /// program's own, or 1 when an exception ended it. The windowed program always gets its name
    /// as the first of its arguments.
    [[nodiscard]] int run(int argc, char** argv) const;

private:
    [[nodiscard]] int runMode(const RunModeRule& rule) const;
    void perform(const RunModeRule& rule, AppController& controller) const;
    void startReload(const AppController& controller) const;
};

} // namespace cutstack
