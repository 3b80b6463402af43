#include "tools/cutstackctl/HistoryCommands.h"

#include "changes/ChangeFilter.h"
#include "changes/VersionSearch.h"
#include "store/VersionStore.h"
#include "tools/cutstackctl/History.h"
#include "tools/cutstackctl/HistoryOutput.h"
#include "tools/cutstackctl/Messages.h"

#include <filesystem>
#include <iostream>
#include <unistd.h>

namespace cutstack::cutstackctl {

namespace {

std::optional<VersionStore> storeOf(const Options& options) {
    const auto folder = options.storeFolder ? options.storeFolder : userStoreFolder();
    if (folder)
        return VersionStore(std::filesystem::weakly_canonical(*folder).string());
    complain("there is no home folder to look for the version store in");
    return std::nullopt;
}

bool isColoured(Colour colour) {
    return colour == Colour::always ||
           (colour == Colour::onTerminals && isatty(STDOUT_FILENO) == 1);
}

void print(const std::vector<VersionRecord>& versions, const StoredProject& project,
           const Options& options) {
    if (options.json)
        printVersionsAsJson(std::cout, versions, project.name);
    else
        printVersions(std::cout, versions, systemClock(), isColoured(options.colour));
}

} // namespace

int history(const Options& options) {
    const auto store = storeOf(options);
    if (!store)
        return kTrouble;
    const std::string& name = options.operands.front();
    const auto project = store->find(name);
    if (!project)
        return complain("no project '" + name + "' in " + store->root(), kNothingDone);
    History history = historyOf(*project);
    if (options.searchText)
        history.versions = versionsContaining(*options.searchText, history.versions);
    const ChangeFilter filter(options.hidden);
    for (VersionRecord& version : history.versions)
        version.changelist = filter.filterArray(version.changelist);
    print(history.versions, *project, options);
    for (const std::string& reason : history.notComputed)
        complain(reason);
    if (!history.notComputed.empty())
        return kTrouble;
    return history.versions.empty() ? kNothingDone : kDone;
}

int projects(const Options& options) {
    const auto store = storeOf(options);
    if (!store)
        return kTrouble;
    const auto projects = store->projects();
    if (options.json)
        printProjectsAsJson(std::cout, projects);
    else
        printProjects(std::cout, projects);
    return projects.empty() ? kNothingDone : kDone;
}

} // namespace cutstack::cutstackctl
