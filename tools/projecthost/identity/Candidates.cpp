#include "tools/projecthost/identity/Candidates.h"

#include <algorithm>
#include <cstdlib>
#include <map>
#include <tuple>

namespace cutstack::projecthost {

namespace {

/// How many neighbours in time an item is compared with, to each side.
constexpr std::size_t kNeighbours = 12;

bool sharesMedium(const Medium& a, const Medium& b) {
    const auto same = [](const std::string& x, const std::string& y) {
        return !x.empty() && x == y;
    };
    return same(a.path, b.path) || same(a.fileName, b.fileName) || same(a.name, b.name);
}

/// Ranges that are not known may be anything.
bool overlap(const SourceRange& a, const SourceRange& b) {
    return (!a.in || !b.out || *a.in < *b.out) && (!b.in || !a.out || *b.in < *a.out);
}

/// How well two items agree; less is better, in this order.
struct Cost {
    int ranges = 0;    ///< 0 equal, 1 overlapping, 2 apart
    int container = 0; ///< 1 when they are in different ones
    Frames distance = 0;
    int track = 0;
    int name = 0;
    ItemIndex order = 0;                           ///< how many places apart
    auto operator<=>(const Cost&) const = default; // NOLINT(modernize-use-nullptr): there is none
};

struct Pair {
    Cost cost;
    ItemIndex known = kNoItem;
    ItemIndex item = kNoItem;
    auto operator<=>(const Pair&) const = default; // NOLINT(modernize-use-nullptr)
};

class Joining {
public:
    Joining(Assignment& assignment, Era era, Agreement agreement)
        : assignment_(assignment), era_(era), agreement_(agreement) {}

    /// Looks at what is joined already: how far the item before each known one has moved.
    void learnShifts();
    void joinGroup(const CandidateGroup& group);

private:
    [[nodiscard]] const Item& knownItem(ItemIndex i) const { return assignment_.known()[i].item; }
    [[nodiscard]] const Item& item(ItemIndex i) const { return assignment_.items()[i]; }
    [[nodiscard]] Frames shiftOf(ItemIndex known) const {
        return known < shifts_.size() ? shifts_[known] : 0;
    }
    [[nodiscard]] Cost costOf(ItemIndex known, ItemIndex i) const;
    [[nodiscard]] bool agrees(ItemIndex known, ItemIndex i) const;
    void addPairs(std::vector<std::pair<Frames, ItemIndex>>& byTime,
                  const std::vector<ItemIndex>& items);
    void joinPairs();

    Assignment& assignment_;
    Era era_;
    Agreement agreement_;
    std::vector<Frames> shifts_; ///< by known item
    std::vector<Pair> pairs_;
};

void Joining::learnShifts() {
    struct Place {
        ItemIndex container;
        Track track;
        bool operator<(const Place& other) const {
            return std::tie(container, track.kind, track.number) <
                   std::tie(other.container, other.track.kind, other.track.number);
        }
    };
    std::map<Place, Frames> shift;
    shifts_.assign(assignment_.known().size(), 0);
    for (ItemIndex i = 0; i < shifts_.size(); ++i) {
        const Item& before = knownItem(i);
        if (before.track.kind == TrackKind::none)
            continue;
        Frames& current = shift[{before.container, before.track}];
        if (const ItemIndex now = assignment_.itemOf(i);
            now != kNoItem && before.start && item(now).start)
            current = *item(now).start - *before.start;
        shifts_[i] = current;
    }
}

Cost Joining::costOf(ItemIndex known, ItemIndex i) const {
    const Item& before = knownItem(known);
    const Item& now = item(i);
    Cost cost;
    if (before.range != now.range)
        cost.ranges = overlap(before.range, now.range) ? 1 : 2;
    cost.container = before.container == assignment_.knownContainerOf(i) ? 0 : 1;
    if (before.start && now.start)
        cost.distance = std::min(std::abs(*now.start - *before.start),
                                 std::abs(*now.start - *before.start - shiftOf(known)));
    cost.track = before.track == now.track ? 0 : 1;
    cost.name = before.name == now.name ? 0 : 1;
    cost.order = known > i ? known - i : i - known;
    return cost;
}

bool Joining::agrees(ItemIndex known, ItemIndex i) const {
    if (agreement_ == Agreement::medium)
        return sharesMedium(knownItem(known).medium, item(i).medium);
    return agreement_ == Agreement::none || overlap(knownItem(known).range, item(i).range);
}

/// The pairs of each item with those known ones that stand nearest in `byTime`.
void Joining::addPairs(std::vector<std::pair<Frames, ItemIndex>>& byTime,
                       const std::vector<ItemIndex>& items) {
    std::ranges::sort(byTime);
    for (const ItemIndex i : items) {
        if (assignment_.knownOf(i) != kNoItem)
            continue;
        const Frames start = item(i).start.value_or(0);
        const auto at = static_cast<std::size_t>(
            std::ranges::lower_bound(byTime, std::pair(start, ItemIndex{0})) - byTime.begin());
        const std::size_t first = at > kNeighbours ? at - kNeighbours : 0;
        const std::size_t last = std::min(at + kNeighbours, byTime.size());
        for (std::size_t k = first; k < last; ++k)
            if (agrees(byTime[k].second, i))
                pairs_.push_back({costOf(byTime[k].second, i), byTime[k].second, i});
    }
}

void Joining::joinPairs() {
    std::ranges::sort(pairs_);
    for (const Pair& pair : pairs_)
        if (assignment_.isFree(pair.known, era_) && assignment_.knownOf(pair.item) == kNoItem)
            assignment_.join(pair.known, pair.item);
    pairs_.clear();
}

/// What is far away in a large group is met when the near ones are gone: each round that joins
/// something makes the group smaller.
void Joining::joinGroup(const CandidateGroup& group) {
    constexpr int kMostRounds = 8;
    for (int round = 0; round < kMostRounds; ++round) {
        std::vector<std::pair<Frames, ItemIndex>> byStart;
        std::vector<std::pair<Frames, ItemIndex>> byShiftedStart;
        for (const ItemIndex known : group.known) {
            if (!assignment_.isFree(known, era_))
                continue;
            const Frames start = knownItem(known).start.value_or(0);
            byStart.emplace_back(start, known);
            if (shiftOf(known) != 0)
                byShiftedStart.emplace_back(start + shiftOf(known), known);
        }
        addPairs(byStart, group.items);
        addPairs(byShiftedStart, group.items);
        if (pairs_.empty())
            return;
        joinPairs();
    }
}

} // namespace

void joinNearest(Assignment& assignment, Era era, const std::vector<CandidateGroup>& groups,
                 Agreement agreement) {
    Joining joining(assignment, era, agreement);
    const auto isOnePair = [](const CandidateGroup& group) {
        return group.known.size() == 1 && group.items.size() == 1;
    };
    for (const CandidateGroup& group : groups)
        if (isOnePair(group))
            joining.joinGroup(group);
    if (std::ranges::all_of(groups, [&](const CandidateGroup& group) {
            return group.items.empty() || isOnePair(group);
        }))
        return;
    joining.learnShifts();
    for (const CandidateGroup& group : groups)
        if (!group.items.empty() && !isOnePair(group))
            joining.joinGroup(group);
}

} // namespace cutstack::projecthost
