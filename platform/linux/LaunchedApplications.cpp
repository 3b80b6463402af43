#include "platform/linux/LaunchedApplications.h"

#include <poll.h>
#include <sys/eventfd.h>

namespace cutstack {

Launch::Launch() : over_(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {}

void Launch::end() const { ::eventfd_write(over_.number(), 1); }

bool Launch::isOver() const {
    pollfd over{over_.number(), POLLIN, 0};
    return ::poll(&over, 1, 0) == 1;
}

void LaunchedApplications::remember(const std::string& identifier,
                                    std::shared_ptr<const Launch> launch) {
    const std::lock_guard lock(guard_);
    entries_[identifier] = {std::move(launch), std::chrono::steady_clock::now()};
}

std::shared_ptr<const Launch> LaunchedApplications::underWay(const std::string& identifier) const {
    const std::lock_guard lock(guard_);
    const auto entry = entries_.find(identifier);
    if (entry == entries_.end() || entry->second.launch->isOver() ||
        std::chrono::steady_clock::now() - entry->second.time > kStartTime)
        return nullptr;
    return entry->second.launch;
}

void LaunchedApplications::forget(const std::string& identifier) {
    const std::lock_guard lock(guard_);
    entries_.erase(identifier);
}

LaunchedApplications& launchedApplications() {
    static auto& instance = *new LaunchedApplications;
    return instance;
}

} // namespace cutstack
