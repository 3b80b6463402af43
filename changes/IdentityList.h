#pragma once

// The UUIDs or ids that a document mentions, as a list in document order with duplicates, and the
// question whether a value is among them, answered by a hash index that is built at the first
// question. Views only: the texts belong to the documents. One thread at a time.

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

namespace cutstack {

using IdentityValues = std::span<const std::string_view>;

class IdentityList {
public:
    explicit IdentityList(IdentityValues values) : values_(values) {}

    [[nodiscard]] IdentityValues values() const { return values_; }

    /// Whether an equal text is in the list. Empty texts count like others.
    [[nodiscard]] bool contains(std::string_view value) const;

private:
    struct Slot {
        std::uint32_t hash = 0;
        std::uint32_t place = 0; ///< index in values_ plus 1; 0 for an empty slot
    };

    void buildIndex() const;
    [[nodiscard]] Slot& slotFor(std::string_view value, std::uint32_t hash) const;

    IdentityValues values_;
    mutable std::vector<Slot> slots_; ///< a power of two, at most half full
};

/// The values of `before` that are not in `after`, in order and as often as `before` has them.
[[nodiscard]] std::vector<std::string_view> removedValues(const IdentityList& before,
                                                          const IdentityList& after);

} // namespace cutstack
