#pragma once

// Whether two elements of two documents hold the same text. Most elements hold one text or none.
// An element whose only child is an element is compared by all the text below it, and such elements
// nest: bins in bins, each compared with all that it holds. A ValueComparison remembers how far the
// texts of the two documents ran alike, so that the inner ones are not read again.
//
// One thread at a time; both documents outlive it.

#include "changes/XmemlDocument.h"

#include <cstdint>
#include <span>
#include <string_view>

namespace cutstack {

class ValueComparison {
public:
    ValueComparison(const XmemlDocument& newDocument, const XmemlDocument& baseDocument)
        : new_(newDocument.texts()), base_(baseDocument.texts()) {}

    /// Whether the text below `newNode` equals that below `baseNode`, however it is split up.
    [[nodiscard]] bool equal(Node newNode, Node baseNode);

private:
    [[nodiscard]] std::uint32_t firstUnlike(TextRun newTexts, TextRun baseTexts);
    [[nodiscard]] bool joinedEqual(TextRun newTexts, TextRun baseTexts) const;

    std::span<const std::string_view> new_;
    std::span<const std::string_view> base_;
    // The texts from alikeFrom_ up to alikeTo_ of the new document equal those of the base document
    // that stand `shift_` places further on.
    std::uint32_t alikeFrom_ = 0;
    std::uint32_t alikeTo_ = 0;
    std::uint32_t shift_ = 0;
};

} // namespace cutstack
