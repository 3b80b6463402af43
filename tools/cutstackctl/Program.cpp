#include "tools/cutstackctl/Program.h"

#include "app/Settings.h"
#include "platform/ToolPaths.h"
#include "support/AtomicFile.h"
#include "support/ZTLog.h"
#include "tools/SentenceOutput.h"
#include "tools/cutstackctl/LogFiles.h"

#include <filesystem>
#include <iostream>
#include <sstream>
#include <unistd.h>

namespace cutstack::cutstackctl {

namespace {

namespace fs = std::filesystem;

/// The folder that this program's helpers lie in, three steps above them.
std::string ownBundlePath() {
    const fs::path helper = toolPaths().pathOfTool("/bin/launchctl");
    return helper.parent_path().parent_path().parent_path().string();
}

} // namespace

void TerminalConsole::log(std::string_view message) {
    // A line of progress may stand there.
    const std::string_view cleared = isatty(STDERR_FILENO) == 1 ? "\r\x1b[K" : "";
    std::ostringstream line;
    line << cleared << "cutstackctl: " << onOneLine(message) << '\n';
    std::cerr << line.str();
}

Program::Program() : log_({Locations::ofProcess(), systemClock(), console_, ownLogHeader}) {}

Program::~Program() { ZTLog::finishWriting(); }

std::unique_ptr<Program> Program::open(Access access, std::string& error) {
    std::unique_ptr<Program> program(new Program);
    return program->start(access, error) ? std::move(program) : nullptr;
}

bool Program::start(Access access, std::string& error) {
    const auto logs = logPlaceOf(fs::path(processEnvironment().executablePath()).stem().string());
    if (!logs) {
        error = "there is no home folder to keep settings and versions in";
        return false;
    }
    static_cast<void>(makeFolders(logs->current));
    bundle_ = Bundle::atPath(ownBundlePath());
    controller_ = AppController::initWithoutGUI(log_, locations(), bundle_ ? &*bundle_ : nullptr);
    if (controller_ == nullptr) {
        error = "there is no home folder to keep settings and versions in";
        return false;
    }
    logFile_.open(logs->currentFile());
    if (access == Access::changesJobs || access == Access::changesSettings) {
        const std::string folder = fs::path(cacheFolder().value_or("")).parent_path().string();
        if (makeFolders(folder) == 0)
            lock_.emplace(folder + "/cutstackctl");
    }
    openParts();
    return access == Access::looks || mayChange(access, error);
}

void Program::openParts() {
    parts_.emplace(AppPartsOptions{
        .log = log_,
        .locations = locations(),
        .applicationVersion = CUTSTACK_VERSION,
        .executablePath = controller_->currentExePath(),
        .progressCancelled = controller_->progressCancelled,
        .authorization = ZTAuthorization::sharedController(false),
        .hasRows = true,
        .progress = nullptr,
    });
    parts_->settings().registerDefaults(registeredDefaults(defaultStoragePath().value_or("")));
    parts_->watchList().populateWatchFiles();
}

bool Program::mayChange(Access access, std::string& error) {
    // Without this, a list that nobody can read would be taken for an empty one.
    if (const auto read = parts_->settings().synchronize(); !read.error.empty()) {
        error = "the settings cannot be read: " + read.error;
        return false;
    }
    const auto executable = controller_->currentExePath();
    if (access == Access::changesJobs &&
        (!executable || ::access(executable->c_str(), X_OK) != 0)) {
        error = "Cutstack itself, which the jobs start, is not in " + ownBundlePath();
        return false;
    }
    return true;
}

BackupPreferences Program::preferences() {
    return parts_->preferences().value_or(
        backupPreferences(PropertyList::Dictionary{}, defaultStoragePath().value_or("")));
}

std::string Program::storeSettings() { return parts_->settings().synchronize().error; }

std::vector<std::string> Program::lastLogLines(std::size_t count) {
    log_.finishWriting();
    ZTLog::finishWriting();
    logFile_.clear();
    logFile_.seekg(0);
    std::ostringstream content;
    content << logFile_.rdbuf();
    auto lines = runInLog(content.str()).lines;
    if (lines.size() > count)
        lines.erase(lines.begin(), lines.end() - static_cast<std::ptrdiff_t>(count));
    for (std::string& line : lines)
        line = messageOfLogLine(line);
    return lines;
}

} // namespace cutstack::cutstackctl
