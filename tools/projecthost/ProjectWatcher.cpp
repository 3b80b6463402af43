#include "tools/projecthost/ProjectWatcher.h"

#include <algorithm>
#include <utility>

#include "support/Format.h"

namespace cutstack::projecthost {

ProjectWatcher::ProjectWatcher(WatcherReports reports, std::chrono::milliseconds rest)
    : reports_(std::move(reports)),
      rest_(rest),
      newPaths_(std::vector<std::string>()),
      thread_([this] { run(); }) {}

ProjectWatcher::~ProjectWatcher() {
    {
        const std::lock_guard lock(guard_);
        isStopping_ = true;
        wake();
    }
    thread_.join();
}

void ProjectWatcher::watch(std::vector<std::string> paths) {
    const std::lock_guard lock(guard_);
    newPaths_ = std::move(paths);
    wake();
}

void ProjectWatcher::beginRest() {
    const std::lock_guard lock(guard_);
    const bool isWaiting = restEnd_.has_value();
    restEnd_ = std::chrono::steady_clock::now() + rest_;
    if (!isWaiting)
        wake();
}

/// REQUIRES: the guard is held.
void ProjectWatcher::wake() {
    if (watch_ != nullptr)
        watch_->wake();
}

std::shared_ptr<FileWatch> ProjectWatcher::makeWatch(const std::vector<std::string>& paths) {
    std::string error;
    std::shared_ptr<FileWatch> watch = watchFiles(paths, error);
    if (watch == nullptr) {
        reports_.log(formatString("The open projects cannot be watched: %@", {error}));
        watch = watchFiles({}, error);
    }
    return watch;
}

std::shared_ptr<FileWatch> ProjectWatcher::nextWatch() {
    std::unique_lock lock(guard_);
    while (newPaths_ && !isStopping_) {
        const auto paths = *std::exchange(newPaths_, std::nullopt);
        lock.unlock();
        auto watch = makeWatch(paths);
        lock.lock();
        watch_ = std::move(watch);
    }
    return isStopping_ ? nullptr : watch_;
}

std::chrono::milliseconds ProjectWatcher::timeToWait() {
    const std::lock_guard lock(guard_);
    if (!restEnd_)
        return std::chrono::milliseconds(-1);
    const auto left =
        std::chrono::ceil<std::chrono::milliseconds>(*restEnd_ - std::chrono::steady_clock::now());
    return std::max(left, std::chrono::milliseconds::zero());
}

void ProjectWatcher::reportRest() {
    {
        const std::lock_guard lock(guard_);
        if (!restEnd_ || std::chrono::steady_clock::now() < *restEnd_)
            return;
        restEnd_.reset();
    }
    reports_.restPassed();
}

void ProjectWatcher::run() {
    // Without a watch, not even of nothing, there is nothing to wait for.
    while (const auto watch = nextWatch()) {
        auto changed = watch->wait(timeToWait());
        if (!changed.empty())
            reports_.changed(std::move(changed));
        reportRest();
    }
}

} // namespace cutstack::projecthost
