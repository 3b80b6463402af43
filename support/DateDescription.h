#pragma once

// How a moment is written in logs. Pure functions; any thread.

#include <chrono>
#include <string>

#include "platform/Clock.h"

namespace cutstack {

/// "2010-03-14 17:05:09 +0100": a moment in the local time of a zone that is `zoneOffset` ahead of
/// UTC.
[[nodiscard]] std::string dateDescription(std::chrono::system_clock::time_point moment,
                                          std::chrono::seconds zoneOffset);

/// The present moment by `clock`, in its zone.
[[nodiscard]] std::string dateDescription(const Clock& clock);

} // namespace cutstack
