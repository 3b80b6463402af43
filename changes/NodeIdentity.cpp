#include "changes/NodeIdentity.h"

#include "changes/Timecode.h"
#include "changes/XmemlText.h"
#include "support/Numbers.h"
#include "support/Unicode.h"

#include <algorithm>
#include <array>

namespace cutstack {

namespace {

/// How many steps are taken before a search looks at what is remembered: nearly all searches of
/// honest exports end sooner, and remembering costs more than walking.
constexpr int kStepsWithoutMemory = 24;

constexpr int kLongestPath = 256;

/// The start of sequences that do not state one: one hour of 29.97 drop-frame timecode.
constexpr std::int32_t kOneHourDropFrame = 107892;

std::optional<std::string> unescapedValue(Node node) {
    return node.exists() ? std::optional(unescapedOrRaw(node.stringValue())) : std::nullopt;
}

std::optional<std::string> unescapedId(Node node) {
    const auto id = node.idAttribute();
    return id ? std::optional(unescapedOrRaw(*id)) : std::nullopt;
}

} // namespace

void uuidDictAddUUID(UuidDict& uuidDict, std::string_view uuid, std::string_view type) {
    auto& uuids = uuidDict[std::string(type)];
    if (std::ranges::find(uuids, uuid) == uuids.end())
        uuids.emplace_back(uuid);
}

std::string capitalizeFirstLetter(std::string_view text) {
    return withFirstCharacterUpperCased(text);
}

NodeIdentity::NodeAndName NodeIdentity::keyOf(Node node, XmemlName name) {
    return NodeAndName{node.index()} << 32U | static_cast<std::uint32_t>(name);
}

Node NodeIdentity::at(NodeIndex index) const {
    return index == kMissingNode ? Node() : Node(document_, index);
}

std::string NodeIdentity::typeOfNode(Node node) const {
    std::string type(node.name() == XmemlName::clipitem ? "clip" : node.nameText());
    std::ranges::transform(type, type.begin(), asciiLower);
    if (!type.empty())
        type[0] = asciiUpper(type[0]);
    return type;
}

std::optional<std::string> NodeIdentity::nameForNode(Node node) const {
    Node name = child(node, XmemlName::name);
    if (!name.exists())
        name = firstBelow(node, XmemlName::name);
    return name.exists() ? unescapedValue(name) : unescapedId(node);
}

std::optional<std::string> NodeIdentity::idForNode(Node node) const {
    auto id = unescapedId(node);
    return id ? id : unescapedId(child(node, XmemlName::file));
}

std::optional<std::string> NodeIdentity::uuidForNode(Node node) const {
    const Node uuid = child(node, XmemlName::uuid);
    return unescapedValue(uuid.exists() ? uuid : firstBelow(node, XmemlName::uuid));
}

void NodeIdentity::appendHistory(Node history, std::vector<std::string>& uuids) const {
    const Node uuid = child(history, XmemlName::uuid);
    if (std::string value = uuid.stringValue(); !value.empty())
        uuids.push_back(std::move(value));
}

std::vector<std::string> NodeIdentity::uuidHistoryForNode(Node node) const {
    std::vector<std::string> uuids;
    if (const Node own = child(node, XmemlName::itemhistory);
        child(own, XmemlName::uuid).exists()) {
        appendHistory(own, uuids);
        return uuids;
    }
    const auto histories = document_.elementsNamed(XmemlName::itemhistory);
    for (auto next = std::ranges::upper_bound(histories, node.index());
         next != histories.end() && node.encloses(at(*next)); ++next) {
        const Node history = at(*next);
        if (child(history.parent(), XmemlName::itemhistory) == history)
            appendHistory(history, uuids);
    }
    return uuids;
}

Node NodeIdentity::nodeParentWithName(Node node, XmemlName name) const {
    return nearest(node.parent(), name);
}

bool NodeIdentity::pathContains(Node node, XmemlName name) const {
    return nearest(node, name).exists();
}

/// The first of the node and its ancestors that has the name.
Node NodeIdentity::nearest(Node node, XmemlName name) const {
    for (int steps = 0; node.exists() && node.name() != name; ++steps) {
        if (steps == kStepsWithoutMemory)
            return nearestBeyond(node, name);
        node = node.parent();
    }
    return node;
}

/// nearest() in great depth. A climb leaves its answer at intervals, so that the next one from
/// nearby is short.
Node NodeIdentity::nearestBeyond(Node node, XmemlName name) const {
    std::vector<NodeAndName> marks;
    Node found;
    for (int steps = 0; node.exists(); node = node.parent(), ++steps) {
        if (node.name() == name) {
            found = node;
            break;
        }
        if (const auto known = farAncestors_.find(keyOf(node, name));
            known != farAncestors_.end()) {
            found = at(known->second);
            break;
        }
        if (steps % kStepsWithoutMemory == 0)
            marks.push_back(keyOf(node, name));
    }
    for (const NodeAndName mark : marks)
        farAncestors_.emplace(mark, found.index());
    return found;
}

Node NodeIdentity::child(Node node, XmemlName name) const {
    int steps = 0;
    Node child = node.firstChild();
    for (; child.exists() && child.name() != name; child = child.nextSibling())
        if (++steps == kStepsWithoutMemory)
            if (const auto known = farChildren_.find(keyOf(node, name));
                known != farChildren_.end())
                return at(known->second);
    if (steps >= kStepsWithoutMemory)
        farChildren_.emplace(keyOf(node, name), child.index());
    return child;
}

Node NodeIdentity::firstBelow(Node node, XmemlName name) const {
    const auto places = document_.elementsNamed(name);
    const auto next = std::ranges::upper_bound(places, node.index());
    return next != places.end() && node.encloses(at(*next)) ? at(*next) : Node();
}

std::optional<std::string> NodeIdentity::startTimeForNode(Node node) const {
    const std::array candidates = {child(node, XmemlName::start), child(node, XmemlName::in),
                                   firstBelow(node, XmemlName::start),
                                   firstBelow(node, XmemlName::in)};
    const auto* found = std::ranges::find_if(candidates, &Node::exists);
    if (found == candidates.end())
        return std::nullopt;
    return timecodeFromFrames(found->stringValue(), node);
}

std::string NodeIdentity::timecodeFromFrames(std::string_view frames, Node node) const {
    const Node sequence = nodeParentWithName(node, XmemlName::sequence);
    const Node timing = sequence.exists() ? sequence : node;
    TimecodeFormat format;
    if (const Node timebase = child(child(timing, XmemlName::rate), XmemlName::timebase);
        timebase.exists())
        format.timebase = integerValue(timebase.stringValue());
    if (sequence.exists()) {
        const Node timecode = child(sequence, XmemlName::timecode);
        const Node start = child(timecode, XmemlName::frame);
        format.startFrames = start.exists() ? integerValue(start.stringValue()) : kOneHourDropFrame;
        format.dropFrame = child(timecode, XmemlName::displayformat).stringValue() != "NDF";
    }
    return timecodeOf(integerValue(frames), format);
}

std::vector<std::string> NodeIdentity::markerNames() const {
    std::vector<std::string> names;
    for (const NodeIndex marker : document_.elementsNamed(XmemlName::marker))
        if (const Node name = child(at(marker), XmemlName::name); name.exists())
            names.push_back(name.stringValue());
    return names;
}

/// The place of an element among the siblings of its name, from 1.
std::uint32_t NodeIdentity::position(Node node) const {
    std::uint32_t position = 1;
    int steps = 0;
    for (Node sibling = node.parent().firstChild(); sibling != node;
         sibling = sibling.nextSibling()) {
        position += sibling.name() == node.name() ? 1U : 0U;
        if (++steps == kStepsWithoutMemory) {
            if (!positions_.contains(node.index()))
                rememberPositions(node.parent());
            return positions_.at(node.index());
        }
    }
    return position;
}

void NodeIdentity::rememberPositions(Node parent) const {
    std::unordered_map<XmemlName, std::uint32_t> counts;
    for (Node sibling = parent.firstChild(); sibling.exists(); sibling = sibling.nextSibling())
        positions_.emplace(sibling.index(), ++counts[sibling.name()]);
}

std::string NodeIdentity::xpath(Node node) const {
    std::vector<Node> steps;
    for (; node.parent().exists(); node = node.parent()) {
        if (steps.size() == kLongestPath)
            break;
        steps.push_back(node);
    }
    std::string path = node.parent().exists() ? "..." : "";
    std::ranges::for_each(steps.rbegin(), steps.rend(), [&](Node step) {
        path.append("/").append(step.nameText());
        path.append("[").append(std::to_string(position(step))).append("]");
    });
    return path;
}

} // namespace cutstack
