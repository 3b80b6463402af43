#include "changes/DocumentComparison.h"

#include "changes/AdditionSentences.h"
#include "changes/ChangeDescriptions.h"
#include "changes/KnownHistories.h"
#include "changes/NodeIdentity.h"
#include "changes/ParallelWalk.h"
#include "changes/Removals.h"
#include "changes/ValueComparison.h"
#include "support/Format.h"

#include <algorithm>
#include <array>
#include <string_view>
#include <utility>

namespace cutstack {

namespace {

/// Bookkeeping that is never compared.
constexpr std::array kIgnoredNames = {
    XmemlName::uuid,       XmemlName::itemhistory, XmemlName::link,     XmemlName::linkclipref,
    XmemlName::trackindex, XmemlName::file,        XmemlName::mediatype};

/// Effects that every clip may have; they are never reported as new filters.
constexpr std::array<std::string_view, 8> kBuiltInEffects = {
    "Basic Motion", "Audio Levels", "Drop Shadow", "Motion Blur",
    "Crop",         "Distort",      "Opacity",     "Audio Pan"};

/// The elements whose UUID is consulted when they have no id.
constexpr std::array kKindsWithUuid = {XmemlName::clip, XmemlName::clipitem, XmemlName::bin,
                                       XmemlName::multiclip, XmemlName::sequence};

bool isBuiltInEffect(std::string_view name) {
    return std::ranges::find(kBuiltInEffects, name) != kBuiltInEffects.end();
}

class Comparison {
public:
    Comparison(const XmemlDocument& newDocument, const XmemlDocument& baseDocument,
               const IdentityList& oldUUIDs, const IdentityList& oldIDs,
               const IdentityList& newUUIDs, const IdentityList& newIDs, ComparisonHost& host)
        : identity_(newDocument),
          base_(baseDocument),
          oldUUIDs_(oldUUIDs),
          oldIDs_(oldIDs),
          newUUIDs_(newUUIDs),
          newIDs_(newIDs),
          host_(host),
          descriptions_(identity_, baseMarkerNames_, oldUUIDs, host, budget_),
          histories_(identity_, oldUUIDs),
          walk_(newDocument, baseDocument),
          values_(newDocument, baseDocument) {}

    std::optional<Changelist> run();

private:
    [[nodiscard]] std::optional<std::string> switchOfBackup() const;
    [[nodiscard]] bool walk();
    void step();

    void compareSameName();
    void compareLeaf();
    void effectRenamed();
    void sequenceRenamed();
    void describe(XmemlName element);
    [[nodiscard]] bool isOtherEndOfRange(XmemlName element, XmemlName first,
                                         XmemlName second) const {
        return element == second && lastDescribed_ == first;
    }

    void compareDifferentNames();
    [[nodiscard]] bool reportAddition(Node added);
    void reportBin(Node bin);
    void reportMarker(Node marker);
    void reportEffect(Node effect);
    void reportIfNew(Node added);
    void append(Node added) { result_.push_back(additionOf(identity_, added, budget_).sentence); }
    void append(std::string_view sentence, std::string name) {
        result_.push_back(sentenceFrom(sentence, {std::move(name)}, budget_));
    }

    [[nodiscard]] bool isNew(Node node) const;
    [[nodiscard]] bool hasNewUuid(Node node) const;
    [[nodiscard]] bool isNotCompared(Node node) const;

