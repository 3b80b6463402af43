#pragma once

// Time that only passes, for waiting: setting the machine's clock does not touch it. Any thread.

#include <chrono>

namespace cutstack {

class SteadyClock {
public:
    virtual ~SteadyClock() = default;

    [[nodiscard]] virtual std::chrono::steady_clock::time_point now() const = 0;

    /// Returns when `duration` has passed.
    virtual void sleep(std::chrono::milliseconds duration) const = 0;
};

/// The system's. Lives as long as the process.
[[nodiscard]] const SteadyClock& steadyClock();

} // namespace cutstack
