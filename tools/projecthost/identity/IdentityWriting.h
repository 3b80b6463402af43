#pragma once

// Writes an export out again with other ids and UUIDs. Nothing else is touched: what stands between
// the places that change is copied byte by byte, so white space, comments, entities, CDATA, the
// order of attributes and the document type survive as they are. Pure; any thread.

#include "tools/projecthost/identity/ItemReading.h"

#include <string>
#include <vector>

namespace cutstack::projecthost {

/// What an item is called in the document that is written. Ids and UUIDs have nothing in them that
/// XML would escape.
struct ServedIdentity {
    std::string id;
    std::string uuid; ///< put where UuidWanted says
};

/// The document with the ids of all mentions and the wanted UUIDs of `list` replaced or inserted.
/// An encoding that the XML declaration states becomes UTF-8.
/// REQUIRES: `list` was read from `document`; `served` has one entry for each item.
[[nodiscard]] std::string withIdentities(const std::string& document, const ItemList& list,
                                         const std::vector<ServedIdentity>& served);

} // namespace cutstack::projecthost
