#include "tools/projecthost/identity/Assignment.h"

#include <algorithm>
#include <functional>
#include <map>
#include <string>
#include <tuple>
#include <unordered_map>
#include <utility>

namespace cutstack::projecthost {

namespace {

bool isContainer(const Item& item) {
    return item.kind == ItemKind::sequence || item.kind == ItemKind::bin;
}

/// What tells that something is in a container.
std::string contentKey(const Item& item) {
    if (isContainer(item))
        return "in " + item.name;
    return item.medium.path.empty() ? item.medium.name : item.medium.path;
}

/// How often each thing is in a container; a vector of hashes keeps this small.
using Content = std::vector<std::size_t>;

template <typename ItemAt>
std::unordered_map<ItemIndex, Content> contents(std::size_t count, const ItemAt& itemAt) {
    std::unordered_map<ItemIndex, Content> result;
    for (ItemIndex i = 0; i < count; ++i) {
        const Item& item = itemAt(i);
        if (item.container != kNoItem && item.kind != ItemKind::transitionitem &&
            isContainer(itemAt(item.container)))
            result[item.container].push_back(std::hash<std::string>()(contentKey(item)));
    }
    for (auto& [container, content] : result)
        std::ranges::sort(content);
    return result;
}

/// The share of the smaller content that the larger one has too.
double likeness(const Content& a, const Content& b) {
    if (a.empty() || b.empty())
        return 0;
    std::size_t common = 0;
    for (std::size_t i = 0, j = 0; i < a.size() && j < b.size();) {
        common += a[i] == b[j] ? 1U : 0U;
        const bool first = a[i] <= b[j];
        j += b[j] <= a[i] ? 1U : 0U;
        i += first ? 1U : 0U;
    }
    return static_cast<double>(common) / static_cast<double>(std::max(a.size(), b.size()));
}

class ContainerMatching {
public:
    ContainerMatching(Assignment& assignment, Era era)
        : assignment_(assignment),
          era_(era),
          knownContent_(contents(assignment.known().size(),
                                 [&](ItemIndex i) -> const Item& { return knownItem(i); })),
          content_(contents(assignment.items().size(),
                            [&](ItemIndex i) -> const Item& { return item(i); })) {}

    void run();

private:
    using Key = std::tuple<ItemKind, ItemIndex, std::string>;
    using Accepts = std::function<bool(ItemIndex known, ItemIndex item)>;

    [[nodiscard]] const Item& knownItem(ItemIndex i) const { return assignment_.known()[i].item; }
    [[nodiscard]] const Item& item(ItemIndex i) const { return assignment_.items()[i]; }

    template <typename KnownKeys, typename ItemKey>
    void joinByKey(const KnownKeys& knownKeys, const ItemKey& itemKey, const Accepts& accepts);
    void byUuid();
    void byName(bool inSameParent);
    void byContent();
    void byPlace();
    [[nodiscard]] double likenessOf(ItemIndex known, ItemIndex item) const;
    [[nodiscard]] bool mayBeOne(ItemIndex known, ItemIndex item) const;

