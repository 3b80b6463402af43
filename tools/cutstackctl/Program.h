#pragma once

// The parts of Cutstack as cutstackctl uses them: the watch list with its rows, as a window has
// them, the jobs, the backups and retention, with this program's own log and standard error as its
// console. What they do is thereby what the window would do.
//
// The window keeps rows of its own. What is changed here while it is open shows there at its next
// start, and a change that it makes until then counts. Main thread.

#include "app/AppController.h"
#include "app/AppParts.h"
#include "platform/SystemLog.h"
#include "support/Bundle.h"
#include "support/FileLock.h"
#include "support/LogWriter.h"

#include <fstream>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace cutstack::cutstackctl {

/// What a command is going to do.
enum class Access : unsigned char {
    looks,
    changesSettings, ///< one process at a time
    changesJobs      ///< the same; needs the bundle whose executable the jobs start
};

/// Lines on standard error, behind the program's name.
class TerminalConsole final : public SystemLog {
public:
    void log(std::string_view message) override;
};

class Program {
public:
    /// Starts a log file and reads settings and watch list. Nothing, with the reason in `error` and
    /// everything else as it was, when the user has no home folder and, for changes, when the
    /// settings cannot be understood or the bundle is missing.
    [[nodiscard]] static std::unique_ptr<Program> open(Access access, std::string& error);
    ~Program();
    Program(const Program&) = delete;
    Program& operator=(const Program&) = delete;

    [[nodiscard]] AppParts& parts() { return *parts_; }
    [[nodiscard]] const Locations& locations() const { return Locations::ofProcess(); }

    /// What the preferences file says; where there is none, what holds then.
    [[nodiscard]] BackupPreferences preferences();

    /// Writes changes of the settings that did not get into their file before. Returns why they
    /// did not now either; empty when all is written.
    [[nodiscard]] std::string storeSettings();

    /// The last lines of this run's log, at most `count`, without their dates.
    [[nodiscard]] std::vector<std::string> lastLogLines(std::size_t count);

private:
    Program();

    [[nodiscard]] bool start(Access access, std::string& error);
    [[nodiscard]] bool mayChange(Access access, std::string& error);
    void openParts();

    TerminalConsole console_;
    LogWriter log_;
    std::optional<Bundle> bundle_;
    std::unique_ptr<AppController> controller_;
    std::ifstream logFile_; ///< the file of this run, also when others have come since
    std::optional<FileLock> lock_;
    std::optional<AppParts> parts_;
};

} // namespace cutstack::cutstackctl
