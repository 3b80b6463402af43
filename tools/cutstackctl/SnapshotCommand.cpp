#include "tools/cutstackctl/SnapshotCommand.h"

#include "store/VersionNames.h"
#include "support/FolderListing.h"
#include "support/TildePaths.h"
#include "tools/ProgressLine.h"
#include "tools/SentenceOutput.h"
#include "tools/cutstackctl/Messages.h"
#include "tools/cutstackctl/WatchedFiles.h"

#include <algorithm>
#include <filesystem>
#include <iostream>

namespace cutstack::cutstackctl {

namespace {

using Names = std::vector<std::string>;

/// As many as a failed export leaves behind the lines that every snapshot has.
constexpr std::size_t kTelling = 3;

struct Target {
    std::string project;  ///< as the watch list has it, or the path
    std::string path;     ///< from the root
    std::string sequence; ///< empty for the entire project
};

/// A file that is there comes before a watched one that is only called so. Nothing, with the
/// reason in `error`, for what is no project.
std::optional<Target> targetOf(const std::string& given, const WatchList& list,
                               std::string& error) {
    Target target{absolutePath(given), absolutePath(given), {}};
    std::error_code fault;
    auto row = rowWithPath(target.path, list);
    if (!row && !std::filesystem::exists(target.path, fault) && !rowsMeantBy(given, list).empty()) {
        row = rowOf(given, list, error);
        if (!row)
            return std::nullopt;
    }
    if (row) {
        const ZTProject& project = list.fileArray()[*row];
        target = {project.projectPath(), pathsOfRows(list)[*row],
                  project.selectedUUID().value_or("")};
    }
    return isProjectFile(target.path, error) ? std::optional(target) : std::nullopt;
}

/// Without a preferences file no snapshot is taken, so where nothing was ever set it is made now.
bool hasPreferences(Program& program, std::string& error) {
    error = program.storeSettings();
    if (error.empty() && !program.parts().preferences())
        program.parts().watchList().saveWatchList();
    return error.empty();
}

Names filesIn(const std::string& folder) { return namesInFolder(folder).value_or(Names()); }

Names withoutThose(Names names, const Names& those) {
    std::erase_if(names, [&](const std::string& name) {
        return name.starts_with('.') || std::ranges::find(those, name) != those.end();
    });
    return names;
}

bool anyEndsWith(const Names& names, std::string_view ending) {
    return std::ranges::any_of(names,
                               [&](const std::string& name) { return name.ends_with(ending); });
}

void tellLog(Program& program) {
    for (const std::string& line : program.lastLogLines(kTelling))
        complain("    " + line);
}

std::string_view kindOf(bool hasProjectCopy, bool hasXmlCopy) {
    if (!hasXmlCopy)
        return "project copy without an XML copy";
    return hasProjectCopy ? "project copy and XML copy"
                          : "XML copy; the project copy is as the one before";
}

/// Tells of the version that `made` are the files of.
int tell(Program& program, const std::string& project, const Names& made) {
    if (made.empty()) {
        complain("no version of " + project + " was made; the last lines of the log are:");
        tellLog(program);
        return kNothingDone;
    }
    const bool hasXmlCopy = anyEndsWith(made, ".xml");
    std::cout << "Version " << versionOfFile(made.back()) << " of " << onOneLine(project) << ", "
              << kindOf(anyEndsWith(made, ".fcp"), hasXmlCopy) << '\n';
    if (!hasXmlCopy)
        tellLog(program);
    return kDone;
}

} // namespace

int snapshot(Program& program, const Options& options) {
    std::string error;
    const auto target = targetOf(options.operands.front(), program.parts().watchList(), error);
    if (!target || !hasPreferences(program, error))
        return complain(error);
    const std::string folder =
        pathInFolder(program.preferences().backups.storagePath, fileNameOf(target->path));
    const Names before = filesIn(folder);
    {
        ProgressLine progress;
        progress.show("Taking a snapshot of " + onOneLine(fileNameOf(target->path)), std::nullopt);
        program.parts().backups().takeSnapshot(target->project, target->sequence);
    }
    return tell(program, std::string(fileNameOf(target->path)),
                withoutThose(filesIn(folder), before));
}

} // namespace cutstack::cutstackctl
