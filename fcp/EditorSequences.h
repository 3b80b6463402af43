#pragma once

// The sequences that an export or a table of contents of the editor holds. Pure; any thread.

#include <optional>
#include <string>
#include <vector>

#include "platform/SharedBytes.h"
#include "support/StrictXml.h"

namespace cutstack {

struct EditorSequence {
    std::string name;
    std::string uuid; ///< by which the editor knows the sequence; empty where the element has none

    bool operator==(const EditorSequence&) const = default;
};

/// The `sequence` elements of the document that have a `name` child, at any depth, in document
/// order, each with the texts of its first `name` and `uuid` children. A sequence that stands in
/// several places comes several times.
/// On failure returns nothing with the first fault of the document in `fault`.
[[nodiscard]] std::optional<std::vector<EditorSequence>> readEditorSequences(const SharedBytes& xml,
                                                                             XmlError& fault);

} // namespace cutstack
