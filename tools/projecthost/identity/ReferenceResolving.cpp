#include "tools/projecthost/identity/ReferenceResolving.h"

#include <algorithm>
#include <array>
#include <span>
#include <utility>

namespace cutstack::projecthost {

namespace {

/// The kinds that a reference may mean, in the order in which they are looked up.
std::span<const ItemKind> kindsMeantBy(const ItemKind& kind) {
    using enum ItemKind;
    static constexpr std::array kTimeline = {clipitem, generatoritem, transitionitem, clip};
    static constexpr std::array kMaster = {clip, sequence, multiclip, clipitem};
    if (kind == clipitem)
        return kTimeline;
    return kind == masterclip ? std::span(kMaster) : std::span(&kind, 1);
}

std::string keyOf(ItemKind kind, std::string_view id, ItemIndex container) {
    std::string key(1, static_cast<char>('a' + static_cast<int>(kind)));
    key += std::to_string(container);
    key += ' ';
    key += id;
    return key;
}

/// What an item shows that holds `source`.
void learnMedium(Item& item, const Item& source) {
    if (source.kind == ItemKind::sequence) {
        item.medium.path =
            "sequence:" + (source.history.empty() ? source.name : source.history.front());
        return;
    }
    item.medium.path = source.medium.path;
    item.medium.fileName = source.medium.fileName.empty() ? source.name : source.medium.fileName;
}

} // namespace

void References::begin(ItemIndex item, ItemIndex owner, std::optional<std::string> id) {
    begun_.resize(item);
    begun_.push_back({owner, std::move(id), 0});
}

void References::define(ItemIndex item, ElementNumber element) {
    begun_[item].element = element;
    if (begun_[item].owner != kNoItem)
        sources_.try_emplace(begun_[item].owner, Source{item, 0});
}

void References::refer(ItemIndex item, ElementNumber element, ItemKind kind, ItemIndex container) {
    Begun& begun = begun_[item];
    if (!begun.id)
        return;
    if (begun.owner != kNoItem)
        sources_.try_emplace(begun.owner, Source{kNoItem, references_.size()});
    references_.push_back({*std::move(begun.id), element, kind, container, begun.owner,
                           MentionForm::attribute, kNoItem});
}

void References::referInText(std::string id, ElementNumber element, ItemKind kind,
                             ItemIndex container, ItemIndex owner) {
    references_.push_back(
        {std::move(id), element, kind, container, owner, MentionForm::text, kNoItem});
}

/// The first definition of an id counts, in each container and in all.
void References::indexDefinitions(const ItemList& list) {
    for (ItemIndex i = 0; i < list.items.size(); ++i) {
        const auto& id = begun_[i].id;
        if (!id)
            continue;
        const Item& item = list.items[i];
        byId_.try_emplace(keyOf(item.kind, *id, item.container), i);
        byId_.try_emplace(keyOf(item.kind, *id, kNoItem), i);
    }
}

ItemIndex References::find(const Reference& reference) const {
    for (const ItemKind kind : kindsMeantBy(reference.kind))
        for (const ItemIndex container : {reference.container, kNoItem})
            if (const auto found = byId_.find(keyOf(kind, reference.id, container));
                found != byId_.end())
                return found->second;
    const auto missing = byId_.find(keyOf(reference.kind, reference.id, kNoItem));
    return missing == byId_.end() ? kNoItem : missing->second;
}

ItemIndex References::addMissing(const Reference& reference, ItemList& list) {
    const auto index = static_cast<ItemIndex>(list.items.size());
    Item item;
    item.kind = reference.kind;
    if (reference.owner != kNoItem)
        item.name = item.medium.name = list.items[reference.owner].name;
    list.items.push_back(std::move(item));
    list.wanted.emplace_back();
    byId_.emplace(keyOf(reference.kind, reference.id, kNoItem), index);
    return index;
}

void References::resolve(ItemList& list) {
    defined_ = list.items.size();
    begun_.resize(defined_);
    for (ItemIndex i = 0; i < defined_; ++i)
        list.mentions.push_back({begun_[i].element, i, MentionForm::attribute});
    indexDefinitions(list);
    for (Reference& reference : references_) {
        reference.item = find(reference);
        const bool isLink =
            reference.form == MentionForm::text && reference.kind == ItemKind::clipitem;
        if (reference.item == kNoItem && !isLink)
            reference.item = addMissing(reference, list);
        if (reference.item != kNoItem)
            list.mentions.push_back({reference.element, reference.item, reference.form});
    }
    learnMedia(list);
    learnMissingMedia(list);
    mergeFiles(list);
    std::ranges::sort(list.mentions, {}, &Mention::element);
}

/// Holders come before what they hold, so the last ones learn first.
void References::learnMedia(ItemList& list) const {
    for (auto i = static_cast<ItemIndex>(defined_); i-- > 0;) {
        const auto found = sources_.find(i);
        if (found == sources_.end())
            continue;
        const Source& source = found->second;
        const ItemIndex shown =
            source.item != kNoItem ? source.item : references_[source.reference].item;
        if (shown != kNoItem && shown != i)
            learnMedium(list.items[i], list.items[shown]);
    }
}

/// A master clip that is not part of the export shows what the clips show that come from it.
void References::learnMissingMedia(ItemList& list) const {
    for (const Reference& reference : references_)
        if (reference.item != kNoItem && reference.item >= defined_ && reference.owner != kNoItem &&
            reference.kind == ItemKind::masterclip &&
            list.items[reference.item].medium.path.empty())
            learnMedium(list.items[reference.item], list.items[reference.owner]);
}

void References::mergeFiles(ItemList& list) {
    std::unordered_map<std::string, ItemIndex> first;
    std::vector<ItemIndex> placeOf(list.items.size());
    ItemIndex kept = 0;
    for (ItemIndex i = 0; i < list.items.size(); ++i) {
        Item& item = list.items[i];
        ItemIndex place = kept;
        if (item.kind == ItemKind::file && i < defined_) {
            const std::string key =
                begun_[i].id.value_or("") + '\n' + item.medium.path + '\n' + item.name;
            place = first.try_emplace(key, kept).first->second;
        }
        placeOf[i] = place;
        if (place != kept)
            continue;
        if (item.container != kNoItem)
            item.container = placeOf[item.container];
        if (kept != i) {
            list.items[kept] = std::move(item);
            list.wanted[kept] = list.wanted[i];
        }
        ++kept;
    }
    list.items.resize(kept);
    list.wanted.resize(kept);
    for (Mention& mention : list.mentions)
        mention.item = placeOf[mention.item];
}

} // namespace cutstack::projecthost
