#include "tools/cutstackctl/StatusCommand.h"

#include "fcp/EventCodes.h"
#include "store/VersionNames.h"
#include "store/VersionStore.h"
#include "support/FolderListing.h"
#include "support/Workspace.h"
#include "tools/SentenceOutput.h"
#include "tools/cutstackctl/JobCommands.h"
#include "tools/cutstackctl/JobStates.h"
#include "tools/cutstackctl/LogFiles.h"
#include "tools/cutstackctl/Messages.h"
#include "tools/cutstackctl/WatchedFiles.h"

#include <algorithm>
#include <filesystem>
#include <iostream>

namespace cutstack::cutstackctl {

namespace {

/// Of each run: enough to see what it did and how it ended.
constexpr std::size_t kLinesOfRun = 3;

struct StoreSummary {
    std::string folder;
    std::size_t projects = 0;
    std::size_t files = 0;
    std::uint64_t sizeInBytes = 0;
};

struct Report {
    std::size_t watched = 0;
    std::size_t missing = 0;
    bool areBackupsOn = false;
    std::string autosave; ///< "off" or how often
    bool isEditorRunning = false;
    StoreSummary store;
    JobStates jobs;
    std::vector<LogRun> runs;
};

void addFiles(StoreSummary& summary, const std::string& folder) {
    namespace fs = std::filesystem;
    std::error_code fault;
    for (const std::string& name : namesInFolder(folder).value_or(std::vector<std::string>())) {
        const std::string path = pathInFolder(folder, name);
        if (!fs::is_regular_file(fs::symlink_status(path, fault)))
            continue;
        const auto size = fs::file_size(path, fault);
        ++summary.files;
        summary.sizeInBytes += fault ? 0 : size;
    }
}

StoreSummary summaryOf(const std::string& folder) {
    StoreSummary summary{.folder = folder};
    for (const StoredProject& project : VersionStore(folder).projects()) {
        ++summary.projects;
        addFiles(summary, project.folder);
    }
    return summary;
}

std::size_t missingIn(const std::vector<std::string>& paths) {
    std::error_code fault;
    return static_cast<std::size_t>(std::ranges::count_if(
        paths, [&](const std::string& path) { return !std::filesystem::exists(path, fault); }));
}

Report reportOf(Program& program) {
    const UserDefaults& settings = program.parts().settings();
    const auto paths = pathsOfRows(program.parts().watchList());
    const auto logs = logPlaceOf("Cutstack");
    return {.watched = paths.size(),
            .missing = missingIn(paths),
            .areBackupsOn = areBackupsOn(settings),
            .autosave = isAutosaveOn(settings) ? autosaveIntervalOf(settings) : "off",
            .isEditorRunning =
                Workspace::sharedWorkspace().isRunning(std::string(kEditorIdentifier)),
            .store = summaryOf(program.preferences().backups.storagePath),
            .jobs = jobStates(program.locations()),
            .runs = logs ? runsInLogs(*logs) : std::vector<LogRun>()};
}

std::string stateOf(const JobState& job, bool isLoadingKnown) {
    std::string state = job.isWritten ? "written" : "not written";
    if (isLoadingKnown)
        state += job.isLoaded ? ", loaded" : ", not loaded";
    if (job.process)
        state += ", at work as process " + *job.process;
    if (job.lastExit)
        state += ", last run ended with " + *job.lastExit;
    return state;
}

void printJobs(const JobStates& states) {
    std::cout << "Jobs\n";
    for (const JobState& job : states.jobs)
        std::cout << "    " << job.name << ": " << onOneLine(stateOf(job, states.error.empty()))
                  << '\n';
}

void printRuns(const std::vector<LogRun>& runs) {
    std::cout << (runs.empty() ? "No run has left a log\n" : "Last runs, the newest first\n");
    for (const LogRun& run : runs) {
        std::cout << "    " << onOneLine(run.started) << '\n';
        const std::size_t first =
            run.lines.size() > kLinesOfRun ? run.lines.size() - kLinesOfRun : 0;
        for (std::size_t i = first; i < run.lines.size(); ++i)
            std::cout << "        " << onOneLine(messageOfLogLine(run.lines[i])) << '\n';
    }
}

void print(const Report& report) {
    std::cout << "Watched:  " << report.watched << (report.watched == 1 ? " project" : " projects");
    if (report.missing > 0)
        std::cout << ", " << report.missing << " missing";
    std::cout << "\nBackups:  " << (report.areBackupsOn ? "on" : "off")
              << "\nAutosave: " << report.autosave
              << "\nEditor:   " << (report.isEditorRunning ? "running" : "not running")
              << "\nStore:    " << onOneLine(report.store.folder) << "\n          "
              << report.store.projects
              << (report.store.projects == 1 ? " project, " : " projects, ") << report.store.files
              << (report.store.files == 1 ? " file, " : " files, ")
              << formatFileSize(report.store.sizeInBytes) << '\n';
    printJobs(report.jobs);
    printRuns(report.runs);
}

void printAsJson(const Report& report) {
    using Json = nlohmann::ordered_json;
    const auto orNull = [](const std::optional<std::string>& text) {
        return text ? Json(*text) : Json(nullptr);
    };
    Json jobs = Json::array();
    for (const JobState& job : report.jobs.jobs)
        jobs.push_back({{"name", job.name},
                        {"written", job.isWritten},
                        {"loaded", report.jobs.error.empty() ? Json(job.isLoaded) : Json(nullptr)},
                        {"process", orNull(job.process)},
                        {"lastExit", orNull(job.lastExit)}});
    Json runs = Json::array();
    for (const LogRun& run : report.runs)
        runs.push_back({{"started", run.started}, {"lines", run.lines}});
    printJsonLine(std::cout, {{"watched", report.watched},
                              {"missing", report.missing},
                              {"backups", report.areBackupsOn},
                              {"autosave", report.autosave},
                              {"editorRunning", report.isEditorRunning},
                              {"store",
                               {{"folder", report.store.folder},
                                {"projects", report.store.projects},
                                {"files", report.store.files},
                                {"bytes", report.store.sizeInBytes}}},
                              {"jobs", std::move(jobs)},
                              {"runs", std::move(runs)}});
}

} // namespace

int status(Program& program, const Options& options) {
    const Report report = reportOf(program);
    (options.json ? printAsJson : print)(report);
    if (report.jobs.error.empty())
        return kDone;
    return complain("nobody can tell which jobs are loaded: " + report.jobs.error);
}

} // namespace cutstack::cutstackctl
