#pragma once

// The wording of elements that only the new document has: clips, bins, markers, filters and so on
// that were added. The sentences are a table (AdditionWording.h). Pure functions on one document;
// the thread of its NodeIdentity.

#include "changes/NodeIdentity.h"
#include "changes/Wording.h"

#include <cstddef>
#include <string>

namespace cutstack {

/// What the table says to an added element: the row that decided and its sentence.
struct Addition {
    std::size_t row = 0;
    std::string sentence;
};

/// The sentence for an added element.
/// REQUIRES: its name is multiclip, clipitem, bin, generatoritem, transitionitem, marker, effect or
/// sequence.
[[nodiscard]] Addition additionOf(const NodeIdentity& identity, Node added, SentenceBudget& budget);

/// How many rows the table has.
[[nodiscard]] std::size_t additionRowCount();

} // namespace cutstack
