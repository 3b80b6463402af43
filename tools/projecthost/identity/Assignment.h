#pragma once

// A matching while it grows: which known items and which items of the export belong together, and
// which are left. One thread.

#include "tools/projecthost/identity/Items.h"

#include <span>
#include <vector>

namespace cutstack::projecthost {

/// A matching may ask for those that the last save had, or for those that were removed before.
enum class Era : bool { current, retired };

class Assignment {
public:
    Assignment(const std::vector<KnownItem>& known, const std::vector<Item>& items)
        : known_(known),
          items_(items),
          knownOf_(items.size(), kNoItem),
          itemOf_(known.size(), kNoItem) {}

    [[nodiscard]] const std::vector<KnownItem>& known() const { return known_; }
    [[nodiscard]] const std::vector<Item>& items() const { return items_; }

    /// REQUIRES: neither belongs to another one yet.
    void join(ItemIndex known, ItemIndex item) {
        knownOf_[item] = known;
        itemOf_[known] = item;
    }

    [[nodiscard]] ItemIndex knownOf(ItemIndex item) const { return knownOf_[item]; }
    [[nodiscard]] ItemIndex itemOf(ItemIndex known) const { return itemOf_[known]; }

    /// Whether the known item is of that era and still to be had.
    [[nodiscard]] bool isFree(ItemIndex known, Era era) const {
        return itemOf_[known] == kNoItem && (known_[known].retiredAt != 0) == (era == Era::retired);
    }

    /// The known container of an item; none when it has none, or a new one.
    [[nodiscard]] ItemIndex knownContainerOf(ItemIndex item) const {
        const ItemIndex container = items_[item].container;
        return container == kNoItem ? kNoItem : knownOf_[container];
    }

    [[nodiscard]] std::vector<ItemIndex> take() { return std::move(knownOf_); }

private:
    const std::vector<KnownItem>& known_;
    const std::vector<Item>& items_;
    std::vector<ItemIndex> knownOf_;
    std::vector<ItemIndex> itemOf_;
};

/// Joins sequences and bins: by UUID, else by name in the same parent, else by name anywhere, else
/// by what they hold, else by their place in the same parent. Two with UUIDs of their own that
/// differ are joined only when name, parent and content agree.
void matchContainers(Assignment& assignment, Era era);

} // namespace cutstack::projecthost
