#include "platform/SteadyClock.h"

#include <thread>

namespace cutstack {

namespace {

class MonotonicClock final : public SteadyClock {
public:
    std::chrono::steady_clock::time_point now() const override {
        return std::chrono::steady_clock::now();
    }
    void sleep(std::chrono::milliseconds duration) const override {
        std::this_thread::sleep_for(duration);
    }
};

} // namespace

const SteadyClock& steadyClock() {
    static const auto& instance = *new MonotonicClock;
    return instance;
}

} // namespace cutstack
