#pragma once

// The sentences for changed values, as rows: first match wins. Mirrored rows are written out, and
// rows whose wording looks like a slip but is relied upon by filters, icons and habit are marked
// sic. Included by ChangeDescriptions.cpp alone; the compiler checks the table at its end.

#include "changes/Wording.h"
#include "changes/XmemlNames.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace cutstack::wording {

/// What fills a placeholder.
enum class Slot : std::uint8_t {
    unused,
    newValue,
    oldValue,
    ownerName,
    parentElement,    ///< the element name of the parent: "audio", "video"
    parameterName,    ///< the name of the parent with an initial capital
    elementCapital,   ///< the element name with an initial capital
    clipKind,         ///< "subclip", "freeze frame" or "clip", by anything below the owner
    clipKindOfChild,  ///< "Subclip", "Freeze frame" or "Clip", by the owner's children alone
    clipKindCapital,  ///< "Subclip", "Freeze frame" or "Clip", by anything below the owner
    trackWord,        ///< "video ", "audio " or nothing
    from,             ///< timecode of the old value, in the new element's sequence
    to,               ///< timecode of the new value
    sign,             ///< "+" when the frame difference is above zero
    difference,       ///< new value minus old value, in frames
    removedOrChanged, ///< "removed", or "changed to" with the timecode of the new value
    forSequence,      ///< this and the next: a part of its own, see kEnclosingParts
    inSequence,
    toMulticlip,
    forClip,
    toClip,
    onClip,
    forFilter,
    precedingValue,   ///< the text of the node before: a keyframe's time stands before its value
    filterName,       ///< the name of the effect that holds the element within three generations
    filteredClipName, ///< the name of what the owner, a filter, lies in
    isOrIsNot,
    enabledOrDisabled
};

/// A condition beside the names.
enum class When : std::uint8_t {
    always,
    ownerHasNoUuid,
    ownerUuidUnknown,    ///< the base document does not have the owner's UUID
    ownerNameIsNewValue, ///< the owner is called like the new value already
    insideClipitem,
    insideSequence,
    insideEffect,
    markerKnown, ///< the base document has a marker of the name, and the old element is one's name
    pointRemoved ///< the new value is "-1"
};

enum class Outcome : std::uint8_t { sentence, nothing, fallBack };

/// Up to two names; none at all stands for any name.
using Names = std::array<XmemlName, 2>;

/// Where a changed element must stand. The owner is what the sentence is about.
struct Place {
    Names parents{};
    int ownerGeneration = 1; ///< 1: the parent is the owner, 2: its parent, ...
    Names owners{};
    When when = When::always;
};

inline constexpr std::size_t kMostSlots = 7;

struct ChangeRow {
    XmemlName element; ///< none stands for any element
    Place place;
    Outcome outcome;
    std::string_view sentence;
    std::array<Slot, kMostSlots> slots{};
};

// The vocabulary in which the table is written.

constexpr Place under(XmemlName parent, XmemlName orParent = XmemlName::none) {
    return {{parent, orParent}, 1, {}, When::always};
}
/// The holder of the block that the element lies in, so many generations up.
constexpr Place heldBy(int generation, XmemlName owner, XmemlName orOwner = XmemlName::none) {
    return {{}, generation, {owner, orOwner}, When::always};
}
constexpr Place trackOf(Names tracks, XmemlName owner, XmemlName orOwner = XmemlName::none) {
    return {tracks, 2, {owner, orOwner}, When::always};
}
constexpr Place when(When condition, Place place = {}) {
    place.when = condition;
    return place;
}
template <typename... Slots>
constexpr ChangeRow says(XmemlName element, Place place, std::string_view sentence,
                         Slots... slots) {
    return {element, place, Outcome::sentence, sentence, {slots...}};
}
constexpr ChangeRow saysNothing(XmemlName element, Place place = {}) {
    return {element, place, Outcome::nothing, {}, {}};
}
constexpr ChangeRow fallsBack(XmemlName element, Place place = {}) {
    return {element, place, Outcome::fallBack, {}, {}};
}