    Assignment& assignment_;
    Era era_;
    std::unordered_map<ItemIndex, Content> knownContent_;
    std::unordered_map<ItemIndex, Content> content_;
};

/// Joins what is left by equal keys, in order.
template <typename KnownKeys, typename ItemKey>
void ContainerMatching::joinByKey(const KnownKeys& knownKeys, const ItemKey& itemKey,
                                  const Accepts& accepts) {
    std::map<Key, std::vector<ItemIndex>> left;
    for (ItemIndex i = 0; i < assignment_.known().size(); ++i)
        if (isContainer(knownItem(i)) && assignment_.isFree(i, era_))
            for (Key& key : knownKeys(i))
                left[std::move(key)].push_back(i);
    for (ItemIndex i = 0; i < assignment_.items().size(); ++i) {
        if (!isContainer(item(i)) || assignment_.knownOf(i) != kNoItem)
            continue;
        const auto found = left.find(itemKey(i));
        if (found == left.end())
            continue;
        // Of many with the same name the first ones are looked at.
        constexpr std::size_t kMostTried = 16;
        auto& candidates = found->second;
        for (std::size_t tried = 0; tried < std::min(candidates.size(), kMostTried); ++tried) {
            const ItemIndex known = candidates[tried];
            if (!assignment_.isFree(known, era_) || !accepts(known, i))
                continue;
            assignment_.join(known, i);
            candidates.erase(candidates.begin() + static_cast<std::ptrdiff_t>(tried));
            break;
        }
    }
}

void ContainerMatching::byUuid() {
    joinByKey(
        [&](ItemIndex i) {
            std::vector<Key> keys;
            for (const std::string& uuid : knownItem(i).history)
                keys.emplace_back(knownItem(i).kind, kNoItem, uuid);
            return keys;
        },
        [&](ItemIndex i) {
            const auto& history = item(i).history;
            return Key(item(i).kind, kNoItem, history.empty() ? "" : history.front());
        },
        [](ItemIndex, ItemIndex) { return true; });
}

/// Two UUIDs that an editor gave mean two things, unless everything else says otherwise: an editor
/// that did not save after an export makes up new ones.
bool ContainerMatching::mayBeOne(ItemIndex known, ItemIndex i) const {
    const Item& before = knownItem(known);
    const bool bothHaveUuids = !before.ownUuid.empty() && !item(i).ownUuid.empty();
    return !bothHaveUuids || (before.container == assignment_.knownContainerOf(i) &&
                              before.name == item(i).name && likenessOf(known, i) >= 0.5);
}

double ContainerMatching::likenessOf(ItemIndex known, ItemIndex i) const {
    const auto before = knownContent_.find(known);
    const auto now = content_.find(i);
    if (before == knownContent_.end() || now == content_.end())
        return 0;
    return likeness(before->second, now->second);
}

void ContainerMatching::byName(bool inSameParent) {
    const auto parent = [&](ItemIndex container) { return inSameParent ? container : kNoItem; };
    joinByKey(
        [&](ItemIndex i) {
            return std::vector{
                Key(knownItem(i).kind, parent(knownItem(i).container), knownItem(i).name)};
        },
        [&](ItemIndex i) {
            return Key(item(i).kind, parent(assignment_.knownContainerOf(i)), item(i).name);
        },
        [&](ItemIndex known, ItemIndex i) { return mayBeOne(known, i); });
}

/// One that was renamed holds the same things.
void ContainerMatching::byContent() {
    constexpr std::size_t kMostHolders = 16;
    std::unordered_map<std::size_t, std::vector<ItemIndex>> holders;
    for (const auto& [known, content] : std::map(knownContent_.begin(), knownContent_.end()))
        if (assignment_.isFree(known, era_))
            for (std::size_t i = 0; i < content.size(); ++i)
                if ((i == 0 || content[i] != content[i - 1]) &&
                    holders[content[i]].size() < kMostHolders)
                    holders[content[i]].push_back(known);
    std::vector<std::tuple<double, ItemIndex, ItemIndex>> candidates;
    for (const auto& [i, content] : content_) {
        if (assignment_.knownOf(i) != kNoItem)
            continue;
        std::vector<ItemIndex> tried;
        for (const std::size_t thing : content)
            if (const auto found = holders.find(thing); found != holders.end())
                tried.insert(tried.end(), found->second.begin(), found->second.end());
        std::ranges::sort(tried);
        tried.erase(std::unique(tried.begin(), tried.end()), tried.end());
        for (const ItemIndex known : tried)
            if (const double alike = likenessOf(known, i);
                alike >= 0.5 && knownItem(known).kind == item(i).kind && mayBeOne(known, i))
                candidates.emplace_back(-alike, known, i);
    }
    std::ranges::sort(candidates);
    for (const auto& [alike, known, i] : candidates)
        if (assignment_.isFree(known, era_) && assignment_.knownOf(i) == kNoItem)
            assignment_.join(known, i);
}

/// What holds nothing can only be told by where it is.
void ContainerMatching::byPlace() {
    const auto placesAmong = [](std::size_t count, const auto& itemAt, const auto& counts) {
        std::map<Key, int> places;
        std::vector<std::string> placeOf(count);
        for (ItemIndex i = 0; i < count; ++i)
            if (isContainer(itemAt(i)) && counts(i))
                placeOf[i] = std::to_string(++places[Key(itemAt(i).kind, itemAt(i).container, "")]);
        return placeOf;
    };
    const auto before = placesAmong(
        assignment_.known().size(), [&](ItemIndex i) -> const Item& { return knownItem(i); },
        [&](ItemIndex i) { return assignment_.known()[i].retiredAt == 0; });
    const auto now = placesAmong(
        assignment_.items().size(), [&](ItemIndex i) -> const Item& { return item(i); },
        [](ItemIndex) { return true; });
    joinByKey(
        [&](ItemIndex i) {
            return std::vector{Key(knownItem(i).kind, knownItem(i).container, before[i])};
        },
        [&](ItemIndex i) { return Key(item(i).kind, assignment_.knownContainerOf(i), now[i]); },
        [&](ItemIndex known, ItemIndex i) {
            return mayBeOne(known, i) && !knownContent_.contains(known) && !content_.contains(i);
        });
}

void ContainerMatching::run() {
    byUuid();
    byName(true);
    byName(false);
    byContent();
    if (era_ == Era::current)
        byPlace();
}

} // namespace

void matchContainers(Assignment& assignment, Era era) { ContainerMatching(assignment, era).run(); }

} // namespace cutstack::projecthost
