#pragma once

// The time, for whoever must write it down. Any thread.

#include <chrono>

namespace cutstack {

class Clock {
public:
    virtual ~Clock() = default;

    [[nodiscard]] virtual std::chrono::system_clock::time_point now() const = 0;

    /// How far local time is ahead of UTC at that moment.
    [[nodiscard]] virtual std::chrono::seconds
    zoneOffset(std::chrono::system_clock::time_point moment) const = 0;
};

/// The system's clock and the user's time zone. Lives as long as the process.
[[nodiscard]] Clock& systemClock();

} // namespace cutstack
