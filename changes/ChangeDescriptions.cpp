#include "changes/ChangeDescriptions.h"

#include "changes/ChangeWording.h"
#include "support/Numbers.h"

#include <algorithm>
#include <utility>
#include <vector>

namespace cutstack {

namespace {

using wording::ChangeRow;
using wording::Names;
using wording::Outcome;
using wording::Slot;
using wording::When;

/// The value that stands for "no point set" in in and out, for "covered by a transition" in start
/// and end.
constexpr std::string_view kNoPoint = "-1";

bool admits(const Names& names, XmemlName name) {
    return wording::isAny(names) || (name != XmemlName::none && contains(names, name));
}

} // namespace

/// One change before the table: who the rows mean, whether they apply, what fills them.
class ChangeWordingContext {
public:
    ChangeWordingContext(const ChangeDescriptions& descriptions, const ChangedLeaf& change)
        : with_(descriptions),
          identity_(descriptions.identity_),
          change_(change),
          node_(change.node),
          parent_(change.node.parent()) {}

    [[nodiscard]] bool matches(const ChangeRow& row) const;
    [[nodiscard]] std::string sentence(const ChangeRow& row) const;

private:
    [[nodiscard]] Node ownerOf(const ChangeRow& row) const {
        return node_.ancestor(row.place.ownerGeneration);
    }
    [[nodiscard]] bool holds(When when, Node owner) const;
    [[nodiscard]] bool markerIsKnown() const;
    [[nodiscard]] bool pointRemoved() const { return change_.newValue == kNoPoint; }

    [[nodiscard]] std::string fill(Slot slot, Node owner) const;
    [[nodiscard]] std::string nameFor(Slot slot, Node owner) const;
    [[nodiscard]] std::string name(Node node) const {
        return identity_.nameForNode(node).value_or("");
    }
    [[nodiscard]] std::string timecode(std::string_view frames) const {
        return identity_.timecodeFromFrames(frames, node_);
    }
    [[nodiscard]] std::int32_t difference() const {
        return wrappingDifference(integerValue(change_.newValue), integerValue(change_.oldValue));
    }
    [[nodiscard]] std::string enclosingPart(Slot slot) const;
    [[nodiscard]] std::string removedOrChanged() const;
    [[nodiscard]] Node nearbyEffect() const;

