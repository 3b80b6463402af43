#pragma once

// What the two tables of sentences (ChangeDescriptions, AdditionSentences) share: the words that
// depend on the place of an element, and the check that a template has as many placeholders as the
// row fills. Pure functions on one document; the thread of its NodeIdentity.

#include "changes/NodeIdentity.h"
#include "support/Format.h"

#include <algorithm>
#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace cutstack {

/// How many placeholders a sentence has: texts and the frame difference "%i".
[[nodiscard]] constexpr std::size_t placeholders(std::string_view sentence) {
    return textPlaceholders(sentence) + (sentence.find("%i") == std::string_view::npos ? 0U : 1U);
}

/// "video " or "audio " by the track that an element lies in, empty outside of both.
[[nodiscard]] std::string_view trackWord(const NodeIdentity& identity, Node node);

/// "subclip", "freeze frame" or "clip", by what the element's own children say, or by anything
/// below it. A clip that is both counts as a subclip.
[[nodiscard]] std::string_view clipKindByChildren(const NodeIdentity& identity, Node clip);
[[nodiscard]] std::string_view clipKindByContents(const NodeIdentity& identity, Node clip);

/// The name of `named` put into a part of a sentence such as " for sequence %@"; an empty text when
/// the node is missing. A node without a name leaves the placeholder empty.
[[nodiscard]] std::string namedPart(const NodeIdentity& identity, std::string_view part,
                                    Node named);

/// How much the sentences of one comparison may grow to. Names and values stand in sentences as
/// they are, however long, until the sentences together are large beyond what anybody reads; from
/// then on long texts are cut. Without that, a small document that repeats one long text in
/// thousands of sentences would need memory without bound.
class SentenceBudget {
public:
    static constexpr std::size_t kVerbatimBytes = 16'000'000;
    static constexpr std::size_t kLongestCutText = 200;

    /// `text`, cut at a character's end and with "..." behind it when it is too long by now.
    [[nodiscard]] std::string fitted(std::string text) const;

    void spend(const std::string& sentence) { spent_ += sentence.size(); }

private:
    std::size_t spent_ = 0;
};

/// Fills a sentence from texts, as the budget allows, and takes it from the budget; "%i" is filled
/// like "%@".
[[nodiscard]] std::string sentenceFrom(std::string_view sentence, std::vector<std::string> texts,
                                       SentenceBudget& budget);

} // namespace cutstack
