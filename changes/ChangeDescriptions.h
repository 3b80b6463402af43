#pragma once

// The wording of one changed value: which sentence says that this leaf element of the new document
// no longer has the value it had. The sentences are a table (ChangeWording.h), tested from top to
// bottom by the names of the element and of what encloses it; the first row that matches decides.
//
// One thread at a time, that of the comparison.

#include "changes/ComparisonHost.h"
#include "changes/IdentityList.h"
#include "changes/NodeIdentity.h"
#include "changes/Wording.h"

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_set>

namespace cutstack {

using TextSet = std::unordered_set<std::string>;

/// A leaf element whose value changed, and its counterpart in the base document.
struct ChangedLeaf {
    Node node;
    std::string newValue;
    Node oldNode;
    std::string oldValue;
};

/// What the table says to a change: the row that decided and its sentence, if it has one.
struct Description {
    std::size_t row = 0;
    std::optional<std::string> sentence;
};

class ChangeDescriptions {
public:
    /// `baseMarkerNames` are the names of the base document's markers, `oldUUIDs` those UUIDs that
    /// it is taken to hold. All arguments outlive this.
    ChangeDescriptions(const NodeIdentity& newDocument, const TextSet& baseMarkerNames,
                       const IdentityList& oldUUIDs, ComparisonHost& host, SentenceBudget& budget);

    /// The sentence for a change, or nothing when the table has none for it. When the user
    /// cancelled, ends the progress display and returns nothing. A change that the table does not
    /// foresee is logged as "Unknown change: ..." and worded by its element name and value.
    [[nodiscard]] std::optional<std::string> changeStringFromNode(const ChangedLeaf& change);

    /// The same without regard to a cancellation, with the row that decided.
    [[nodiscard]] Description describe(const ChangedLeaf& change);

    /// How many rows the table has.
    [[nodiscard]] static std::size_t rowCount();

private:
    friend class ChangeWordingContext;

    [[nodiscard]] std::string fallBack(const ChangedLeaf& change);

    const NodeIdentity& identity_;
    const TextSet& baseMarkerNames_;
    const IdentityList& oldUUIDs_;
    ComparisonHost& host_;
    SentenceBudget& budget_;
};

} // namespace cutstack
