#pragma once

// Hiding kinds of change. A sentence is the only record of a change, so a kind is told by words in
// it: whoever hides sequences also hides a clip's sentence that says " for sequence ...". Pure; any
// thread.

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace cutstack {

enum class ChangeKind : std::uint8_t {
    inPoints,
    outPoints,
    markers,
    filters, ///< and generators and transitions
    sequences,
    clips,
    subclips,
    freezeFrames,
    bins,
    multiclips
};

inline constexpr std::size_t kChangeKinds = 10;

/// The names of the kinds as a person types them ("in-points"), in the order of ChangeKind.
extern const std::array<std::string_view, kChangeKinds> kChangeKindNames;

/// The settings by kind: 1 hides the kind, 0 shows it. Any other number hides nothing but counts as
/// a filter that is on.
using FilterSettings = std::array<std::int64_t, kChangeKinds>;

/// The settings that hide the kinds named in `kinds`, separated by commas ("bins,clips"), besides
/// those that are hidden in `settings`. Nothing when one is no name, which is put into `unknown`.
[[nodiscard]] std::optional<FilterSettings>
hidingKinds(std::string_view kinds, FilterSettings settings, std::string& unknown);

class ChangeFilter {
public:
    explicit ChangeFilter(const FilterSettings& settings);

    /// Why the filter cannot work, when it cannot: it is on, but no setting is 1.
    [[nodiscard]] std::optional<std::string> failure() const;

    /// The sentences that are not hidden, in their order. All of them when every setting is 0 and
    /// when the filter has a failure().
    [[nodiscard]] std::vector<std::string>
    filterArray(const std::vector<std::string>& sentences) const;

private:
    struct Clue;

    [[nodiscard]] bool hides(std::string_view foldedSentence) const;

    bool isOn_ = false;
    std::vector<const Clue*> hidden_; ///< what tells the kinds that are hidden
};

} // namespace cutstack
