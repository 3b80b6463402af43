#include "tools/projecthost/Host.h"

#include <utility>

#include "fcp/EventCodes.h"
#include "support/Format.h"
#include "support/ZTLocalPaths.h"

namespace cutstack::projecthost {

namespace {

/// After so long without a question served documents are dropped from memory.
constexpr std::chrono::minutes kRest{2};

std::string newUuid() { return ZTLocalPaths::uuid(); }

} // namespace

Host::Host(const std::string& folder, std::function<void(std::string_view)> log)
    : log_(std::move(log)),
      identities_(folder + "/Identities.sqlite", {newUuid, log_}),
      services_{identities_, {systemClock(), interruption_}, newUuid, log_},
      projects_(ProjectListFile(folder + "/OpenProjects.plist"), services_,
                [this](const std::vector<std::string>& paths) { watcher_->watch(paths); }),
      events_(projects_) {}

/// The watcher works for the service until it has ended.
Host::~Host() { watcher_.reset(); }

Start Host::start(const std::vector<std::string>& files, std::string& error) {
    EventServiceHandlers handlers;
    handlers.handleEvent = [this](const Event& event) { return answer(event); };
    handlers.open = [this](const std::vector<std::string>& paths, bool) { open(paths); };
    bool isTaken = false;
    auto service =
        openEventService(std::string(kEditorIdentifier), std::move(handlers), isTaken, error);
    {
        const std::lock_guard lock(serviceGuard_);
        service_ = std::move(service);
    }
    if (service_ == nullptr)
        return isTaken ? Start::isElsewhere : Start::failed;
    WatcherReports reports;
    reports.changed = [this](std::vector<std::string> paths) {
        service_->perform([this, paths = std::move(paths)] { projects_.noteChanged(paths); });
    };
    reports.restPassed = [this] { service_->perform([this] { projects_.forgetContents(); }); };
    reports.log = log_;
    watcher_ = std::make_unique<ProjectWatcher>(std::move(reports), kRest);
    projects_.restore();
    open(files);
    return Start::serving;
}

bool Host::serve(std::string& error) {
    const bool wasStopped = interruption_.isInterrupted() || service_->serve(error);
    for (const auto& project : projects_.all())
        if (project->content().hasUnsavedImports())
            log_(formatString("%@ was not saved: what was imported into it is gone",
                              {project->path()}));
    return wasStopped;
}

void Host::stop() {
    interruption_.interrupt();
    const std::lock_guard lock(serviceGuard_);
    if (service_ != nullptr)
        service_->stop();
}

EventAnswer Host::answer(const Event& event) {
    auto answer = events_.answer(event);
    if (answer.status != EventStatus::noError && !answer.message.empty())
        log_(formatString("'%@': %@", {textOf(event.eventID), answer.message}));
    watcher_->beginRest();
    return answer;
}

void Host::open(const std::vector<std::string>& paths) {
    for (const std::string& path : paths) {
        std::string error;
        if (!projects_.open(path, error))
            log_(formatString("%@ cannot be opened: %@", {path, error}));
    }
    watcher_->beginRest();
}

} // namespace cutstack::projecthost
