#pragma once

// Which applications this process has had started and that may not have come to answer yet. An
// event for one of them waits; an event for any other application that does not run fails at once.
// Any thread.

#include <chrono>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "platform/linux/Descriptor.h"
#include "platform/linux/SessionBus.h"

namespace cutstack {

/// A start that is under way until it is over: the started process has ended, or the bus said that
/// it could not start the application, or the application has answered.
class Launch {
public:
    Launch();

    /// Notes that the start is over. Any thread, any number of times.
    void end() const;
    [[nodiscard]] bool isOver() const;
    /// Becomes readable when the start is over, and stays so; to be polled, not read.
    [[nodiscard]] int descriptor() const { return over_.number(); }

private:
    Descriptor over_;
};

class LaunchedApplications {
public:
    /// How long an application is given to answer after it was started.
    static constexpr std::chrono::seconds kStartTime{120};

    /// Notes a start of the application with that identifier, in place of an earlier one.
    void remember(const std::string& identifier, std::shared_ptr<const Launch> launch);

    /// The start of that application, unless it is over or too long ago.
    [[nodiscard]] std::shared_ptr<const Launch> underWay(const std::string& identifier) const;

    /// The application answers: from now on it is only another one that runs or not.
    void forget(const std::string& identifier);

private:
    struct Entry {
        std::shared_ptr<const Launch> launch;
        std::chrono::steady_clock::time_point time;
    };
    mutable std::mutex guard_;
    std::map<std::string, Entry> entries_;
};

/// Waits until somebody has the name `identifier` on the bus; nothing when the launch was over
/// before, when the deadline has passed, or when the session ended.
[[nodiscard]] std::optional<NameOwner> awaitOwner(sd_bus* bus, const std::string& identifier,
                                                  const Launch& launch,
                                                  std::chrono::steady_clock::time_point deadline);

/// Those of this process. Lives as long as the process.
[[nodiscard]] LaunchedApplications& launchedApplications();

} // namespace cutstack
