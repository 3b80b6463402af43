#include "changes/ValueComparison.h"

#include <algorithm>

namespace cutstack {

namespace {

/// Takes the texts of a run off piece by piece.
struct Remaining {
    std::span<const std::string_view> texts;
    TextRun run;
    std::string_view piece;

    /// Whether there is text left, with `piece` not empty if so.
    bool advance() {
        while (piece.empty() && run.begin < run.end)
            piece = texts[run.begin++];
        return !piece.empty();
    }
};

} // namespace

/// The first text of the new run that differs from its counterpart, or where the shorter run ends.
std::uint32_t ValueComparison::firstUnlike(TextRun newTexts, TextRun baseTexts) {
    const std::uint32_t shift = baseTexts.begin - newTexts.begin;
    if (shift != shift_ || newTexts.begin < alikeFrom_ || newTexts.begin > alikeTo_) {
        shift_ = shift;
        alikeFrom_ = alikeTo_ = newTexts.begin;
    }
    const std::uint32_t end = newTexts.begin + std::min(newTexts.size(), baseTexts.size());
    while (alikeTo_ < end && new_[alikeTo_] == base_[alikeTo_ + shift])
        ++alikeTo_;
    return std::min(alikeTo_, end);
}

bool ValueComparison::joinedEqual(TextRun newTexts, TextRun baseTexts) const {
    Remaining ours{new_, newTexts, {}};
    Remaining theirs{base_, baseTexts, {}};
    for (;;) {
        const bool oursLeft = ours.advance();
        const bool theirsLeft = theirs.advance();
        if (!oursLeft || !theirsLeft)
            return oursLeft == theirsLeft;
        const std::size_t length = std::min(ours.piece.size(), theirs.piece.size());
        if (ours.piece.substr(0, length) != theirs.piece.substr(0, length))
            return false;
        ours.piece.remove_prefix(length);
        theirs.piece.remove_prefix(length);
    }
}

bool ValueComparison::equal(Node newNode, Node baseNode) {
    const TextRun ours = newNode.texts();
    const TextRun theirs = baseNode.texts();
    if (ours.size() <= 1 && theirs.size() <= 1)
        return ours.size() == theirs.size() &&
               (ours.size() == 0 || new_[ours.begin] == base_[theirs.begin]);
    const std::uint32_t alike = firstUnlike(ours, theirs) - ours.begin;
    return joinedEqual({ours.begin + alike, ours.end}, {theirs.begin + alike, theirs.end});
}

} // namespace cutstack