using enum XmemlName;
using enum Slot;
using enum When;

inline constexpr Names kEitherTrack = {audio, video};
inline constexpr Names kAudioTrack = {audio, none};
inline constexpr XmemlName kAnyElement = none;

inline constexpr std::array kChangeTable = {
    // Containers and bookkeeping that nobody edits.
    saysNothing(children),
    saysNothing(project),
    saysNothing(video),
    saysNothing(audio),
    saysNothing(media),
    saysNothing(track),
    saysNothing(filter),
    saysNothing(effectid),
    saysNothing(effectcategory),
    saysNothing(effecttype),
    saysNothing(masterclipid),
    saysNothing(ismasterclip),
    saysNothing(privatestate),
    saysNothing(outputchannelindex),
    saysNothing(data),

    says(name, under(project), "Project name changed to %@", newValue),
    fallsBack(name, when(ownerHasNoUuid, under(sequence))),
    says(name, when(ownerUuidUnknown, under(sequence)), "Sequence added: %@", newValue),
    says(name, under(sequence), "Sequence name changed to %@", newValue),
    fallsBack(name, when(ownerHasNoUuid, under(clipitem, clip))),
    says(name, when(ownerUuidUnknown, under(clipitem, clip)), "New %@%@ added%@%@: %@", trackWord,
         clipKind, forSequence, toMulticlip, newValue),
    saysNothing(name, when(ownerNameIsNewValue, under(clipitem, clip))),
    says(name, under(clipitem, clip), "%@ %@ name changed to %@", ownerName, clipKind, newValue),
    fallsBack(name, when(ownerHasNoUuid, under(bin))),
    says(name, when(ownerUuidUnknown, under(bin)), "New bin added: %@", newValue),
    says(name, under(bin), "%@ bin name changed to %@", oldValue, newValue),
    says(name, when(insideClipitem, under(codec)), "Clip codec changed to %@", newValue),
    says(name, when(insideSequence, under(codec)), "Sequence codec changed to %@", newValue),
    saysNothing(name, under(codec)),
    says(name, when(markerKnown, under(marker)), "Marker %@ name changed to %@%@%@", oldValue,
         newValue, inSequence, forClip),
    says(name, under(marker), "Marker %@ added%@%@", newValue, forSequence, toClip),
    saysNothing(name),

    says(value, heldBy(2, effect), "%@ set to %@ for %@ Filter", parameterName, newValue,
         ownerName),
    says(value, under(keyframe), "Keyframe at %@ set to %@%@%@", precedingValue, newValue,
         forFilter, onClip),
    fallsBack(value),

    says(duration, under(sequence), "%@ sequence duration changed from %@ to %@ (%@%i)", ownerName,
         from, to, sign, difference),
    says(duration, under(clipitem, clip), "%@ %@ duration changed from %@ to %@ (%@%i)", ownerName,
         clipKind, from, to, sign, difference),
    says(duration, under(generatoritem), "Duration changed to %@ for %@ generator", to, ownerName),
    fallsBack(duration),

    says(in, when(pointRemoved, under(sequence)), "In Point of sequence %@ removed", ownerName),
    says(in, under(sequence), "In Point of sequence %@ changed from %@ to %@ (%@%i)", ownerName,
         from, to, sign, difference),
    says(in, when(pointRemoved, under(clipitem, clip)), "In Point of %@ %@ removed", clipKind,
         ownerName),
    says(in, under(clipitem, clip), "In Point of %@ %@ changed from %@ to %@ (%@%i)", clipKind,
         ownerName, from, to, sign, difference),
    says(in, under(generatoritem), "In Point of generator %@ %@", ownerName, removedOrChanged),
    says(in, under(effect), "In Point of filter %@ %@", ownerName, removedOrChanged),
    says(in, under(transitionitem), "In Point of transition %@ %@", ownerName, removedOrChanged),
    says(in, under(marker), "In Point of marker %@ %@", ownerName, removedOrChanged),
    says(in, when(pointRemoved, trackOf(kEitherTrack, clip, clipitem)),
         "In Point of %@ clip %@ removed", parentElement, ownerName),
    says(in, trackOf(kEitherTrack, clip, clipitem),
         "In Point of %@ clip %@ changed from %@ to %@ (%@%i)", parentElement, ownerName, from, to,
         sign, difference),
    says(in, when(pointRemoved, trackOf(kEitherTrack, sequence)),
         "In Point of %@ track in sequence %@ removed", parentElement, ownerName),
    says(in, trackOf(kEitherTrack, sequence),
         "In Point of %@ track in sequence %@ changed from %@ to %@ (%@%i)", parentElement,
         ownerName, from, to, sign, difference),
    fallsBack(in),

    says(out, when(pointRemoved, under(sequence)), "Out Point of sequence %@ removed", ownerName),
    says(out, under(sequence), "Out Point of sequence %@ changed from %@ to %@ (%@%i)", ownerName,
         from, to, sign, difference),
    says(out, when(pointRemoved, under(clipitem, clip)), "Out Point of %@ %@ removed", clipKind,
         ownerName),
    says(out, under(clipitem, clip), "Out Point of %@ %@ changed from %@ to %@ (%@%i)", clipKind,
         ownerName, from, to, sign, difference),
    says(out, under(generatoritem), "Out Point of generator %@ %@", ownerName, removedOrChanged),
    // sic: the out point of a filter is worded as its in point.
    says(out, under(effect), "In Point of filter %@ %@", ownerName, removedOrChanged),
    says(out, under(transitionitem), "Out Point of transition %@ %@", ownerName, removedOrChanged),
    says(out, under(marker), "Out Point of marker %@ %@", ownerName, removedOrChanged),
    // sic: an out point under a video track has no sentence of its own.
    says(out, when(pointRemoved, trackOf(kAudioTrack, clip, clipitem)),
         "Out Point of audio clip %@ removed", ownerName),
    says(out, trackOf(kAudioTrack, clip, clipitem),
         "Out Point of audio clip %@ changed from %@ to %@ (%@%i)", ownerName, from, to, sign,
         difference),
    says(out, when(pointRemoved, trackOf(kAudioTrack, sequence)),
         "Out Point of %@ track in sequence %@ removed", parentElement, ownerName),
    says(out, trackOf(kAudioTrack, sequence),
         "Out Point of %@ track in sequence %@ changed from %@ to %@ (%@%i)", parentElement,
         ownerName, from, to, sign, difference),
    fallsBack(out),

    says(start, under(sequence), "%@ sequence Start changed from %@ to %@ (%@%i)", ownerName, from,
         to, sign, difference),
    says(start, when(pointRemoved, under(clipitem, clip)),
         "Transition added at beginning of %@%@ %@", trackWord, clipKind, ownerName),
    says(start, under(clipitem, clip), "Start point of %@%@ %@ changed from %@ to %@ (%@%i)",
         trackWord, clipKind, ownerName, from, to, sign, difference),
    says(start, when(pointRemoved, under(generatoritem)),
         "Transition added at beginning of generator %@", ownerName),
    says(start, under(generatoritem), "Start point of generator %@ changed from %@ to %@ (%@%i)",
         ownerName, from, to, sign, difference),
    says(start, under(transitionitem), "Start point of transition %@ %@", ownerName,
         removedOrChanged),
    says(start, under(filter), "Start point of filter %@ %@", ownerName, removedOrChanged),
    says(start, when(pointRemoved, trackOf(kAudioTrack, clip, clipitem)),
         "Transition added at beginning of audio clip %@", ownerName),
    says(start, trackOf(kAudioTrack, clip, clipitem),
         "Start of audio clip %@ changed from %@ to %@ (%@%i)", ownerName, from, to, sign,
         difference),
    fallsBack(start),

    says(end, under(sequence), "%@ sequence End changed from %@ to %@ (%@%i)", ownerName, from, to,
         sign, difference),
    says(end, when(pointRemoved, under(clipitem, clip)), "Transition added at end of %@%@ %@",
         trackWord, clipKind, ownerName),
    says(end, under(clipitem, clip), "End point of %@%@ %@ changed from %@ to %@ (%@%i)", trackWord,
         clipKind, ownerName, from, to, sign, difference),
    says(end, when(pointRemoved, under(generatoritem)), "Transition added at end of generator %@",
         ownerName),
    says(end, under(generatoritem), "End point of generator %@ changed from %@ to %@ (%@%i)",
         ownerName, from, to, sign, difference),
    says(end, under(transitionitem), "End point of transition %@ %@", ownerName, removedOrChanged),
    says(end, under(filter), "End point of filter %@ %@", ownerName, removedOrChanged),
    says(end, when(pointRemoved, trackOf(kAudioTrack, clip, clipitem)),
         "Transition added at end of audio clip %@", ownerName),
    says(end, trackOf(kAudioTrack, clip, clipitem),
         "End of audio clip %@ changed from %@ to %@ (%@%i)", ownerName, from, to, sign,
         difference),
    fallsBack(end),

    says(startoffset, trackOf({subclipinfo, none}, clipitem, clip),
         "Start point of subclip %@ changed from %@ to %@ (%@%i)", ownerName, from, to, sign,
         difference),
    fallsBack(startoffset),
    says(mediadelay, trackOf({subclipinfo, none}, clipitem, clip),
         "Start point of subclip %@ changed from %@ to %@ (%@%i)", ownerName, from, to, sign,
         difference),
    fallsBack(mediadelay),
    says(endoffset, trackOf({subclipinfo, none}, clipitem, clip),
         "End point of subclip %@ changed to %@", ownerName, to),
    fallsBack(endoffset),

    says(width, heldBy(5, sequence), "%@ sequence width changed to %@", ownerName, newValue),
    says(width, heldBy(5, clipitem), "%@ %@ width changed to %@", clipKindOfChild, ownerName,
         newValue),
    fallsBack(width),
    says(height, heldBy(5, sequence), "%@ sequence height changed to %@", ownerName, newValue),
    says(height, heldBy(5, clipitem), "%@ %@ height changed to %@", clipKindOfChild, ownerName,
         newValue),
    fallsBack(height),
    says(pixelaspectratio, heldBy(5, sequence), "%@ sequence pixel aspect ratio changed to %@",
         ownerName, newValue),
    says(pixelaspectratio, heldBy(5, clipitem), "%@ %@ pixel aspect ratio changed to %@",
         clipKindOfChild, ownerName, newValue),
    fallsBack(pixelaspectratio),
    says(fielddominance, heldBy(5, sequence), "%@ sequence field dominance changed to %@",
         ownerName, newValue),
    says(fielddominance, heldBy(5, clipitem, clip), "%@ %@ field dominance changed to %@",
         clipKindCapital, ownerName, newValue),
    fallsBack(fielddominance),
    says(timebase, heldBy(2, sequence), "%@ sequence timebase changed to %@", ownerName, newValue),
    says(timebase, heldBy(2, clipitem, clip), "%@ %@ timebase changed to %@", clipKindCapital,
         ownerName, newValue),
    fallsBack(timebase),
    says(ntsc, heldBy(2, sequence), "%@ sequence %@ NTSC", ownerName, isOrIsNot),
    says(ntsc, heldBy(2, clipitem, clip), "%@ %@ %@ NTSC", clipKindCapital, ownerName, isOrIsNot),
    fallsBack(ntsc),

    says(enabled, under(sequence), "%@ sequence %@", ownerName, enabledOrDisabled),
    says(enabled, under(clipitem), "%@ %@ %@", clipKindOfChild, ownerName, enabledOrDisabled),
    says(enabled, under(filter), "%@ filter for clip %@ %@", ownerName, filteredClipName,
         enabledOrDisabled),
    fallsBack(enabled),

    says(alphatype, under(generatoritem), "Alpha type for generator %@ set to %@", ownerName,
         newValue),
    says(alphatype, under(effect), "Alpha type for filter %@ set to %@", ownerName, newValue),
    says(alphatype, under(clipitem), "Alpha type for clip %@ set to %@", ownerName, newValue),
    fallsBack(alphatype),

    says(kAnyElement, when(insideEffect), "%@ set to %@ for %@ Filter", elementCapital, newValue,
         filterName),

    // sic: "aligment".
    says(alignment, under(transitionitem), "Transition aligment set to %@ for %@", newValue,
         ownerName),
    fallsBack(alignment),
    says(comment, under(marker), "%@ marker description changed to %@", ownerName, newValue),
    fallsBack(comment),
    fallsBack(kAnyElement),
};

