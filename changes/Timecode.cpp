#include "changes/Timecode.h"

#include "support/Format.h"
#include "support/Numbers.h"

#include <algorithm>

namespace cutstack {

namespace {

/// The frame numbers that drop-frame timecode has left out before the frame `total`.
std::int32_t droppedBefore(std::int32_t total, std::int32_t timebase) {
    const std::int32_t minutes = total / timebase / 60;
    return 2 * (minutes - minutes / 10);
}

} // namespace

std::string timecodeOf(std::int32_t frames, const TimecodeFormat& format) {
    const bool countable = format.timebase > 0 && frames >= 0;
    const std::int32_t timebase = countable ? format.timebase : 1;
    std::int32_t total = countable ? wrappingSum(frames, format.startFrames) : 0;
    if (format.dropFrame && total > 0)
        total = wrappingSum(total, droppedBefore(total, timebase));
    total = std::max(total, 0);
    const std::int32_t seconds = total / timebase;
    return formatString(format.dropFrame ? "%0.2i:%0.2i:%0.2i;%0.2i" : "%0.2i:%0.2i:%0.2i:%0.2i",
                        {seconds / 3600 % 24, seconds / 60 % 60, seconds % 60, total % timebase});
}

} // namespace cutstack
