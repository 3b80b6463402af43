#pragma once

// What the base document had and the new one has not, told by the UUIDs that are gone.

#include "changes/ComparisonHost.h"
#include "changes/IdentityList.h"
#include "changes/NodeIdentity.h"
#include "changes/Wording.h"

#include <string>
#include <vector>

namespace cutstack {

/// Appends "%@ %@ removed" to `sentences` for each UUID of `oldUUIDs` that is not in `newUUIDs`, in
/// the order of the old list, unless the UUID stands in the history of an item first. A UUID that
/// holds a quotation mark cannot be looked up, which the console is told.
///
/// Ids that are gone are only told to the console, a line each: the query for them has no value,
/// which keeps ids, which editors renumber at every export, from being taken for identities.
void appendRemovals(const NodeIdentity& base, const IdentityList& oldUUIDs,
                    const IdentityList& newUUIDs, const IdentityList& oldIDs,
                    const IdentityList& newIDs, ComparisonHost& host, SentenceBudget& budget,
                    std::vector<std::string>& sentences);

} // namespace cutstack
