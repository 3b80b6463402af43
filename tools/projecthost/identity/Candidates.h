#pragma once

// Which of several items that may be the same are: the nearest ones. A group has known items and
// items of the export that a sign brings together; an item may be in several groups. However large
// a group is, an item is compared with a limited number of others. One thread.

#include "tools/projecthost/identity/Assignment.h"

#include <vector>

namespace cutstack::projecthost {

struct CandidateGroup {
    std::vector<ItemIndex> known;
    std::vector<ItemIndex> items;
};

/// What two of a group have to agree in besides.
enum class Agreement : std::uint8_t {
    none,
    medium, ///< by any sign
    overlappingRanges
};

/// Joins the pairs of each group that agree, nearest first; groups in their order, but those with
/// one known item and one item before all others, since they tell how far things have moved.
void joinNearest(Assignment& assignment, Era era, const std::vector<CandidateGroup>& groups,
                 Agreement agreement);

} // namespace cutstack::projecthost