/// Parts of a sentence that name what encloses the element; empty when nothing does.
struct EnclosingPart {
    Slot slot;
    XmemlName enclosing;
    std::string_view part;
};

inline constexpr std::array kEnclosingParts = {
    EnclosingPart{forSequence, sequence, " for sequence %@"},
    EnclosingPart{inSequence, sequence, " in sequence %@"},
    EnclosingPart{toMulticlip, multiclip, " to multiclip %@"},
    EnclosingPart{forClip, clipitem, " for clip %@"},
    EnclosingPart{toClip, clipitem, " to clip %@"},
    EnclosingPart{onClip, clipitem, " on clip %@"},
    EnclosingPart{forFilter, effect, " for filter %@"},
};

constexpr const EnclosingPart* enclosingPart(Slot slot) {
    for (const EnclosingPart& row : kEnclosingParts)
        if (row.slot == slot)
            return &row;
    return nullptr;
}

// What the compiler checks.

constexpr std::size_t slotsOf(const ChangeRow& row) {
    std::size_t used = 0;
    while (used < kMostSlots && row.slots[used] != unused)
        ++used;
    return used;
}

constexpr bool isAny(const Names& names) { return names == Names{}; }

constexpr bool covers(const Names& wide, const Names& narrow) {
    if (isAny(wide) || isAny(narrow))
        return isAny(wide);
    for (const XmemlName name : narrow)
        if (name != none && !contains(wide, name))
            return false;
    return true;
}

