#include "changes/KnownHistories.h"

#include <algorithm>
#include <string>

namespace cutstack {

bool KnownHistories::isKnown(Node history) const {
    const std::string uuid = identity_.child(history, XmemlName::uuid).stringValue();
    return !uuid.empty() && oldUUIDs_.contains(uuid);
}

const std::vector<NodeIndex>& KnownHistories::places() const {
    if (places_)
        return *places_;
    places_.emplace();
    for (const NodeIndex place : identity_.document().elementsNamed(XmemlName::itemhistory))
        if (const Node history(identity_.document(), place);
            identity_.child(history.parent(), XmemlName::itemhistory) == history &&
            isKnown(history))
            places_->push_back(place);
    return *places_;
}

bool KnownHistories::contains(Node node) const {
    const Node own = identity_.child(node, XmemlName::itemhistory);
    if (identity_.child(own, XmemlName::uuid).exists())
        return isKnown(own);
    const auto next = std::ranges::upper_bound(places(), node.index());
    return next != places().end() && node.encloses(Node(identity_.document(), *next));
}

} // namespace cutstack
