#pragma once

// Which items of an export are the ones that were served before.
//
// Sequences and bins first (ContainerMatching), then what they hold: in the same container before
// anywhere else, and in each by the strongest sign that is left,
//
//      a UUID that both were known by
//      the same medium and the same frames of it
//      the same medium and frames that overlap
//      (without any medium) the same frames at the same place
//
// where a medium is the same by its path, else by its file name, else by the item's name. Of
// several that are equally good the one nearest in time is taken, where time moves with the items
// around it (an insertion shifts all that follows), then the first. What was removed some saves ago
// is considered last, so that an undo gives it its identity back.
//
// Pure, deterministic, and near-linear: whatever the items are, an item is compared with a limited
// number of others. Any thread.

#include "tools/projecthost/identity/Items.h"

#include <vector>

namespace cutstack::projecthost {

/// For each item of `items` the index in `known` of the item that it is, or kNoItem for a new one.
/// No known item is given twice, and none of another kind. `known` may have retired items anywhere.
[[nodiscard]] std::vector<ItemIndex> matchItems(const std::vector<KnownItem>& known,
                                                const std::vector<Item>& items);

} // namespace cutstack::projecthost
