#pragma once

// What of an export keeps an identity: its items, and every place that mentions one by id. Elements
// are counted in document order from 0, which is how TagEditing finds them again.
//
//      <clipitem id="a1">            an item, defined here
//          <file id="f1"/>           a mention of an item that is defined elsewhere
//          <link><linkclipref>a2     a mention in a text
//
// An empty element with an id refers to the one that has the content; if none has, it stands for
// the item itself. Pure; any thread.

#include "support/StrictXml.h"
#include "tools/projecthost/identity/Items.h"

#include <optional>
#include <string>
#include <vector>

namespace cutstack::projecthost {

using ElementNumber = std::uint32_t;
inline constexpr ElementNumber kNoElement = 0xFFFFFFFF;

enum class MentionForm : std::uint8_t { attribute, text };

/// A place where an item's id stands or belongs.
struct Mention {
    ElementNumber element = 0;
    ItemIndex item = kNoItem;
    MentionForm form = MentionForm::attribute;
};

/// Where a `uuid` has to be put for an item that has none of its own.
enum class UuidPlace : std::uint8_t {
    none,      ///< the kind has no UUID, or the item has its own
    inItem,    ///< as a child of the element
    inHistory, ///< as the first child of the item's `itemhistory`
    newHistory ///< in an `itemhistory` that has to be made
};

struct UuidWanted {
    ElementNumber element = kNoElement; ///< the item's, or its history's for `inHistory`
    UuidPlace place = UuidPlace::none;
};

struct ItemList {
    std::vector<Item> items;
    std::vector<UuidWanted> wanted; ///< one for each item
    std::vector<Mention> mentions;  ///< those with an item, in order of their elements
};

/// Reads an export of well-formed UTF-8. On failure returns nothing and says why in `error`.
[[nodiscard]] std::optional<ItemList> readItems(const std::string& document, XmlError& error);

} // namespace cutstack::projecthost
