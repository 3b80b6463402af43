#pragma once

// What the comparison and the wording of changes ask of an element of an export: its kind, its
// name, what identifies it in another export, the element that it lies in, its place on the
// timeline. A NodeIdentity answers for one document and remembers what was costly to find, so that
// no number of questions makes the work grow faster than the document.
//
// A missing answer is an empty optional, a missing element a missing Node; a question about a
// missing node has a missing answer. The document outlives its NodeIdentity. One thread at a time.

#include "changes/XmemlDocument.h"

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace cutstack {

/// Lists of UUIDs by kind of element, each without duplicates and in order of first addition.
using UuidDict = std::map<std::string, std::vector<std::string>, std::less<>>;

/// Adds `uuid` to the list of `type` unless it is there already.
void uuidDictAddUUID(UuidDict& uuidDict, std::string_view uuid, std::string_view type);

/// `text` with its first character in upper case (Unicode).
[[nodiscard]] std::string capitalizeFirstLetter(std::string_view text);

class NodeIdentity {
public:
    explicit NodeIdentity(const XmemlDocument& document) : document_(document) {}

    [[nodiscard]] const XmemlDocument& document() const { return document_; }

    /// The kind of an element as sentences call it: "Clip" for a clipitem, else the element name
    /// with an initial capital and small letters after it. Empty for what has no name.
    [[nodiscard]] std::string typeOfNode(Node node) const;

    /// The name to show: the text of the element's own `name`, else of the first `name` anywhere
    /// below it, else its `id`; percent escapes replaced where that is possible.
    [[nodiscard]] std::optional<std::string> nameForNode(Node node) const;

    /// The element's own `id`, else that of its `file`; unescaped.
    [[nodiscard]] std::optional<std::string> idForNode(Node node) const;

    /// The element's own `uuid`, else the first one anywhere below it; unescaped.
    [[nodiscard]] std::optional<std::string> uuidForNode(Node node) const;

    /// The UUID under which an element that changed since is known: the first of its own
    /// `itemhistory`, or when it has none, the first of every history below it. Empty ones are
    /// left out; document order.
    [[nodiscard]] std::vector<std::string> uuidHistoryForNode(Node node) const;

    /// The nearest ancestor of that name; never the element itself.
    [[nodiscard]] Node nodeParentWithName(Node node, XmemlName name) const;

    /// Whether the element or an ancestor has that name.
    [[nodiscard]] bool pathContains(Node node, XmemlName name) const;

    /// The timecode at which an element begins, from its `start` or `in`, its own before those
    /// below it.
    [[nodiscard]] std::optional<std::string> startTimeForNode(Node node) const;

    /// A frame count, written in decimal, as a timecode of the sequence that `node` lies in, or of
    /// the element itself outside of sequences (see Timecode.h).
    [[nodiscard]] std::string timecodeFromFrames(std::string_view frames, Node node) const;

    /// The first child of that name.
    [[nodiscard]] Node child(Node node, XmemlName name) const;

    /// The first element of that name anywhere below.
    /// REQUIRES: `name` is an indexed name.
    [[nodiscard]] Node firstBelow(Node node, XmemlName name) const;

    /// The first `name` of every marker of the document, as text, in document order.
    [[nodiscard]] std::vector<std::string> markerNames() const;

    /// Where an element stands, as "/xmeml[1]/sequence[1]/media[1]". Of a path of more than 256
    /// steps only the last ones are given, after "...".
    [[nodiscard]] std::string xpath(Node node) const;

private:
    /// A question about a node and a name, as a key of what is remembered.
    using NodeAndName = std::uint64_t;

    static NodeAndName keyOf(Node node, XmemlName name);
    [[nodiscard]] Node at(NodeIndex index) const;
    [[nodiscard]] Node nearest(Node node, XmemlName name) const;
    [[nodiscard]] Node nearestBeyond(Node node, XmemlName name) const;
    [[nodiscard]] std::uint32_t position(Node node) const;
    void rememberPositions(Node parent) const;
    void appendHistory(Node history, std::vector<std::string>& uuids) const;

    const XmemlDocument& document_;
    mutable std::unordered_map<NodeAndName, NodeIndex> farChildren_;
    mutable std::unordered_map<NodeAndName, NodeIndex> farAncestors_;
    mutable std::unordered_map<NodeIndex, std::uint32_t> positions_;
};

} // namespace cutstack
