#include "tools/projecthost/Commands.h"

#include <algorithm>
#include <iostream>
#include <optional>
#include <string_view>

#include "fcp/EventCodes.h"
#include "fcp/EventExchange.h"
#include "fcp/ZTAppleEvents.h"
#include "platform/Clock.h"
#include "support/Workspace.h"
#include "tools/projecthost/OpenProjects.h"
#include "tools/projecthost/ProjectContent.h"

namespace cutstack::projecthost {

namespace {

using Paths = std::vector<std::string>;

const std::string& host() {
    static const auto& identifier = *new std::string(kEditorIdentifier);
    return identifier;
}

bool complain(std::string_view about, std::string_view message) {
    std::cerr << "projecthost: " << about << (about.empty() ? "" : ": ") << message << '\n';
    return false;
}

bool isHostRunning() { return Workspace::sharedWorkspace().isRunning(host()); }

/// Waits for a host that is being started; true when it answers.
bool awaitHost() {
    return exchangeEvent({.eventID = EditorEvent::listOpenProjects}, EditorServices::ofProcess())
        .has_value();
}

bool contains(const Paths& paths, const std::string& path) {
    return std::ranges::find(paths, path) != paths.end();
}

/// What the host has open; nothing, after a message, when none answers.
std::optional<Paths> openPaths() {
    auto paths = isHostRunning() ? ZTAppleEvents::listOfOpenFCPProjects() : std::nullopt;
    if (!paths)
        complain("", "no project host is running");
    return paths;
}

/// The path by which the host knows the file, when it is a project; else nothing, after a message.
std::optional<std::string> projectToOpen(const std::string& file) {
    std::string error;
    Interruption none;
    auto path = projectPath(file, error);
    if (path && !readWholeFile(*path, {systemClock(), none}, acceptProject, error))
        path.reset();
    if (!path)
        complain(file, error);
    return path;
}

/// How often a host is asked that has gone when the answer is due.
constexpr int kAttempts = 3;

bool askToOpen(const std::string& path) {
    for (int i = 0; i < kAttempts; ++i) {
        if (Workspace::sharedWorkspace().openFile(path, host(), LaunchOptions::withoutActivation) &&
            awaitHost())
            return true;
        if (isHostRunning())
            break;
        // It was just ending when it was asked; another one can be started now.
    }
    return complain("", "the project host cannot be started");
}

/// Asks for one file after the other: the first one may start the host.
bool askToOpen(const Paths& paths) {
    return std::ranges::all_of(paths, [](const std::string& path) { return askToOpen(path); });
}

} // namespace

bool openInHost(const Paths& files) {
    Paths paths;
    for (const std::string& file : files)
        if (auto path = projectToOpen(file))
            paths.push_back(*std::move(path));
    bool isDone = paths.size() == files.size();
    if (paths.empty() || !askToOpen(paths))
        return false;
    const auto open = openPaths();
    for (const std::string& path : paths)
        if (open && !contains(*open, path))
            isDone = complain(path, "the project host did not open it, and its log says why");
    return isDone && open;
}

bool handOver(const Paths& files) {
    bool isDone = true;
    for (const std::string& file : files) {
        std::string error;
        if (!desktop().open(file, host(), "", LaunchOptions::withoutActivation, error))
            isDone = complain(file, error);
    }
    return awaitHost() && isDone;
}

bool listProjects() {
    const auto paths = openPaths();
    for (const std::string& path : paths.value_or(Paths()))
        std::cout << path << '\n';
    return paths && (std::cout.flush() || complain("", "the list could not be written"));
}

bool closeProjects(const Paths& files, bool savesChanges) {
    const auto open = openPaths();
    if (!open)
        return false;
    bool isDone = true;
    for (const std::string& file : files) {
        std::string error;
        const auto path = projectPath(file, error);
        if (!path || !contains(*open, *path)) {
            isDone = complain(file, path ? "is not open" : error);
            continue;
        }
        ZTAppleEvents::closeProject(*path, savesChanges);
        const auto left = ZTAppleEvents::listOfOpenFCPProjects();
        if (!left || contains(*left, *path))
            isDone = complain(file, "was not closed");
    }
    return isDone;
}

} // namespace cutstack::projecthost
