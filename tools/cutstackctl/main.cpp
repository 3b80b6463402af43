// cutstackctl: what Cutstack keeps, on a terminal.

#include "changes/ChangeFilter.h"
#include "changes/VersionSearch.h"
#include "platform/ProcessPreparation.h"
#include "store/VersionStore.h"
#include "tools/cutstackctl/History.h"
#include "tools/cutstackctl/HistoryOutput.h"
#include "tools/cutstackctl/Options.h"

#include <exception>
#include <filesystem>
#include <iostream>
#include <unistd.h>

namespace cutstack::cutstackctl {

namespace {

enum ExitStatus : int { kShown = 0, kNothingFound = 1, kTrouble = 2 };

int trouble(std::string_view message) {
    std::cerr << "cutstackctl: " << message << '\n';
    return kTrouble;
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

int history(const VersionStore& store, const Options& options) {
    const auto project = store.find(options.project);
    if (!project) {
        trouble("no project '" + options.project + "' in " + store.root());
        return kNothingFound;
    }
    History history = historyOf(*project);
    if (options.searchText)
        history.versions = versionsContaining(*options.searchText, history.versions);
    const ChangeFilter filter(options.hidden);
    for (VersionRecord& version : history.versions)
        version.changelist = filter.filterArray(version.changelist);
    print(history.versions, *project, options);
    std::cout.flush();
    for (const std::string& reason : history.notComputed)
        trouble(reason);
    if (!history.notComputed.empty())
        return kTrouble;
    return history.versions.empty() ? kNothingFound : kShown;
}

int projects(const VersionStore& store, const Options& options) {
    const auto projects = store.projects();
    if (options.json)
        printProjectsAsJson(std::cout, projects);
    else
        printProjects(std::cout, projects);
    return projects.empty() ? kNothingFound : kShown;
}

int perform(const Options& options) {
    if (options.command == Command::help || options.command == Command::version) {
        std::cout << (options.command == Command::help
                          ? helpText()
                          : std::string_view("cutstackctl (Cutstack) " CUTSTACK_VERSION "\n"));
        return kShown;
    }
    const auto folder = options.storeFolder ? options.storeFolder : userStoreFolder();
    if (!folder)
        return trouble("there is no home folder to look for the version store in");
    const VersionStore store(std::filesystem::weakly_canonical(*folder).string());
    return options.command == Command::history ? history(store, options) : projects(store, options);
}

int run(std::span<const char* const> arguments) {
    std::string error;
    const auto options = parseOptions(arguments, error);
    if (!options) {
        trouble(error);
        std::cerr << "Try 'cutstackctl --help'.\n";
        return kTrouble;
    }
    const int status = perform(*options);
    return std::cout.flush() ? status : trouble("the output could not be written");
}

} // namespace

} // namespace cutstack::cutstackctl

int main(int argc, char** argv) {
    cutstack::prepareProcess();
    try {
        return cutstack::cutstackctl::run({argv + (argc > 0 ? 1 : 0), argv + argc});
    } catch (const std::bad_alloc&) {
        return cutstack::cutstackctl::trouble("out of memory");
    } catch (const std::exception& exception) {
        return cutstack::cutstackctl::trouble(exception.what());
    }
}
