// Prints how well identities are kept over generated series of saves, as the tables of
// docs/performance.md.
//
//     IdentityReport [SERIES [SAVES]]

#include "tests/TemporaryFolder.h"
#include "tests/tools/projecthost/SeriesKinds.h"
#include "tests/tools/projecthost/SeriesScore.h"

#include <cstdio>
#include <cstdlib>
#include <initializer_list>
#include <vector>

namespace {

using namespace cutstack;
using namespace cutstack::projecthost;

void print(std::initializer_list<Score> scores) {
    for (const Score& score : scores)
        std::printf(" %.4f / %.4f |", score.precision(), score.recall());
    std::puts("");
}

SeriesScore scoreOfKind(const SeriesKind& kind, std::uint64_t series, std::size_t saves) {
    SeriesScore total;
    for (std::uint64_t seed = 1; seed <= series; ++seed) {
        const TemporaryFolder folder;
        total += scoreOfSeries(kind, seed, saves, folder / "identities.sqlite");
    }
    return total;
}

} // namespace

int main(int argc, char** argv) {
    const std::uint64_t series = argc > 1 ? std::strtoull(argv[1], nullptr, 10) : 50;
    const std::size_t saves = argc > 2 ? std::strtoull(argv[2], nullptr, 10) : 20;
    std::vector<SeriesScore> scores;
    for (const SeriesKind& kind : kSeriesKinds)
        scores.push_back(scoreOfKind(kind, series, saves));
    std::puts("| Series | Items | Sentences | Sentences, as exported |\n|---|--:|--:|--:|");
    for (std::size_t i = 0; i < scores.size(); ++i) {
        std::printf("| %s |", kSeriesKinds[i].name);
        print({scores[i].items, scores[i].sentences, scores[i].rawSentences});
    }
    std::puts(
        "\n| Series | Added, removed | as exported | with true ids | All changes | as exported "
        "| with true ids |\n|---|--:|--:|--:|--:|--:|--:|");
    for (std::size_t i = 0; i < scores.size(); ++i) {
        const SeriesScore& score = scores[i];
        std::printf("| %s |", kSeriesKinds[i].name);
        print({score.arrivals, score.rawArrivals, score.trueArrivals, score.changes,
               score.rawChanges, score.trueChanges});
    }
}
