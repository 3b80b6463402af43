#include "changes/ChangeFilter.h"

#include "support/Unicode.h"

#include <algorithm>
#include <iterator>

namespace cutstack {

const std::array<std::string_view, kChangeKinds> kChangeKindNames = {
    "in-points", "out-points", "markers",       "filters", "sequences",
    "clips",     "subclips",   "freeze-frames", "bins",    "multiclips"};

/// A word, in folded case, that tells a kind. Clips and bins are looked for as words of their own,
/// so that a subclip is no clip; the others are found anywhere.
struct ChangeFilter::Clue {
    enum class Test : std::uint8_t { contains, beginsWith, endsWith };

    ChangeKind kind;
    Test test;
    std::string_view word;

    [[nodiscard]] bool isIn(std::string_view sentence) const {
        switch (test) {
        case Test::contains:
            return sentence.find(word) != std::string_view::npos;
        case Test::beginsWith:
            return sentence.starts_with(word);
        case Test::endsWith:
            return sentence.ends_with(word);
        }
        return false;
    }

    static const std::array<Clue, 16> all;
};

constexpr std::array<ChangeFilter::Clue, 16> ChangeFilter::Clue::all = [] {
    using enum ChangeKind;
    using enum Clue::Test;
    return std::array{
        Clue{inPoints, contains, "in point"},  Clue{outPoints, contains, "out point"},
        Clue{markers, contains, "marker"},     Clue{filters, contains, "filter"},
        Clue{filters, contains, "generator"},  Clue{filters, contains, "transition"},
        Clue{sequences, contains, "sequence"}, Clue{clips, contains, " clip "},
        Clue{clips, beginsWith, "clip "},      Clue{clips, endsWith, " clip"},
        Clue{subclips, contains, "subclip"},   Clue{freezeFrames, contains, "freeze frame"},
        Clue{bins, contains, " bin "},         Clue{bins, beginsWith, "bin "},
        Clue{bins, endsWith, " bin"},          Clue{multiclips, contains, "multiclip"},
    };
}();

std::optional<FilterSettings> hidingKinds(std::string_view kinds, FilterSettings settings,
                                          std::string& unknown) {
    for (bool more = true; more;) {
        const std::size_t comma = std::min(kinds.find(','), kinds.size());
        const auto* known = std::ranges::find(kChangeKindNames, kinds.substr(0, comma));
        if (known == kChangeKindNames.end()) {
            unknown = kinds.substr(0, comma);
            return std::nullopt;
        }
        settings.at(static_cast<std::size_t>(known - kChangeKindNames.begin())) = 1;
        more = comma < kinds.size();
        kinds.remove_prefix(std::min(comma + 1, kinds.size()));
    }
    return settings;
}

ChangeFilter::ChangeFilter(const FilterSettings& settings)
    : isOn_(std::ranges::any_of(settings, [](std::int64_t setting) { return setting != 0; })) {
    for (const Clue& clue : Clue::all)
        if (settings.at(static_cast<std::size_t>(clue.kind)) == 1)
            hidden_.push_back(&clue);
}

std::optional<std::string> ChangeFilter::failure() const {
    if (!isOn_ || !hidden_.empty())
        return std::nullopt;
    return "Unable to parse the format string \"\"";
}

bool ChangeFilter::hides(std::string_view foldedSentence) const {
    return std::ranges::any_of(hidden_,
                               [&](const Clue* clue) { return clue->isIn(foldedSentence); });
}

std::vector<std::string>
ChangeFilter::filterArray(const std::vector<std::string>& sentences) const {
    if (hidden_.empty())
        return sentences;
    std::string folded;
    std::vector<std::string> shown;
    std::ranges::copy_if(sentences, std::back_inserter(shown), [&](const std::string& sentence) {
        foldCase(sentence, folded);
        return !hides(folded);
    });
    return shown;
}

} // namespace cutstack
