#include "changes/Removals.h"

#include "support/Format.h"

#include <string_view>
#include <unordered_map>

namespace cutstack {

namespace {

/// The places of the `uuid` elements of a document by their texts; the first place of each text.
class UuidPlaces {
public:
    explicit UuidPlaces(const XmemlDocument& document) : document_(document) {
        for (const NodeIndex uuid : document.elementsNamed(XmemlName::uuid))
            addTextsOf(Node(document, uuid));
    }

    [[nodiscard]] Node find(std::string_view uuid) const {
        const auto place = places_.find(uuid);
        return place == places_.end() ? Node() : Node(document_, place->second);
    }

private:
    void addTextsOf(Node uuid) {
        for (Node child = uuid.firstChild(); child.exists(); child = child.nextSibling())
            if (child.name() == XmemlName::none)
                places_.emplace(document_.texts()[child.texts().begin], uuid.index());
    }

    const XmemlDocument& document_;
    std::unordered_map<std::string_view, NodeIndex> places_;
};

void appendRemovedUuids(const NodeIdentity& base, const std::vector<std::string_view>& removed,
                        ComparisonHost& host, SentenceBudget& budget,
                        std::vector<std::string>& sentences) {
    if (removed.empty())
        return;
    const UuidPlaces places(base.document());
    for (const std::string_view uuid : removed) {
        if (uuid.find('"') != std::string_view::npos) {
            host.console(formatString("err: Invalid expression .//uuid[text()=\"%@\"][1]", {uuid}));
            continue;
        }
        const Node owner = places.find(uuid).parent();
        if (owner.exists() && owner.name() != XmemlName::itemhistory)
            sentences.push_back(sentenceFrom(
                "%@ %@ removed", {base.typeOfNode(owner), base.nameForNode(owner).value_or("")},
                budget));
    }
}

} // namespace

void appendRemovals(const NodeIdentity& base, const IdentityList& oldUUIDs,
                    const IdentityList& newUUIDs, const IdentityList& oldIDs,
                    const IdentityList& newIDs, ComparisonHost& host, SentenceBudget& budget,
                    std::vector<std::string>& sentences) {
    appendRemovedUuids(base, removedValues(oldUUIDs, newUUIDs), host, budget, sentences);
    for (const std::string_view id : removedValues(oldIDs, newIDs))
        host.console(formatString("err2: Invalid type in .//@id=\"%@\"[1]", {id}));
}

} // namespace cutstack
