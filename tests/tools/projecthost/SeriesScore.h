#pragma once

// How well identities are kept over a series of saves: each save is given its identity, compared
// with the one before, and the sentences are counted.

#include "tests/tools/projecthost/TimelineSeries.h"
#include "tools/projecthost/identity/IdentityStore.h"

#include <cstddef>
#include <string>

namespace cutstack::projecthost {

/// How much of what was said is right, and how much of what is right was said.
struct Score {
    std::size_t said = 0;
    std::size_t saidRightly = 0;
    std::size_t right = 0;
    std::size_t rightSaid = 0;
    [[nodiscard]] double precision() const { return share(saidRightly, said); }
    [[nodiscard]] double recall() const { return share(rightSaid, right); }
    void operator+=(const Score& other);

private:
    static double share(std::size_t part, std::size_t whole) {
        return whole == 0 ? 1 : static_cast<double>(part) / static_cast<double>(whole);
    }
};

struct SeriesScore {
    Score items; ///< clip items that have the same id in two saves running
    /// Sentences, against those of an editor whose ids are never wrong.
    Score sentences;
    Score rawSentences; ///< of the exports as they are
    /// What was added or removed by name, against what was really done.
    Score arrivals;
    Score rawArrivals;
    Score trueArrivals; ///< of the editor whose ids are never wrong
    /// The same for every change that has a sentence.
    Score changes;
    Score rawChanges;
    Score trueChanges;
    void operator+=(const SeriesScore& other);
};

/// Plays a series of `saves` saves. `databasePath` is where the identities are kept.
[[nodiscard]] SeriesScore scoreOfSeries(const SeriesKind& kind, std::uint64_t seed,
                                        std::size_t saves, const std::string& databasePath);

/// A store whose UUIDs are counted, so that every run is the same.
[[nodiscard]] IdentityServices countingServices(std::vector<std::string>* log = nullptr);

/// The changelist of two documents; "unreadable" when one cannot be read.
[[nodiscard]] std::vector<std::string> changesBetween(const std::string& before,
                                                      const std::string& after);

} // namespace cutstack::projecthost
