#pragma once

// Two places, one in the new document and one in the base document, and the moves that keep them in
// step. A step of the comparison begins by moving both to the next node, so a move leaves each of
// them at the node *before* the one that is to be looked at next; "before the node after its
// subtree" is where an element is skipped, and the node before the present one is where a walk
// stays.
//
// Walks that run off the end of their document are at a missing node, and stay there.

#include "changes/XmemlDocument.h"

#include <optional>
#include <vector>

namespace cutstack {

/// How the walks find together again when they stand at elements of different names. Decided by
/// where the next element of the other walk's name is, before anything moves.
enum class Realignment : unsigned char {
    baseStays,        ///< the new element was inserted: the name comes up next in the new document
    restOfNewParent,  ///< so was the rest of its parent
    newStays,         ///< the base element was removed: the name comes up next in the base document
    restOfBaseParent, ///< so was the rest of its parent
    none
};

class ParallelWalk {
public:
    ParallelWalk(const XmemlDocument& newDocument, const XmemlDocument& baseDocument);

    [[nodiscard]] Node newNode() const { return new_; }
    [[nodiscard]] Node baseNode() const { return base_; }

    /// Whether two nodes, one of each document, have the same name; false when either has none.
    [[nodiscard]] bool sameName(Node inNew, Node inBase) const;

    /// Begins a step. False when the new document is at its end, or when the step would start from
    /// the same two nodes as the one before and so never end.
    [[nodiscard]] bool advance();

    /// Moves both walks by one node more, whatever it is: past the text of a leaf.
    void passOneNode();

    /// Leaves out the new element, and the base element too if it has the same name; otherwise the
    /// base walk goes where nextBaseNode() says.
    void skipSubtree();

    /// Leaves out the new element; the base walk goes where nextBaseNode() says.
    void skipNewElement();

    /// Leaves out what remains of the n-th ancestor of each walk's node.
    void skipRestOfAncestor(int generations);

    [[nodiscard]] Realignment realignment() const;

    /// Carries out a realignment that was decided when the walks stood at `newNode` and `baseNode`.
    void realign(Realignment how, Node newNode, Node baseNode);

    /// The base node after which the base walk goes on when the new walk comes to `newNode`: it
    /// stays when the names are the same, jumps to the next sibling of the base node or of its
    /// parent when that has the name, and stays otherwise.
    [[nodiscard]] Node nextBaseNode(Node baseNode, Node newNode) const;

private:
    static Node beforeNextSibling(Node node) { return node.afterSubtree().previous(); }

    Node new_;
    Node base_;
    std::vector<XmemlName> baseNames_; ///< the base document's unknown names in the new numbering
    std::optional<std::pair<Node, Node>> stepBefore_;
};

} // namespace cutstack
