#pragma once

// An XMEML export as the comparison sees it: its elements and texts, one after the other in the
// order in which they begin. Attributes, names and texts hang on these; comments, processing
// instructions and texts of white space alone are gone.
//
//      0 document   1 xmeml   2 sequence   3 name   4 "Scene 1"   5 rate   6 timebase   7 "25"
//      |            |         |            +---- end of 3 = 5     |        +---- end of 6 = 8
//      |            |         +---- end of 2 = 8                  +---- end of 5 = 8
//
// In such a row the node that follows in document order is the next one, the first node after a
// subtree is where the subtree ends, and the text of an element is a run of the row of texts: no
// question that the comparison asks of a document needs a search through a tree or a recursion.
//
// A Node is a place in a document. A missing node is a Node too: every step from it leads to a
// missing node again, so walks may run off the end of a document without asking at each step.
//
// A document never changes once it has been read; any thread may read it.

#include "changes/XmemlNames.h"
#include "support/StrictXml.h"

#include <atomic>
#include <cstdint>
#include <memory>
#include <memory_resource>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace cutstack {

class XmemlDocument;

using NodeIndex = std::uint32_t;
inline constexpr NodeIndex kMissingNode = 0xFFFFFFFF;

/// What a name of one document is in the numbering of another that does not have it.
inline constexpr auto kForeignName = static_cast<XmemlName>(0xFFFFFFFF);

/// A run of a document's texts: those from `begin` up to `end`.
struct TextRun {
    std::uint32_t begin = 0;
    std::uint32_t end = 0;
    [[nodiscard]] std::uint32_t size() const { return end - begin; }
};

/// A place in a document, or nowhere. Small, copied freely; valid as long as its document.
class Node {
public:
    Node() = default;
    Node(const XmemlDocument& document, NodeIndex index) : document_(&document), index_(index) {}

    [[nodiscard]] bool exists() const { return index_ != kMissingNode; }
    [[nodiscard]] NodeIndex index() const { return index_; }
    [[nodiscard]] bool operator==(const Node& other) const { return index_ == other.index_; }

    /// The name of an element; `none` for a text, the document node and a missing node.
    [[nodiscard]] XmemlName name() const;
    /// The name as it is written; empty where name() is `none`.
    [[nodiscard]] std::string_view nameText() const;

    /// The next and the previous node in document order. The document node stands before the root.
    [[nodiscard]] Node next() const;
    [[nodiscard]] Node previous() const;
    /// The element that holds this node; for the root the document node.
    [[nodiscard]] Node parent() const;
    /// The n-th ancestor: ancestor(1) is the parent.
    [[nodiscard]] Node ancestor(int generations) const;
    /// The first node after this one and everything in it: its next sibling, or that of the nearest
    /// ancestor that has one.
    [[nodiscard]] Node afterSubtree() const;
    [[nodiscard]] Node firstChild() const;
    [[nodiscard]] Node nextSibling() const;
    /// Whether `other` lies in this node's subtree (a node does not lie in itself).
    [[nodiscard]] bool encloses(Node other) const;

    /// Two child nodes or more, be they elements or texts.
    [[nodiscard]] bool hasSeveralChildren() const;
    /// The texts below this node; for a text itself a run of one.
    [[nodiscard]] TextRun texts() const;
    /// All text below this node, joined; empty for a missing node.
    [[nodiscard]] std::string stringValue() const;
    /// The value of the attribute `id`, if there is one.
    [[nodiscard]] std::optional<std::string_view> idAttribute() const;

private:
    const XmemlDocument* document_ = nullptr;
    NodeIndex index_ = kMissingNode;
};

class XmemlDocument {
public:
    /// Reads an export: UTF-8, or UTF-16 with a byte-order mark. Whatever the root element is
    /// called is accepted. The document keeps `bytes`, which its texts are views into, and beside
    /// them 16 to 40 bytes for each element and text: for exports about as much memory again.
    /// On failure returns nothing and says in `error` what stands where.
    /// `bytesRead` is raised as the reading goes on.
    [[nodiscard]] static std::unique_ptr<const XmemlDocument>
    parse(std::string bytes, XmlError& error, std::atomic<std::uint64_t>* bytesRead = nullptr);

    XmemlDocument(const XmemlDocument&) = delete;
    XmemlDocument& operator=(const XmemlDocument&) = delete;
    ~XmemlDocument();

