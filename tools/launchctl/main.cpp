// launchctl: jobs as property lists on the systemd user manager.

#include <algorithm>
#include <cstdlib>
#include <exception>
#include <iostream>
#include <new>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "platform/ProcessEnvironment.h"
#include "platform/ProcessPreparation.h"
#include "support/FolderListing.h"
#include "tools/launchctl/JobCommands.h"
#include "tools/launchctl/Watcher.h"

namespace cutstack::launchctl {

namespace {

enum ExitStatus : int { kDone = 0, kTrouble = 1 };

constexpr std::string_view kHelp =
    "Usage: launchctl load FILE...\n"
    "       launchctl unload FILE...\n"
    "       launchctl remove NAME\n"
    "       launchctl list [NAME]\n"
    "Runs jobs that property lists describe, through the systemd user manager.\n"
    "\n"
    "Exit status: 0 done, 1 trouble.\n";

int trouble(std::string_view message) {
    std::cerr << "launchctl: " << message << '\n';
    return kTrouble;
}

/// The folder that a variable of the environment names; empty when it names none.
std::string folderIn(const char* variable) {
    const char* value = std::getenv(variable);
    return value == nullptr || *value != '/' ? "" : withoutSlashAtEnd(value);
}

/// Where jobs and what is known about them have their places. On failure `error` says which
/// cannot be told.
std::optional<JobPlaces> placesHere(std::string& error) {
    const auto home = processEnvironment().homeFolder();
    std::string configuration = folderIn("XDG_CONFIG_HOME");
    if (configuration.empty() && home)
        configuration = *home + "/.config";
    const std::string runtime = folderIn("XDG_RUNTIME_DIR");
    if (configuration.empty())
        error = "this user has no home folder";
    if (runtime.empty())
        error = "XDG_RUNTIME_DIR is not set: there is no systemd user manager to ask";
    if (!error.empty())
        return std::nullopt;
    return JobPlaces{configuration + "/systemd/user", runtime + "/systemd/user",
                     runtime + "/cutstack", processEnvironment().executablePath()};
}

int watch(const std::string& file, const JobPlaces& places, const Systemctl& systemctl) {
    std::vector<std::string> ignoredKeys;
    std::string error;
    auto job = readJob(file, ignoredKeys, error);
    const UnitNames names = UnitNames::ofJobFile(file);
    if (!job) {
        systemLog().log(file + ": " + error);
        return kRefusedJobStatus;
    }
    if (job->watchPaths.empty())
        return kDone;
    Watcher(names, job->watchPaths, WatchRecord(places.records, names.stem()),
            {systemctl, systemClock(), systemLog()})
        .run();
    return kTrouble;
}

struct Verb {
    std::string_view name;
    std::size_t fewestOperands;
    std::size_t mostOperands;
};

constexpr std::size_t kAnyNumber = static_cast<std::size_t>(-1);
constexpr Verb kVerbs[] = {{"load", 1, kAnyNumber},
                           {"unload", 1, kAnyNumber},
                           {"remove", 1, 1},
                           {"list", 0, 1},
                           {"watch", 1, 1}}; // for units only

bool isCommand(std::string_view verb, std::size_t operands) {
    return std::ranges::any_of(kVerbs, [&](const Verb& known) {
        return known.name == verb && operands >= known.fewestOperands &&
               operands <= known.mostOperands;
    });
}

bool perform(std::string_view verb, const std::vector<std::string>& operands,
             JobCommands& commands) {
    if (verb == "remove")
        return commands.remove(operands.front());
    if (verb == "list")
        return commands.list(std::cout,
                             operands.empty() ? std::nullopt : std::optional(operands.front()));
    bool isDone = true;
    for (const std::string& file : operands)
        isDone = (verb == "load" ? commands.load(file) : commands.unload(file)) && isDone;
    return isDone;
}

int run(std::span<const char* const> arguments) {
    const std::string_view verb = arguments.empty() ? "" : arguments.front();
    if (verb == "--help" || verb == "-h" || verb == "help")
        return std::cout << kHelp << std::flush ? kDone : kTrouble;
    if (verb == "--version")
        return std::cout << "launchctl (Cutstack) " CUTSTACK_VERSION "\n"
                         << std::flush
                   ? kDone
                   : kTrouble;
    if (!isCommand(verb, arguments.empty() ? 0 : arguments.size() - 1)) {
        std::cerr << kHelp;
        return kTrouble;
    }
    const std::vector<std::string> operands(arguments.begin() + 1, arguments.end());
    std::string error;
    const auto places = placesHere(error);
    if (!places)
        return trouble(error);
    const Systemctl systemctl(childProcessLauncher());
    if (verb == "watch")
        return watch(operands.front(), *places, systemctl);
    JobCommands commands(*places, systemctl, systemClock(), std::cerr);
    return perform(verb, operands, commands) ? kDone : kTrouble;
}

} // namespace

} // namespace cutstack::launchctl

int main(int argc, char** argv) {
    cutstack::prepareProcess();
    try {
        return cutstack::launchctl::run({argv + (argc > 0 ? 1 : 0), argv + argc});
    } catch (const std::bad_alloc&) {
        return cutstack::launchctl::trouble("out of memory");
    } catch (const std::exception& exception) {
        return cutstack::launchctl::trouble(exception.what());
    }
}
