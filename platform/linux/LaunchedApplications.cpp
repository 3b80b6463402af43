#include "platform/linux/LaunchedApplications.h"

#include <algorithm>
#include <poll.h>
#include <sys/eventfd.h>

namespace cutstack {

namespace {

using SteadyClock = std::chrono::steady_clock;

/// Handles whatever has come from the bus; false when there was nothing.
bool drain(sd_bus* bus) {
    bool hasCome = false;
    while (sd_bus_process(bus, nullptr) > 0)
        hasCome = true;
    return hasCome;
}

int ignoreSignal(sd_bus_message* /*message*/, void* /*context*/, sd_bus_error* /*error*/) {
    return 0;
}

/// Waits until something comes from the bus, the launch is over, or the deadline has passed.
void awaitChange(sd_bus* bus, const Launch& launch, SteadyClock::time_point deadline) {
    constexpr std::chrono::milliseconds longest = std::chrono::minutes(1);
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - SteadyClock::now());
    pollfd watched[] = {{sd_bus_get_fd(bus), POLLIN, 0}, {launch.descriptor(), POLLIN, 0}};
    ::poll(watched, 2,
           static_cast<int>(std::clamp(left, std::chrono::milliseconds::zero(), longest).count()));
}

} // namespace

Launch::Launch() : over_(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {}

void Launch::end() const { ::eventfd_write(over_.number(), 1); }

bool Launch::isOver() const {
    pollfd over{over_.number(), POLLIN, 0};
    return ::poll(&over, 1, 0) == 1;
}

void LaunchedApplications::remember(const std::string& identifier,
                                    std::shared_ptr<const Launch> launch) {
    const std::lock_guard lock(guard_);
    entries_[identifier] = {std::move(launch), SteadyClock::now()};
}

std::shared_ptr<const Launch> LaunchedApplications::underWay(const std::string& identifier) const {
    const std::lock_guard lock(guard_);
    const auto entry = entries_.find(identifier);
    if (entry == entries_.end() || entry->second.launch->isOver() ||
        SteadyClock::now() - entry->second.time > kStartTime)
        return nullptr;
    return entry->second.launch;
}

void LaunchedApplications::forget(const std::string& identifier) {
    const std::lock_guard lock(guard_);
    entries_.erase(identifier);
}

std::optional<NameOwner> awaitOwner(sd_bus* bus, const std::string& identifier,
                                    const Launch& launch, SteadyClock::time_point deadline) {
    const std::string match = "type='signal',sender='org.freedesktop.DBus',"
                              "member='NameOwnerChanged',arg0='" +
                              identifier + "'";
    if (sd_bus_add_match(bus, nullptr, match.c_str(), ignoreSignal, nullptr) < 0)
        return std::nullopt;
    for (;;) {
        const bool isLast =
            launch.isOver() || SteadyClock::now() >= deadline || sd_bus_is_open(bus) <= 0;
        auto owner = ownerOf(bus, identifier);
        if (owner || isLast)
            return owner;
        // The news may have come with the answer to the question above.
        if (!drain(bus))
            awaitChange(bus, launch, deadline);
    }
}

LaunchedApplications& launchedApplications() {
    static auto& instance = *new LaunchedApplications;
    return instance;
}

} // namespace cutstack
