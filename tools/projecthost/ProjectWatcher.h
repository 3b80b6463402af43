#pragma once

// Watches the files of the open projects on a thread of its own, and notices when nobody has asked
// for anything in a while. It reports from that thread.

#include <chrono>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "platform/FileWatch.h"

namespace cutstack::projecthost {

struct WatcherReports {
    std::function<void(std::vector<std::string> paths)> changed;
    std::function<void()> restPassed;
    std::function<void(std::string_view)> log;
};

class ProjectWatcher {
public:
    /// Watches nothing yet. A rest is over after `rest`.
    ProjectWatcher(WatcherReports reports, std::chrono::milliseconds rest);
    /// Reports nothing any more.
    ~ProjectWatcher();
    ProjectWatcher(const ProjectWatcher&) = delete;
    ProjectWatcher& operator=(const ProjectWatcher&) = delete;

    /// Watches these files from now on, and no others. Any thread.
    void watch(std::vector<std::string> paths);

    /// Begins to wait for the end of a rest, anew if it was waiting already. Any thread.
    void beginRest();

private:
    using TimePoint = std::chrono::steady_clock::time_point;

    void run();
    /// The watch to wait for; nullptr when it is time to end.
    std::shared_ptr<FileWatch> nextWatch();
    std::shared_ptr<FileWatch> makeWatch(const std::vector<std::string>& paths);
    std::chrono::milliseconds timeToWait();
    void reportRest();
    void wake();

    const WatcherReports reports_;
    const std::chrono::milliseconds rest_;
    std::mutex guard_; ///< of all below
    bool isStopping_ = false;
    std::optional<std::vector<std::string>> newPaths_;
    std::optional<TimePoint> restEnd_;
    std::shared_ptr<FileWatch> watch_;
    std::thread thread_;
};

} // namespace cutstack::projecthost
