#include "changes/IdentityList.h"

#include <algorithm>
#include <bit>
#include <functional>
#include <iterator>

namespace cutstack {

namespace {

std::uint32_t hashOf(std::string_view value) {
    const std::size_t hash = std::hash<std::string_view>()(value);
    return static_cast<std::uint32_t>(hash ^ (hash >> 32U));
}

} // namespace

/// The slot that holds `value`, or the empty one where it belongs.
IdentityList::Slot& IdentityList::slotFor(std::string_view value, std::uint32_t hash) const {
    const std::size_t mask = slots_.size() - 1;
    std::size_t at = hash & mask;
    while (slots_[at].place != 0 &&
           (slots_[at].hash != hash || values_[slots_[at].place - 1] != value))
        at = (at + 1) & mask;
    return slots_[at];
}

void IdentityList::buildIndex() const {
    slots_.resize(std::bit_ceil(values_.size() * 2 + 1));
    for (std::uint32_t i = 0; i < values_.size(); ++i) {
        const std::uint32_t hash = hashOf(values_[i]);
        slotFor(values_[i], hash) = {hash, i + 1};
    }
}

bool IdentityList::contains(std::string_view value) const {
    if (slots_.empty())
        buildIndex();
    return slotFor(value, hashOf(value)).place != 0;
}

std::vector<std::string_view> removedValues(const IdentityList& before, const IdentityList& after) {
    const IdentityValues old = before.values();
    const auto firstDifference = std::ranges::mismatch(old, after.values()).in1;
    std::vector<std::string_view> removed;
    std::copy_if(firstDifference, old.end(), std::back_inserter(removed),
                 [&](std::string_view value) { return !after.contains(value); });
    return removed;
}

} // namespace cutstack
