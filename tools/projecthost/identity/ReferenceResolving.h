#pragma once

// Who is meant by the ids of one export. While an export is read, every definition and every
// reference is noted here; at its end each reference finds its item, and items learn their media
// from the files that they hold or refer to.
//
// Ids of different kinds of element may be equal (a clip and its file are both called by the name
// of the file in some exports), and a clip item's id may occur in several sequences. So a reference
// is looked up among the kinds that it can mean, and in its own sequence first. One reading; one
// thread.

#include "tools/projecthost/identity/ItemReading.h"

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace cutstack::projecthost {

class References {
public:
    /// An element that may turn out to be an item or, empty, a reference. `owner` is the item whose
    /// medium it is, if any.
    void begin(ItemIndex item, ItemIndex owner, std::optional<std::string> id);

    /// It is an item.
    void define(ItemIndex item, ElementNumber element);

    /// It is a reference; its index is given to another element next. Without an id it is nothing.
    void refer(ItemIndex item, ElementNumber element, ItemKind kind, ItemIndex container);

    /// A text that names an id. `owner` is the item that it belongs to.
    void referInText(std::string id, ElementNumber element, ItemKind kind, ItemIndex container,
                     ItemIndex owner);

    /// Adds the mentions to `list` and completes its media. Files that are described more than once
    /// become one item. What is referred to and defined nowhere becomes an item, except where
    /// a link names it.
    void resolve(ItemList& list);

private:
    struct Begun {
        ItemIndex owner = kNoItem;
        std::optional<std::string> id;
        ElementNumber element = 0;
    };
    struct Reference {
        std::string id;
        ElementNumber element = 0;
        ItemKind kind = ItemKind::clip;
        ItemIndex container = kNoItem;
        ItemIndex owner = kNoItem;
        MentionForm form = MentionForm::attribute;
        ItemIndex item = kNoItem;
    };
    /// The first thing within an item that tells its medium: an item or a reference.
    struct Source {
        ItemIndex item = kNoItem;
        std::size_t reference = 0; ///< used when `item` is none
    };

    void indexDefinitions(const ItemList& list);
    [[nodiscard]] ItemIndex find(const Reference& reference) const;
    ItemIndex addMissing(const Reference& reference, ItemList& list);
    void mergeFiles(ItemList& list);
    void learnMedia(ItemList& list) const;
    void learnMissingMedia(ItemList& list) const;

    std::vector<Begun> begun_; ///< by item
    std::vector<Reference> references_;
    std::unordered_map<ItemIndex, Source> sources_; ///< by the item that shows it
    std::unordered_map<std::string, ItemIndex> byId_;
    std::size_t defined_ = 0; ///< items that the export contains; the missing ones come after them
};

} // namespace cutstack::projecthost
