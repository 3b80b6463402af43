#pragma once

// The running host: takes the editor's name on the session's bus and serves the open projects until
// it is told to end.
//
//   bus ──> ProjectEvents ──> OpenProjects ──> ProjectContent ──> files
//   watcher ──perform──────────────^
//
// Everything but the watching happens on the thread that serves.

#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include "platform/EventService.h"
#include "tools/projecthost/OpenProjects.h"
#include "tools/projecthost/ProjectEvents.h"
#include "tools/projecthost/ProjectWatcher.h"

namespace cutstack::projecthost {

/// How the host's start went.
enum class Start { serving, isElsewhere, failed };

class Host {
public:
    /// Keeps its list and its identities in `folder`, and tells `log` what an administrator should
    /// know. Nothing is open yet.
    Host(const std::string& folder, std::function<void(std::string_view)> log);
    ~Host();
    Host(const Host&) = delete;
    Host& operator=(const Host&) = delete;

    /// Takes the name, then opens what was open before, and `files`. `isElsewhere` when another
    /// process has the name; on failure the reason is in `error`.
    [[nodiscard]] Start start(const std::vector<std::string>& files, std::string& error);

    /// Serves until stop(). Returns false, with the reason in `error`, when the session ended.
    /// REQUIRES: start() answered `serving`.
    [[nodiscard]] bool serve(std::string& error);

    /// Ends serve(), also one that has yet to come, and the waiting for a file in the making. Any
    /// thread.
    void stop();

private:
    EventAnswer answer(const Event& event);
    void open(const std::vector<std::string>& paths);

    const std::function<void(std::string_view)> log_;
    Interruption interruption_;
    IdentityStore identities_;
    const ContentServices services_;
    OpenProjects projects_;
    ProjectEvents events_;
    std::mutex serviceGuard_; ///< of the making of the service
    std::unique_ptr<EventService> service_;
    std::unique_ptr<ProjectWatcher> watcher_;
};

} // namespace cutstack::projecthost