/// Whether whatever matches `later` has matched `earlier` before.
constexpr bool hides(const ChangeRow& earlier, const ChangeRow& later) {
    const bool sameOwner = earlier.place.ownerGeneration == later.place.ownerGeneration;
    return (earlier.element == kAnyElement || earlier.element == later.element) &&
           covers(earlier.place.parents, later.place.parents) &&
           (isAny(earlier.place.owners) ||
            (sameOwner && covers(earlier.place.owners, later.place.owners))) &&
           (earlier.place.when == always || earlier.place.when == later.place.when);
}

constexpr bool everySentenceIsFilled() {
    for (const ChangeRow& row : kChangeTable)
        if (placeholders(row.sentence) != slotsOf(row))
            return false;
    return true;
}

constexpr bool everyRowCanMatch() {
    for (std::size_t later = 0; later < kChangeTable.size(); ++later)
        for (std::size_t earlier = 0; earlier < later; ++earlier)
            if (hides(kChangeTable[earlier], kChangeTable[later]))
                return false;
    return true;
}

static_assert(kChangeTable.size() == 123);
static_assert(everySentenceIsFilled(), "a row has more or fewer placeholders than slots");
static_assert(everyRowCanMatch(), "a row stands behind one that matches all that it matches");
static_assert(hides(kChangeTable.back(), kChangeTable.front()), "the last row matches everything");

} // namespace cutstack::wording
