#include "changes/AdditionSentences.h"

#include "changes/AdditionWording.h"
#include "changes/XmemlText.h"

#include <algorithm>
#include <utility>
#include <vector>

namespace cutstack {

namespace {

using wording::AdditionRow;
using wording::Detail;
using wording::Having;

/// The element that says where the medium is: anywhere in a multiclip, in the file of a clip.
Node mediaPath(const NodeIdentity& identity, Node added) {
    if (added.name() == XmemlName::multiclip)
        return identity.firstBelow(added, XmemlName::pathurl);
    return identity.child(identity.child(added, XmemlName::file), XmemlName::pathurl);
}

bool holds(const NodeIdentity& identity, Node added, Having having) {
    switch (having) {
    case Having::mediaPath:
        return mediaPath(identity, added).exists();
    case Having::displayName:
        return identity.nameForNode(added).has_value();
    case Having::anything:
        break;
    }
    return true;
}

std::string startPart(const NodeIdentity& identity, Node added) {
    const auto start = identity.startTimeForNode(added);
    return start ? formatString(" at %@", {*start}) : "";
}

Node multiclipOf(const NodeIdentity& identity, Node clip) {
    const Node around = identity.nodeParentWithName(clip, XmemlName::multiclip);
    return around.exists() ? around : identity.firstBelow(clip, XmemlName::multiclip);
}

std::string toTrackClipPart(const NodeIdentity& identity, Node marker) {
    const Node clip = identity.nodeParentWithName(marker, XmemlName::clipitem);
    if (!clip.exists())
        return {};
    return formatString(" to %@clip %@",
                        {trackWord(identity, marker), identity.nameForNode(clip).value_or("")});
}

Node filteredClip(const NodeIdentity& identity, Node effect) {
    const Node clip = identity.nodeParentWithName(effect, XmemlName::clip);
    return clip.exists() ? clip : identity.nodeParentWithName(effect, XmemlName::clipitem);
}

std::string fill(const NodeIdentity& identity, Node added, Detail detail) {
    const auto name = [&] { return identity.nameForNode(added).value_or(""); };
    const auto enclosing = [&](std::string_view part, XmemlName by) {
        return namedPart(identity, part, identity.nodeParentWithName(added, by));
    };
    switch (detail) {
    case Detail::unused:
        break;
    case Detail::fileName:
        return fileNameOfUrl(mediaPath(identity, added).stringValue());
    case Detail::elementName:
        return name();
    case Detail::effectName:
        return std::string(lastPathComponent(name()));
    case Detail::trackOfElement:
        return std::string(trackWord(identity, added));
    case Detail::clipWord:
        return std::string(clipKindByChildren(identity, added));
    case Detail::startPart:
        return startPart(identity, added);
    case Detail::toSequencePart:
        return enclosing(" to sequence %@", XmemlName::sequence);
    case Detail::forSequencePart:
        return enclosing(" for sequence %@", XmemlName::sequence);
    case Detail::toMulticlipPart:
        return namedPart(identity, " to multiclip %@", multiclipOf(identity, added));
    case Detail::toClipPart:
        return enclosing(" to clip %@", XmemlName::clipitem);
    case Detail::toTrackClipPart:
        return toTrackClipPart(identity, added);
    case Detail::forFilteredClip:
        return namedPart(identity, " for clip %@", filteredClip(identity, added));
    }
    return {};
}

} // namespace

Addition additionOf(const NodeIdentity& identity, Node added, SentenceBudget& budget) {
    const auto& table = wording::kAdditionTable;
    const auto* row = std::ranges::find_if(table, [&](const AdditionRow& candidate) {
        return candidate.kind == added.name() && holds(identity, added, candidate.having);
    });
    if (row == table.end())
        return {additionRowCount(), {}};
    std::vector<std::string> texts;
    for (const Detail detail : row->details)
        if (detail != Detail::unused)
            texts.push_back(fill(identity, added, detail));
    return {static_cast<std::size_t>(row - table.begin()),
            sentenceFrom(row->sentence, std::move(texts), budget)};
}

std::size_t additionRowCount() { return wording::kAdditionTable.size(); }

} // namespace cutstack