    /// The document node, which holds the root.
    [[nodiscard]] Node documentNode() const { return {*this, 0}; }
    [[nodiscard]] Node root() const { return {*this, 1}; }
    [[nodiscard]] std::size_t nodeCount() const { return nodes_.size(); }

    /// The value of every `uuid` element, and of every `id` attribute, in document order and as
    /// often as they occur. The views live as long as the document.
    [[nodiscard]] const std::vector<std::string_view>& uuidList() const { return uuids_; }
    [[nodiscard]] const std::vector<std::string_view>& idList() const { return ids_; }

    /// The texts of the document in document order; TextRun counts in these.
    [[nodiscard]] std::span<const std::string_view> texts() const { return texts_; }

    /// The places of all elements of a name, in document order.
    /// REQUIRES: `name` is one of the indexed names (the first row of XmemlNames.h).
    [[nodiscard]] std::span<const NodeIndex> elementsNamed(XmemlName name) const;

    /// Where a name that this document numbers from `firstUnknown` on stands in the numbering of
    /// `other`: an entry for each unknown name, kForeignName where `other` does not have it.
    [[nodiscard]] std::vector<XmemlName> unknownNamesIn(const XmemlDocument& other) const;

    /// Whether two documents say the same: names, attributes in any order, texts and structure.
    [[nodiscard]] bool equals(const XmemlDocument& other) const;

private:
    friend class Node;
    friend class XmemlDocumentBuilder;

    struct Record {
        XmemlName name;          ///< none for a text
        NodeIndex parent;        ///< kMissingNode for the document node
        NodeIndex end;           ///< the first node after the subtree
        std::uint32_t firstText; ///< the first text at or after this node
    };
    struct Attribute {
        XmemlName name;
        NodeIndex owner;
        std::string_view value;
    };
    using Attributes = std::span<const Attribute>;

    XmemlDocument();
    [[nodiscard]] std::string_view textOf(XmemlName name) const;
    [[nodiscard]] Attributes attributesOf(NodeIndex element) const;
    [[nodiscard]] bool structureEquals(const XmemlDocument& other,
                                       const std::vector<XmemlName>& otherNames) const;
    [[nodiscard]] bool attributesEqual(const XmemlDocument& other,
                                       const std::vector<XmemlName>& otherNames) const;

    std::string bytes_;
    std::pmr::monotonic_buffer_resource arena_; ///< texts that do not stand in bytes_ as they are
    std::vector<Record> nodes_;
    std::vector<Attribute> attributes_; ///< in the order of their owners
    std::vector<std::string_view> texts_;
    std::vector<std::string_view> unknownNames_;
    std::array<std::vector<NodeIndex>, kIndexedNames> index_;
    std::vector<std::string_view> uuids_;
    std::vector<std::string_view> ids_;
};

// Node: the steps of the walk, which are taken millions of times.

inline XmemlName Node::name() const {
    return exists() ? document_->nodes_[index_].name : XmemlName::none;
}

inline Node Node::next() const {
    return exists() && index_ + 1 < document_->nodes_.size() ? Node(*document_, index_ + 1)
                                                             : Node();
}

inline Node Node::previous() const {
    return exists() && index_ > 0 ? Node(*document_, index_ - 1) : Node();
}

inline Node Node::parent() const {
    return exists() && index_ > 0 ? Node(*document_, document_->nodes_[index_].parent) : Node();
}

inline Node Node::afterSubtree() const {
    if (!exists())
        return {};
    const NodeIndex end = document_->nodes_[index_].end;
    return end < document_->nodes_.size() ? Node(*document_, end) : Node();
}

inline Node Node::firstChild() const {
    return exists() && document_->nodes_[index_].end > index_ + 1 ? Node(*document_, index_ + 1)
                                                                  : Node();
}

inline Node Node::nextSibling() const {
    const Node after = afterSubtree();
    return parent().encloses(after) ? after : Node();
}

inline bool Node::encloses(Node other) const {
    return exists() && other.exists() && other.index_ > index_ &&
           other.index_ < document_->nodes_[index_].end;
}

inline bool Node::hasSeveralChildren() const { return firstChild().nextSibling().exists(); }

inline TextRun Node::texts() const {
    if (!exists())
        return {};
    const auto& nodes = document_->nodes_;
    const NodeIndex end = nodes[index_].end;
    const auto texts = static_cast<std::uint32_t>(document_->texts_.size());
    return {nodes[index_].firstText, end < nodes.size() ? nodes[end].firstText : texts};
}

} // namespace cutstack
