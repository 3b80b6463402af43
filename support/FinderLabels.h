#pragma once

// The colours of the labels that a Mac gives its files. A label is the colour field of the file's
// Finder flags (their bits 1 to 3), used where it stands: 0, 2, 4, ... 14. Pure; any thread.

#include <cstdint>
#include <optional>

namespace cutstack {

/// The bits of the Finder flags that hold the label.
inline constexpr std::uint16_t kFinderColorMask = 0x000E;

/// A colour as hue, saturation and brightness, each from 0 to 1; opaque.
struct FinderColor {
    double hue;
    double saturation;
    double brightness;

    friend bool operator==(const FinderColor&, const FinderColor&) = default;
};

/// The colour of a label; an odd index is that of the even one below it. Nothing for no label, and
/// for what is none.
[[nodiscard]] std::optional<FinderColor> finderColorOfIndex(int index);

} // namespace cutstack