    NodeIdentity identity_;
    NodeIdentity base_;
    const IdentityList& oldUUIDs_;
    const IdentityList& oldIDs_;
    const IdentityList& newUUIDs_;
    const IdentityList& newIDs_;
    ComparisonHost& host_;
    SentenceBudget budget_;
    TextSet baseMarkerNames_;
    ChangeDescriptions descriptions_;
    KnownHistories histories_;
    ParallelWalk walk_;
    ValueComparison values_;
    XmemlName lastDescribed_ = XmemlName::none;
    Changelist result_;
};

/// The sentence that stands alone when the two exports are not of the same thing.
std::optional<std::string> Comparison::switchOfBackup() const {
    const Node newTop = walk_.newNode().next();
    const Node baseTop = walk_.baseNode().next();
    const bool isSequence = newTop.name() == XmemlName::sequence;
    const bool bothNameless = newTop.name() == XmemlName::none && baseTop.name() == XmemlName::none;
    const bool sameKind = bothNameless || walk_.sameName(newTop, baseTop);
    if (sameKind && !(isSequence && identity_.uuidForNode(newTop) != base_.uuidForNode(baseTop)))
        return std::nullopt;
    if (!isSequence)
        return "Backup type changed to Project";
    return formatString("Backup sequence changed to %@",
                        {identity_.nameForNode(newTop).value_or("")});
}

std::optional<Changelist> Comparison::run() {
    host_.appendLog("Getting changelist from XML doc...");
    if (auto switched = switchOfBackup())
        return Changelist{*std::move(switched)};
    for (std::string& name : base_.markerNames())
        baseMarkerNames_.insert(std::move(name));
    if (!walk())
        return std::nullopt;
    appendRemovals(base_, oldUUIDs_, newUUIDs_, oldIDs_, newIDs_, host_, budget_, result_);
    if (result_.empty())
        result_.emplace_back("No notable changes");
    return std::move(result_);
}

/// False when the user cancelled.
bool Comparison::walk() {
    while (walk_.advance()) {
        if (host_.progressCancelled()) {
            host_.appendLog("Change log generation was cancelled");
            host_.endProgress();
            return false;
        }
        step();
    }
    return true;
}

void Comparison::step() {
    const XmemlName newName = walk_.newNode().name();
    if (newName == XmemlName::none && walk_.baseNode().name() == XmemlName::none)
        return;
    if (contains(kIgnoredNames, newName))
        walk_.skipSubtree();
    else if (walk_.sameName(walk_.newNode(), walk_.baseNode()))
        compareSameName();
    else
        compareDifferentNames();
}

/// Timecodes of sequences and the angles of multiclips change with everything around them.
bool Comparison::isNotCompared(Node node) const {
    const XmemlName parent = node.parent().name();
    return parent == XmemlName::timecode ||
           (node.name() == XmemlName::angle && parent == XmemlName::multiclip);
}

void Comparison::compareSameName() {
    const Node newNode = walk_.newNode();
    const Node baseNode = walk_.baseNode();
    if (newNode.hasSeveralChildren() || baseNode.hasSeveralChildren() ||
        values_.equal(newNode, baseNode))
        return;
    const XmemlName parent = newNode.parent().name();
    const bool isName = newNode.name() == XmemlName::name;
    if (isNotCompared(newNode))
        walk_.skipSubtree();
    else if (isName && parent == XmemlName::effect)
        effectRenamed();
    else if (isName && parent == XmemlName::sequence)
        sequenceRenamed();
    else
        compareLeaf();
}

/// Another effect now stands in the place of the old one.
void Comparison::effectRenamed() {
    const Node name = walk_.newNode();
    const Node generator = identity_.nodeParentWithName(name.parent(), XmemlName::generatoritem);
    if (generator.exists())
        append("New generator added: %@", identity_.nameForNode(generator).value_or(""));
    else if (std::string newName = name.stringValue(); !isBuiltInEffect(newName))
        append("New filter added: %@", std::move(newName));
    walk_.skipRestOfAncestor(2);
}

/// The identity is asked of the `name` element, which holds no uuid, rather than of the sequence: a
/// sequence whose name changed gives no sentence. Changelists of all versions must agree on that.
void Comparison::sequenceRenamed() {
    const Node name = walk_.newNode();
    if (const auto uuid = identity_.uuidForNode(name); uuid && !oldUUIDs_.contains(*uuid))
        append("New sequence added: %@", name.stringValue());
    walk_.skipRestOfAncestor(2);
}

/// Of a range whose both counts moved, in and start or out and end, only the later one that is not
/// an in or out point is told: it says the same in the frames of the timeline.
void Comparison::compareLeaf() {
    using enum XmemlName;
    const XmemlName element = walk_.newNode().name();
    if (isOtherEndOfRange(element, start, in) || isOtherEndOfRange(element, end, out)) {
        walk_.passOneNode();
        return;
    }
    if ((isOtherEndOfRange(element, in, start) || isOtherEndOfRange(element, out, end)) &&
        !result_.empty())
        result_.pop_back();
    const bool isCodecName = element == name && walk_.newNode().parent().name() == codec;
    describe(element);
    if (isCodecName)
        walk_.skipRestOfAncestor(1);
    else
        walk_.passOneNode();
}

void Comparison::describe(XmemlName element) {
    const Node newNode = walk_.newNode();
    const Node baseNode = walk_.baseNode();
    auto sentence = descriptions_.changeStringFromNode(
        {newNode, newNode.stringValue(), baseNode, baseNode.stringValue()});
    if (!sentence || (!result_.empty() && result_.back() == *sentence))
        return;
    result_.push_back(*std::move(sentence));
    lastDescribed_ = element;
}

void Comparison::compareDifferentNames() {
    const Node newNode = walk_.newNode();
    const Node baseNode = walk_.baseNode();
    if (isNotCompared(newNode)) {
        walk_.skipSubtree();
        return;
    }
    const Realignment realignment = walk_.realignment();
    if (!reportAddition(newNode))
        walk_.realign(realignment, newNode, baseNode);
}

/// Reports the new element if it is of a kind that is reported. True when the walks have found
/// their next nodes with that. A sequence is skipped and then realigned as well: what follows it is
/// worded by where the walks stand then, so both moves belong together.
bool Comparison::reportAddition(Node added) {
    switch (added.name()) {
    case XmemlName::multiclip:
    case XmemlName::clipitem:
    case XmemlName::generatoritem:
    case XmemlName::transitionitem:
        reportIfNew(added);
        walk_.skipNewElement();
        return true;
    case XmemlName::bin:
        reportBin(added);
        return true;
    case XmemlName::marker:
        reportMarker(added);
        return true;
    case XmemlName::effect:
        reportEffect(added);
        return true;
    case XmemlName::sequence:
        reportIfNew(added);
        walk_.skipNewElement();
        return false;
    default:
        return false;
    }
}

void Comparison::reportIfNew(Node added) {
    if (isNew(added))
        append(added);
}

void Comparison::reportBin(Node bin) {
    if (!isNew(bin))
        return;
    append(bin);
    walk_.skipNewElement();
}

/// Markers carry no identity but their name.
void Comparison::reportMarker(Node marker) {
    const auto name = identity_.nameForNode(marker);
    if (name && baseMarkerNames_.contains(*name))
        return;
    append(marker);
    walk_.skipNewElement();
}

void Comparison::reportEffect(Node effect) {
    const auto name = identity_.nameForNode(effect);
    if (!name || !isBuiltInEffect(*name))
        append(effect);
    walk_.skipNewElement();
}

bool Comparison::isNew(Node node) const {
    if (const auto id = identity_.idForNode(node))
        return !oldIDs_.contains(*id) && newIDs_.contains(*id);
    return contains(kKindsWithUuid, node.name()) && hasNewUuid(node);
}

bool Comparison::hasNewUuid(Node node) const {
    const auto uuid = identity_.uuidForNode(node);
    if (!uuid || oldUUIDs_.contains(*uuid) || !newUUIDs_.contains(*uuid))
        return false;
    return !histories_.contains(node);
}

} // namespace

std::optional<Changelist> changeListForXMLDoc(const XmemlDocument* newDoc,
                                              const XmemlDocument* baseDoc,
                                              IdentityValues oldUUIDList, IdentityValues oldIDList,
                                              IdentityValues newUUIDList, IdentityValues newIDList,
                                              ComparisonHost& host) {
    if (newDoc == nullptr || baseDoc == nullptr)
        return Changelist();
    if (newDoc->equals(*baseDoc))
        return Changelist{"No change"};
    const IdentityList oldUUIDs(oldUUIDList);
    const IdentityList oldIDs(oldIDList);
    const IdentityList newUUIDs(newUUIDList);
    const IdentityList newIDs(newIDList);
    return Comparison(*newDoc, *baseDoc, oldUUIDs, oldIDs, newUUIDs, newIDs, host).run();
}

std::optional<Changelist> changeListForXMLDoc(const XmemlDocument& newDoc,
                                              const XmemlDocument& baseDoc, ComparisonHost& host) {
    return changeListForXMLDoc(&newDoc, &baseDoc, baseDoc.uuidList(), baseDoc.idList(),
                               newDoc.uuidList(), newDoc.idList(), host);
}

} // namespace cutstack
