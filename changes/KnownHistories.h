#pragma once

// Which elements of the new document the base document knows by a UUID that they carried earlier.
// Answers for elements within elements without looking at their histories again and again. Both
// the NodeIdentity and the list outlive it. One thread at a time.

#include "changes/IdentityList.h"
#include "changes/NodeIdentity.h"

#include <optional>
#include <vector>

namespace cutstack {

class KnownHistories {
public:
    KnownHistories(const NodeIdentity& identity, const IdentityList& oldUUIDs)
        : identity_(identity), oldUUIDs_(oldUUIDs) {}

    /// Whether one of NodeIdentity::uuidHistoryForNode() is in the old list.
    [[nodiscard]] bool contains(Node node) const;

private:
    [[nodiscard]] bool isKnown(Node history) const;
    [[nodiscard]] const std::vector<NodeIndex>& places() const;

    const NodeIdentity& identity_;
    const IdentityList& oldUUIDs_;
    mutable std::optional<std::vector<NodeIndex>> places_; ///< of the histories that are known
};

} // namespace cutstack
