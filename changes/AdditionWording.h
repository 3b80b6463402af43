#pragma once

// The sentences for elements that only the new document has, as rows: the first row of the kind
// whose condition holds. Included by AdditionSentences.cpp alone; the compiler checks the table at
// its end.

#include "changes/Wording.h"
#include "changes/XmemlNames.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace cutstack::wording {

/// What fills a placeholder of a sentence about an added element.
enum class Detail : std::uint8_t {
    unused,
    fileName,        ///< the file name of the medium
    elementName,     ///< the name to show
    effectName,      ///< the last component of the name of an effect
    trackOfElement,  ///< "video ", "audio " or nothing
    clipWord,        ///< "subclip", "freeze frame" or "clip"
    startPart,       ///< " at %@" with the start time
    toSequencePart,  ///< " to sequence %@"
    forSequencePart, ///< " for sequence %@"
    toMulticlipPart, ///< " to multiclip %@": the one around the clip, else the first in it
    toClipPart,      ///< " to clip %@": the clipitem around a transition
    toTrackClipPart, ///< " to %@clip %@": the track word and the clipitem around a marker
    forFilteredClip  ///< " for clip %@": the clip, else the clipitem, around an effect
};

enum class Having : std::uint8_t { anything, mediaPath, displayName };

inline constexpr std::size_t kMostDetails = 6;

struct AdditionRow {
    XmemlName kind;
    Having having;
    std::string_view sentence;
    std::array<Detail, kMostDetails> details{};
};

inline constexpr std::array kAdditionTable = [] {
    using enum XmemlName;
    using enum Having;
    using enum Detail;
    return std::array{
        AdditionRow{multiclip,
                    mediaPath,
                    "New multiclip added%@%@: %@",
                    {startPart, toSequencePart, fileName}},
        AdditionRow{multiclip,
                    displayName,
                    "New multiclip added%@%@: %@",
                    {startPart, toSequencePart, elementName}},
        AdditionRow{multiclip, anything, "New multiclip added%@%@", {startPart, toSequencePart}},
        AdditionRow{
            clipitem,
            mediaPath,
            "New %@%@ %@ added%@%@%@",
            {trackOfElement, clipWord, fileName, toMulticlipPart, forSequencePart, startPart}},
        AdditionRow{
            clipitem,
            displayName,
            "New %@%@ %@ added%@%@%@",
            {trackOfElement, clipWord, elementName, toMulticlipPart, forSequencePart, startPart}},
        AdditionRow{clipitem,
                    anything,
                    "New %@%@ added%@%@%@",
                    {trackOfElement, clipWord, toMulticlipPart, forSequencePart, startPart}},
        AdditionRow{bin, anything, "New bin added: %@", {elementName}},
        AdditionRow{generatoritem,
                    anything,
                    "New generator %@ added%@%@",
                    {elementName, toSequencePart, startPart}},
        AdditionRow{transitionitem,
                    anything,
                    "New transition %@ added%@%@%@",
                    {elementName, toClipPart, forSequencePart, startPart}},
        AdditionRow{marker,
                    anything,
                    "New marker %@ added%@%@%@",
                    {elementName, toTrackClipPart, forSequencePart, startPart}},
        AdditionRow{effect, anything, "New filter added%@: %@", {forFilteredClip, effectName}},
        AdditionRow{sequence, anything, "New sequence added: %@", {elementName}},
    };
}();

// What the compiler checks.

constexpr std::size_t detailsOf(const AdditionRow& row) {
    std::size_t used = 0;
    while (used < kMostDetails && row.details[used] != Detail::unused)
        ++used;
    return used;
}

constexpr bool everyAdditionIsFilled() {
    for (const AdditionRow& row : kAdditionTable)
        if (placeholders(row.sentence) != detailsOf(row))
            return false;
    return true;
}

/// A row without a condition is the last of its kind.
constexpr bool everyAdditionCanMatch() {
    for (std::size_t later = 1; later < kAdditionTable.size(); ++later)
        for (std::size_t earlier = 0; earlier < later; ++earlier)
            if (kAdditionTable[earlier].kind == kAdditionTable[later].kind &&
                (kAdditionTable[earlier].having == Having::anything ||
                 kAdditionTable[earlier].having == kAdditionTable[later].having))
                return false;
    return true;
}

static_assert(kAdditionTable.size() == 12);
static_assert(everyAdditionIsFilled(), "a row has more or fewer placeholders than details");
static_assert(everyAdditionCanMatch(), "a row stands behind one that matches all that it matches");

} // namespace cutstack::wording
