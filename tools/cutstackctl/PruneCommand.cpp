#include "tools/cutstackctl/PruneCommand.h"

#include "platform/FileStamp.h"
#include "store/VersionNames.h"
#include "support/FolderListing.h"
#include "tools/SentenceOutput.h"
#include "tools/cutstackctl/Messages.h"

#include <iostream>

namespace cutstack::cutstackctl {

namespace {

struct Removal {
    std::string folder;
    std::string name;
    std::string rule;
    std::uint64_t sizeInBytes = 0;
};

std::uint64_t sizeOf(const std::string& path) {
    std::string error;
    const auto stamp = fileStamp(path, error);
    return stamp ? stamp->sizeInBytes : 0;
}

std::vector<Removal> plannedRemovals(const std::vector<FolderPlan>& plans,
                                     const RetentionRules& rules) {
    std::vector<Removal> removals;
    for (const FolderPlan& folder : plans)
        for (const PlannedRemoval& file : folder.plan.removals)
            removals.push_back({folder.folder, file.name, descriptionOf(file.rule, rules),
                                sizeOf(pathInFolder(folder.folder, file.name))});
    return removals;
}

void printAsJson(const std::vector<Removal>& removals) {
    for (const Removal& removal : removals)
        printJsonLine(std::cout, {{"project", fileNameOf(removal.folder)},
                                  {"file", pathInFolder(removal.folder, removal.name)},
                                  {"rule", removal.rule},
                                  {"bytes", removal.sizeInBytes}});
}

void print(const std::vector<Removal>& removals) {
    const std::string* folder = nullptr;
    std::uint64_t total = 0;
    for (const Removal& removal : removals) {
        if (folder == nullptr || *folder != removal.folder)
            std::cout << onOneLine(removal.folder) << '\n';
        folder = &removal.folder;
        total += removal.sizeInBytes;
        std::cout << "    " << onOneLine(removal.name) << "  "
                  << formatFileSize(removal.sizeInBytes) << "  " << removal.rule << '\n';
    }
    std::cout << removals.size() << (removals.size() == 1 ? " file, " : " files, ")
              << formatFileSize(total) << ", would be removed at the end of the next backup; "
              << "nothing was removed now\n";
}

} // namespace

int prune(Program& program, const Options& options) {
    const BackupPreferences preferences = program.preferences();
    const RetentionRules& rules = preferences.retention;
    const auto plans = program.parts().retention().plan(preferences.backups.storagePath, rules);
    const auto removals = plannedRemovals(plans, rules);
    if (options.json)
        printAsJson(removals);
    else if (!removals.empty())
        print(removals);
    else
        std::cout << (rules.manageBackups ? "Nothing would be removed\n"
                                          : "Old versions are kept: removing them is turned off\n");
    if (!options.json && !plans.empty() && plans.back().plan.endsRun)
        std::cout << "The projects behind " << onOneLine(fileNameOf(plans.back().folder))
                  << " would not be looked at in that run\n";
    return removals.empty() ? kNothingDone : kDone;
}

} // namespace cutstack::cutstackctl
