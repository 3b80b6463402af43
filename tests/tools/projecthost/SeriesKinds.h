#pragma once

// The kinds of series that identities are tried on.

#include "tests/tools/projecthost/TimelineSeries.h"

#include <array>

namespace cutstack::projecthost {

inline constexpr std::array kSeriesKinds = {
    SeriesKind{"Numbers go on", Numbering::session, true, false, 60, 12, 3},
    SeriesKind{"Numbers begin anew", Numbering::restarted, true, false, 60, 12, 3},
    SeriesKind{"Names and counters", Numbering::nameAndCounter, true, false, 60, 12, 3},
    SeriesKind{"One medium", Numbering::session, true, false, 60, 1, 3},
    SeriesKind{"Many edits", Numbering::session, true, false, 60, 12, 15},
    SeriesKind{"Own names, ends of tracks", Numbering::session, false, true, 60, 12, 3},
    SeriesKind{"Own names, anywhere", Numbering::session, false, false, 60, 12, 3},
};

} // namespace cutstack::projecthost
