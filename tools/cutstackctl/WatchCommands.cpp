#include "tools/cutstackctl/WatchCommands.h"

#include "platform/FileStamp.h"
#include "store/VersionNames.h"
#include "support/FolderListing.h"
#include "support/TildePaths.h"
#include "support/Unicode.h"
#include "tools/SentenceOutput.h"
#include "tools/cutstackctl/JobCommands.h"
#include "tools/cutstackctl/JobStates.h"
#include "tools/cutstackctl/Messages.h"
#include "tools/cutstackctl/SequenceCommand.h"
#include "tools/cutstackctl/WatchedFiles.h"

#include <algorithm>
#include <filesystem>
#include <iostream>
#include <set>

namespace cutstack::cutstackctl {

namespace {

/// The largest project for which the window gives no advice.
constexpr std::uint64_t kLargestUnquestionedProject = 31457279;

void adviseAboutLargeProject(const std::string& path) {
    std::string error;
    const auto stamp = fileStamp(path, error);
    if (!stamp || stamp->sizeInBytes <= kLargestUnquestionedProject)
        return;
    std::cout << "    This project is quite large\n"
                 "    For greater stability and performance we recommend only backing up the "
                 "current sequence rather than the entire project file.\n"
                 "    See 'cutstackctl sequence FILE', then 'cutstackctl sequence FILE NAME'.\n";
}

int watchFile(WatchList& list, const std::string& given) {
    const std::string path = absolutePath(given);
    std::string error;
    if (!isProjectFile(path, error))
        return complain(error);
    if (rowWithPath(path, list)) {
        std::cout << onOneLine(path) << " is watched already\n";
        return kDone;
    }
    list.addFileToList(abbreviatingWithTildeInPath(path));
    if (!rowWithPath(path, list))
        return complain(path + ": the settings cannot keep a path with such characters");
    std::cout << "Watching " << onOneLine(path) << '\n';
    adviseAboutLargeProject(path);
    return kDone;
}

/// What the window does after a change of the list; and looks whether it has helped.
int storeAndRegenerate(Program& program) {
    if (const std::string error = program.storeSettings(); !error.empty())
        return complain("the watch list could not be stored: " + error);
    LaunchdJobs& jobs = program.parts().jobs();
    jobs.generateLaunchdPlist();
    jobs.generateProjectWatcherPlist();
    if (program.parts().watchList().fileArray().empty())
        return kDone;
    if (!areBackupsOn(program.parts().settings())) {
        std::cout << "Backups are off; 'cutstackctl backups on' turns them on\n";
        return kDone;
    }
    return isJobAtWork(kBackupJob, program.locations()) ? kDone : kTrouble;
}

std::size_t versionCount(const std::string& folder) {
    std::set<std::string> versions;
    for (const std::string& name : namesInFolder(folder).value_or(std::vector<std::string>())) {
        const std::string folded = caseFolded(name);
        if (folded.ends_with(".fcp") || folded.ends_with(".xml"))
            versions.insert(versionOfFile(name));
    }
    return versions.size();
}

struct WatchedProject {
    std::string path;
    std::optional<ProjectSequence> sequence;
    bool exists = false;
    std::size_t versions = 0;
};

WatchedProject watchedProject(const ZTProject& row, const std::string& store) {
    WatchedProject project{expandingTildeInPath(row.projectPath()), chosenSequence(row)};
    std::error_code fault;
    project.exists = std::filesystem::exists(project.path, fault);
    project.versions = versionCount(pathInFolder(store, fileNameOf(project.path)));
    return project;
}

void print(std::ostream& out, const WatchedProject& project) {
    out << onOneLine(project.path) << '\n'
        << "    "
        << (project.sequence ? "Sequence " + onOneLine(project.sequence->name) : "Entire Project")
        << ", " << project.versions << (project.versions == 1 ? " version" : " versions")
        << (project.exists ? "" : ", the file is missing") << '\n';
}

void printAsJson(std::ostream& out, const WatchedProject& project) {
    nlohmann::ordered_json sequence;
    if (project.sequence)
        sequence = {{"name", project.sequence->name}, {"uuid", project.sequence->uuid}};
    printJsonLine(out, {{"path", project.path},
                        {"sequence", sequence},
                        {"exists", project.exists},
                        {"versions", project.versions}});
}

} // namespace

int watch(Program& program, const Options& options) {
    int status = kDone;
    for (const std::string& given : options.operands)
        status = std::max(status, watchFile(program.parts().watchList(), given));
    return std::max(status, storeAndRegenerate(program));
}

int unwatch(Program& program, const Options& options) {
    WatchList& list = program.parts().watchList();
    int status = kDone;
    std::set<std::size_t> rows;
    for (const std::string& given : options.operands) {
        std::string error;
        if (const auto row = rowOf(given, list, error))
            rows.insert(*row);
        else
            status = complain(error, kNothingDone);
    }
    if (rows.empty())
        return status;
    const auto paths = pathsOfRows(list);
    list.removeFilesFromList(rows);
    for (const std::size_t row : rows)
        std::cout << "No longer watching " << onOneLine(paths[row]) << '\n';
    return std::max(status, storeAndRegenerate(program));
}

int list(Program& program, const Options& options) {
    const std::string store = program.preferences().backups.storagePath;
    const auto& rows = program.parts().watchList().fileArray();
    for (const ZTProject& row : rows)
        (options.json ? printAsJson : print)(std::cout, watchedProject(row, store));
    return rows.empty() ? kNothingDone : kDone;
}

} // namespace cutstack::cutstackctl
