#include "changes/ParallelWalk.h"

#include <utility>

namespace cutstack {

ParallelWalk::ParallelWalk(const XmemlDocument& newDocument, const XmemlDocument& baseDocument)
    : new_(newDocument.root()),
      base_(baseDocument.root()),
      baseNames_(baseDocument.unknownNamesIn(newDocument)) {}

bool ParallelWalk::sameName(Node inNew, Node inBase) const {
    const XmemlName ours = inNew.name();
    XmemlName theirs = inBase.name();
    if (theirs >= XmemlName::firstUnknown)
        theirs = baseNames_[static_cast<std::size_t>(theirs) -
                            static_cast<std::size_t>(XmemlName::firstUnknown)];
    return ours == theirs && ours != XmemlName::none;
}

bool ParallelWalk::advance() {
    const std::pair start(new_, base_);
    const bool stuck = stepBefore_ == start;
    stepBefore_ = start;
    new_ = new_.next();
    base_ = base_.next();
    return new_.exists() && !stuck;
}

void ParallelWalk::passOneNode() {
    new_ = new_.next();
    base_ = base_.next();
}

void ParallelWalk::skipSubtree() {
    if (!sameName(new_, base_)) {
        skipNewElement();
        return;
    }
    new_ = beforeNextSibling(new_);
    base_ = beforeNextSibling(base_);
}

void ParallelWalk::skipNewElement() {
    const Node last = beforeNextSibling(new_);
    base_ = nextBaseNode(base_, last.next());
    new_ = last;
}

void ParallelWalk::skipRestOfAncestor(int generations) {
    new_ = beforeNextSibling(new_.ancestor(generations));
    base_ = beforeNextSibling(base_.ancestor(generations));
}

Realignment ParallelWalk::realignment() const {
    if (sameName(new_.next(), base_))
        return Realignment::baseStays;
    if (sameName(new_.parent().afterSubtree(), base_))
        return Realignment::restOfNewParent;
    if (sameName(new_, base_.next()))
        return Realignment::newStays;
    if (sameName(new_, base_.parent().afterSubtree()))
        return Realignment::restOfBaseParent;
    return Realignment::none;
}

void ParallelWalk::realign(Realignment how, Node newNode, Node baseNode) {
    switch (how) {
    case Realignment::baseStays:
        base_ = base_.previous();
        break;
    case Realignment::restOfNewParent:
        base_ = base_.previous();
        new_ = beforeNextSibling(newNode.parent());
        break;
    case Realignment::newStays:
        new_ = new_.previous();
        break;
    case Realignment::restOfBaseParent:
        base_ = beforeNextSibling(baseNode.parent());
        new_ = new_.previous();
        break;
    case Realignment::none:
        break;
    }
}

Node ParallelWalk::nextBaseNode(Node baseNode, Node newNode) const {
    if (sameName(newNode, baseNode))
        return baseNode.previous();
    if (const Node sibling = baseNode.afterSubtree(); sameName(newNode, sibling))
        return sibling;
    if (const Node parentSibling = baseNode.parent().afterSubtree();
        sameName(newNode, parentSibling))
        return parentSibling;
    return baseNode.previous();
}

} // namespace cutstack