    const ChangeDescriptions& with_;
    const NodeIdentity& identity_;
    const ChangedLeaf& change_;
    Node node_;
    Node parent_;
};

bool ChangeWordingContext::matches(const ChangeRow& row) const {
    return (row.element == wording::kAnyElement || row.element == node_.name()) &&
           admits(row.place.parents, parent_.name()) &&
           admits(row.place.owners, ownerOf(row).name()) && holds(row.place.when, ownerOf(row));
}

bool ChangeWordingContext::markerIsKnown() const {
    const auto called = identity_.nameForNode(node_);
    return called && change_.oldNode.parent().name() == XmemlName::marker &&
           with_.baseMarkerNames_.contains(*called);
}

bool ChangeWordingContext::holds(When when, Node owner) const {
    switch (when) {
    case When::always:
        return true;
    case When::ownerHasNoUuid:
        return !identity_.uuidForNode(owner);
    case When::ownerUuidUnknown:
        return !with_.oldUUIDs_.contains(identity_.uuidForNode(owner).value_or(""));
    case When::ownerNameIsNewValue:
        return identity_.nameForNode(owner) == change_.newValue;
    case When::insideClipitem:
        return identity_.pathContains(node_, XmemlName::clipitem);
    case When::insideSequence:
        return identity_.pathContains(node_, XmemlName::sequence);
    case When::insideEffect:
        return identity_.pathContains(node_, XmemlName::effect);
    case When::markerKnown:
        return markerIsKnown();
    case When::pointRemoved:
        return pointRemoved();
    }
    return false;
}

std::string ChangeWordingContext::removedOrChanged() const {
    return pointRemoved() ? "removed" : formatString("changed to %@", {timecode(change_.newValue)});
}

Node ChangeWordingContext::nearbyEffect() const {
    for (int generation = 1; generation <= 3; ++generation)
        if (const Node ancestor = node_.ancestor(generation); ancestor.name() == XmemlName::effect)
            return ancestor;
    return {};
}

std::string ChangeWordingContext::enclosingPart(Slot slot) const {
    const auto* row = wording::enclosingPart(slot);
    if (row == nullptr)
        return {};
    return namedPart(identity_, row->part, identity_.nodeParentWithName(node_, row->enclosing));
}

/// A slot that is filled with a name or the word for a kind.
std::string ChangeWordingContext::nameFor(Slot slot, Node owner) const {
    switch (slot) {
    case Slot::ownerName:
        return name(owner);
    case Slot::parentElement:
        return std::string(parent_.nameText());
    case Slot::parameterName:
        return capitalizeFirstLetter(name(parent_));
    case Slot::elementCapital:
        return capitalizeFirstLetter(node_.nameText());
    case Slot::clipKind:
        return std::string(clipKindByContents(identity_, owner));
    case Slot::clipKindOfChild:
        return capitalizeFirstLetter(clipKindByChildren(identity_, owner));
    case Slot::clipKindCapital:
        return capitalizeFirstLetter(clipKindByContents(identity_, owner));
    case Slot::trackWord:
        return std::string(trackWord(identity_, node_));
    case Slot::filterName:
        return name(nearbyEffect());
    case Slot::filteredClipName:
        return name(owner.parent());
    default:
        return enclosingPart(slot);
    }
}

std::string ChangeWordingContext::fill(Slot slot, Node owner) const {
    switch (slot) {
    case Slot::newValue:
        return change_.newValue;
    case Slot::oldValue:
        return change_.oldValue;
    case Slot::precedingValue:
        return node_.previous().stringValue();
    case Slot::from:
        return timecode(change_.oldValue);
    case Slot::to:
        return timecode(change_.newValue);
    case Slot::sign:
        return difference() > 0 ? "+" : "";
    case Slot::difference:
        return std::to_string(difference());
    case Slot::removedOrChanged:
        return removedOrChanged();
    case Slot::isOrIsNot:
        return change_.newValue == "TRUE" ? "is" : "is not";
    case Slot::enabledOrDisabled:
        return change_.newValue == "FALSE" ? "disabled" : "enabled";
    default:
        return nameFor(slot, owner);
    }
}

std::string ChangeWordingContext::sentence(const ChangeRow& row) const {
    std::vector<std::string> texts;
    for (const Slot slot : row.slots)
        if (slot != Slot::unused)
            texts.push_back(fill(slot, ownerOf(row)));
    return sentenceFrom(row.sentence, std::move(texts), with_.budget_);
}

ChangeDescriptions::ChangeDescriptions(const NodeIdentity& newDocument,
                                       const TextSet& baseMarkerNames, const IdentityList& oldUUIDs,
                                       ComparisonHost& host, SentenceBudget& budget)
    : identity_(newDocument),
      baseMarkerNames_(baseMarkerNames),
      oldUUIDs_(oldUUIDs),
      host_(host),
      budget_(budget) {}

std::size_t ChangeDescriptions::rowCount() { return wording::kChangeTable.size(); }

std::string ChangeDescriptions::fallBack(const ChangedLeaf& change) {
    const std::string element = capitalizeFirstLetter(change.node.nameText());
    const std::string value = budget_.fitted(change.newValue);
    host_.appendLog(formatString("Unknown change: %@ changed to %@. XPath: %@",
                                 {element, value, identity_.xpath(change.node)}));
    return sentenceFrom("%@ changed to %@", {element, value}, budget_);
}

Description ChangeDescriptions::describe(const ChangedLeaf& change) {
    const ChangeWordingContext context(*this, change);
    const auto* row = std::ranges::find_if(wording::kChangeTable, [&](const ChangeRow& candidate) {
        return context.matches(candidate);
    });
    Description description{static_cast<std::size_t>(row - wording::kChangeTable.begin()), {}};
    if (row->outcome == Outcome::sentence)
        description.sentence = context.sentence(*row);
    else if (row->outcome == Outcome::fallBack)
        description.sentence = fallBack(change);
    return description;
}

std::optional<std::string> ChangeDescriptions::changeStringFromNode(const ChangedLeaf& change) {
    if (host_.progressCancelled()) {
        host_.endProgress();
        return std::nullopt;
    }
    return describe(change).sentence;
}

} // namespace cutstack
