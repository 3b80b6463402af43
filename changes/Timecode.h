#pragma once

// Frame counts as timecodes. Pure functions; any thread.

#include <cstdint>
#include <string>

namespace cutstack {

/// How a frame count of some element is shown.
struct TimecodeFormat {
    std::int32_t timebase = 30;   ///< frames a second
    std::int32_t startFrames = 0; ///< the frame count at which the element's sequence starts
    bool dropFrame = true;        ///< shown with a semicolon before the frames
};

/// The timecode of `frames`, counted from the start of the format: "01:00:00;00" in drop-frame,
/// "01:00:00:00" in non-drop; hours wrap at 24.
///
/// Drop-frame leaves out two frame numbers in every minute but every tenth, with the minutes
/// counted from the unadjusted frame count and whatever the timebase is. That is simpler than
/// SMPTE 12M, which counts the minutes that are displayed, and on purpose: editors compare these
/// sentences with those of older versions.
/// A timebase of 0 or below, a negative count or a negative total give the zero timecode.
[[nodiscard]] std::string timecodeOf(std::int32_t frames, const TimecodeFormat& format);

} // namespace cutstack
