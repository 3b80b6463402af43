#include "tests/tools/projecthost/SeriesScore.h"

#include "changes/DocumentComparison.h"
#include "tools/projecthost/identity/StableIdentity.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <map>
#include <memory>

namespace cutstack::projecthost {

namespace {

class SilentHost final : public ComparisonHost {
public:
    [[nodiscard]] bool progressCancelled() const override { return false; }
    void endProgress() override {}
    void appendLog(std::string_view) override {}
    void console(std::string_view) override {}
};

/// The ids of the clip items of a served document, by the serial number of the item.
std::map<int, std::string> idsBySerial(const std::string& served, const std::vector<int>& serials) {
    std::map<int, std::string> ids;
    constexpr std::string_view kTag = "<clipitem id=\"";
    std::size_t at = 0;
    for (const int serial : serials) {
        at = served.find(kTag, at) + kTag.size();
        ids[serial] = served.substr(at, served.find('"', at) - at);
    }
    return ids;
}

Score scoreOfItems(const std::map<int, std::string>& before,
                   const std::map<int, std::string>& now) {
    std::map<std::string, int> serialOf;
    for (const auto& [serial, id] : before)
        serialOf[id] = serial;
    Score score;
    for (const auto& [serial, id] : now) {
        const auto same = serialOf.find(id);
        const bool isRight = same != serialOf.end() && same->second == serial;
        score.said += same != serialOf.end() ? 1U : 0U;
        score.saidRightly += isRight ? 1U : 0U;
        score.right += before.contains(serial) ? 1U : 0U;
        score.rightSaid += isRight ? 1U : 0U;
    }
    return score;
}

Score scoreOfSentences(const std::vector<std::string>& said,
                       const std::vector<std::string>& right) {
    std::map<std::string, std::size_t> left;
    for (const std::string& sentence : right)
        ++left[sentence];
    Score score;
    score.said = said.size();
    score.right = right.size();
    for (const std::string& sentence : said)
        if (auto& count = left[sentence]; count > 0) {
            --count;
            ++score.saidRightly;
        }
    score.rightSaid = score.saidRightly;
    return score;
}

bool isArrival(const NamedChange& change) {
    return change.first == "added" || change.first == "removed";
}

/// Whether a change that was done is the one that a sentence names.
bool isNamed(const NamedChange& done, const NamedChange& named) {
    const auto& [what, name] = done;
    return what == named.first &&
           (name == named.second || (what == "added" && (name.starts_with(named.second + "/") ||
                                                         name.ends_with("/" + named.second))));
}

Score scoreOfChanges(const std::vector<std::string>& sentences,
                     const std::set<NamedChange>& changes, bool onlyArrivals) {
    std::set<NamedChange> named;
    Score score;
    for (const std::string& sentence : sentences) {
        const auto change = parsedSentence(sentence);
        if (!change || (onlyArrivals && !isArrival(*change)))
            continue;
        ++score.said;
        const auto done = std::ranges::find_if(
            changes, [&](const NamedChange& other) { return isNamed(other, *change); });
        if (done == changes.end())
            continue;
        ++score.saidRightly;
        named.insert(*done);
    }
    score.right = static_cast<std::size_t>(std::ranges::count_if(
        changes, [&](const NamedChange& done) { return !onlyArrivals || isArrival(done); }));
    score.rightSaid = named.size();
    return score;
}

} // namespace

void Score::operator+=(const Score& other) {
    said += other.said;
    saidRightly += other.saidRightly;
    right += other.right;
    rightSaid += other.rightSaid;
}

void SeriesScore::operator+=(const SeriesScore& other) {
    items += other.items;
    sentences += other.sentences;
    rawSentences += other.rawSentences;
    arrivals += other.arrivals;
    rawArrivals += other.rawArrivals;
    trueArrivals += other.trueArrivals;
    changes += other.changes;
    rawChanges += other.rawChanges;
    trueChanges += other.trueChanges;
}

IdentityServices countingServices(std::vector<std::string>* log) {
    return {[count = std::make_shared<unsigned>(0)] {
                std::array<char, 40> text{};
                std::snprintf(text.data(), text.size(), "%08X-0000-4000-8000-00000000C0DE",
                              ++*count);
                return std::string(text.data());
            },
            [log](std::string_view line) {
                if (log != nullptr)
                    log->emplace_back(line);
            }};
}

std::vector<std::string> changesBetween(const std::string& before, const std::string& after) {
    XmlError error;
    const auto base = XmemlDocument::parse(before, error);
    const auto next = XmemlDocument::parse(after, error);
    if (base == nullptr || next == nullptr)
        return {"unreadable"};
    SilentHost host;
    return changeListForXMLDoc(*next, *base, host).value_or(std::vector<std::string>());
}

SeriesScore scoreOfSeries(const SeriesKind& kind, std::uint64_t seed, std::size_t saves,
                          const std::string& databasePath) {
    IdentityStore store(databasePath, countingServices());
    TimelineSeries series(kind, seed);
    TimelineSeries before = series;
    std::string raw;
    std::string truth;
    std::string served;
    SeriesScore total;
    for (std::size_t save = 0; save < saves; ++save) {
        std::string nextRaw = series.write(Identities::exported);
        std::string nextTruth = series.write(Identities::true_);
        std::string error;
        std::string next = withStableIdentity(nextRaw, "/project.fcp", store, error).value_or("");
        if (save > 0) {
            const auto said = changesBetween(served, next);
            const auto rawSaid = changesBetween(raw, nextRaw);
            const auto right = changesBetween(truth, nextTruth);
            const auto changes = series.changesSince(before);
            total += {scoreOfItems(idsBySerial(served, before.itemSerials()),
                                   idsBySerial(next, series.itemSerials())),
                      scoreOfSentences(said, right),
                      scoreOfSentences(rawSaid, right),
                      scoreOfChanges(said, changes, true),
                      scoreOfChanges(rawSaid, changes, true),
                      scoreOfChanges(right, changes, true),
                      scoreOfChanges(said, changes, false),
                      scoreOfChanges(rawSaid, changes, false),
                      scoreOfChanges(right, changes, false)};
        }
        raw = std::move(nextRaw);
        truth = std::move(nextTruth);
        served = std::move(next);
        before = series;
        series.edit();
    }
    return total;
}

} // namespace cutstack::projecthost
