#include "platform/Clock.h"

#include <ctime>

namespace cutstack {

namespace {

class LocalClock final : public Clock {
public:
    std::chrono::system_clock::time_point now() const override {
        return std::chrono::system_clock::now();
    }

    std::chrono::seconds zoneOffset(std::chrono::system_clock::time_point moment) const override {
        const std::time_t seconds = std::chrono::system_clock::to_time_t(moment);
        tm local{};
        localtime_r(&seconds, &local);
        return std::chrono::seconds(local.tm_gmtoff);
    }
};

} // namespace

Clock& systemClock() {
    static auto& instance = *new LocalClock;
    return instance;
}

} // namespace cutstack
