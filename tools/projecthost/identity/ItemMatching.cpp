#include "tools/projecthost/identity/ItemMatching.h"

#include "tools/projecthost/identity/Assignment.h"
#include "tools/projecthost/identity/Candidates.h"

#include <algorithm>
#include <array>
#include <functional>
#include <string>
#include <unordered_map>
#include <unordered_set>

namespace cutstack::projecthost {

namespace {

enum class Where : bool { sameContainer, anywhere };
enum class MediumSign : std::uint8_t { path, fileName, name };
enum class Ranges : bool { equal, overlapping };

const std::string& signOf(const Item& item, MediumSign sign) {
    if (sign == MediumSign::path)
        return item.medium.path;
    return sign == MediumSign::fileName ? item.medium.fileName : item.medium.name;
}

/// The start of a key of what may be the same: kind, picture or sound, and container.
std::string scopeOf(const Item& item, ItemIndex container, Where where) {
    std::string key{static_cast<char>('a' + static_cast<int>(item.kind)),
                    static_cast<char>('0' + static_cast<int>(item.track.kind))};
    if (where == Where::sameContainer)
        key += std::to_string(container);
    key += '\n';
    return key;
}

void append(std::string& key, const std::optional<Frames>& frames) {
    key += '\n';
    if (frames)
        key += std::to_string(*frames);
}

class Matching {
public:
    Matching(const std::vector<KnownItem>& known, const std::vector<Item>& items)
        : assignment_(known, items) {}

    std::vector<ItemIndex> run();

private:
    /// The keys of an item, each of which says that another with the same may be it. None when the
    /// sign in question is missing.
    using Keys = std::function<std::vector<std::string>(const Item&)>;

    void join(ItemKind kind, Where where, Era era, const Keys& keys, Agreement agreement);
    void findRepeatedUuids();
    void byUuid(ItemKind kind, Where where, Era era);
    void byMedium(ItemKind kind, Where where, Era era);
    void byPlace(ItemKind kind);
    void matchKind(ItemKind kind, Era era);
    template <typename KeyOf>
    void addToGroups(ItemKind kind, Where where, Era era, const KeyOf& keys,
                     std::unordered_map<std::string, std::size_t>& places,
                     std::vector<CandidateGroup>& groups) const;

    Assignment assignment_;
    std::unordered_set<std::string> repeatedUuids_;
};

template <typename KeyOf>
void Matching::addToGroups(ItemKind kind, Where where, Era era, const KeyOf& keys,
                           std::unordered_map<std::string, std::size_t>& places,
                           std::vector<CandidateGroup>& groups) const {
    const auto groupOf = [&](const std::string& key) -> CandidateGroup& {
        const auto [place, isNew] = places.try_emplace(key, groups.size());
        if (isNew)
            groups.emplace_back();
        return groups[place->second];
    };
    for (ItemIndex i = 0; i < assignment_.known().size(); ++i) {
        const Item& item = assignment_.known()[i].item;
        if (item.kind == kind && assignment_.isFree(i, era))
            for (const std::string& key : keys(item))
                groupOf(scopeOf(item, item.container, where) + key).known.push_back(i);
    }
    if (groups.empty())
        return;
    for (ItemIndex i = 0; i < assignment_.items().size(); ++i) {
        const Item& item = assignment_.items()[i];
        if (item.kind != kind || assignment_.knownOf(i) != kNoItem)
            continue;
        const ItemIndex container = assignment_.knownContainerOf(i);
        // What stands in a new container has no container in common with anything.
        if (where == Where::sameContainer && item.container != kNoItem && container == kNoItem)
            continue;
        for (const std::string& key : keys(item))
            if (const auto found = places.find(scopeOf(item, container, where) + key);
                found != places.end())
                groups[found->second].items.push_back(i);
    }
}

void Matching::join(ItemKind kind, Where where, Era era, const Keys& keys, Agreement agreement) {
    std::unordered_map<std::string, std::size_t> places;
    std::vector<CandidateGroup> groups;
    addToGroups(kind, where, era, keys, places, groups);
    joinNearest(assignment_, era, groups, agreement);
}

/// Parts of a clip that was cut share the older UUIDs of its history, and some writers give
/// everything one UUID. Such a UUID says something only together with the medium.
void Matching::findRepeatedUuids() {
    std::unordered_set<std::string> known;
    for (const KnownItem& item : assignment_.known())
        if (item.retiredAt == 0)
            for (const std::string& uuid : item.item.history)
                if (!known.insert(uuid).second)
                    repeatedUuids_.insert(uuid);
    std::unordered_set<std::string> now;
    for (const Item& item : assignment_.items())
        for (const std::string& uuid : item.history)
            if (!now.insert(uuid).second)
                repeatedUuids_.insert(uuid);
}

/// The newest UUIDs first.
void Matching::byUuid(ItemKind kind, Where where, Era era) {
    for (const bool onlyNewest : {true, false})
        for (const bool repeated : {false, true}) {
            const Keys keys = [&](const Item& item) {
                std::vector<std::string> uuids;
                const std::size_t count = onlyNewest ? 1 : item.history.size();
                for (std::size_t i = 0; i < std::min(count, item.history.size()); ++i)
                    if (repeatedUuids_.contains(item.history[i]) == repeated)
                        uuids.push_back(item.history[i]);
                return uuids;
            };
            join(kind, where, era, keys, repeated ? Agreement::medium : Agreement::none);
        }
}

void Matching::byMedium(ItemKind kind, Where where, Era era) {
    using enum MediumSign;
    for (const MediumSign sign : {path, fileName, name})
        for (const Ranges ranges : {Ranges::equal, Ranges::overlapping}) {
            // Of what is gone only the very same comes back.
            if (era == Era::retired && ranges == Ranges::overlapping)
                continue;
            const Keys keys = [&](const Item& item) {
                std::string key = signOf(item, sign);
                if (key.empty())
                    return std::vector<std::string>();
                if (ranges == Ranges::equal) {
                    append(key, item.range.in);
                    append(key, item.range.out);
                }
                return std::vector{std::move(key)};
            };
            join(kind, where, era, keys,
                 ranges == Ranges::equal ? Agreement::none : Agreement::overlappingRanges);
        }
}

/// An item without a medium that was renamed still stands where it stood.
void Matching::byPlace(ItemKind kind) {
    const Keys keys = [](const Item& item) {
        if (!item.medium.path.empty() || !item.start)
            return std::vector<std::string>();
        std::string key = std::to_string(static_cast<int>(item.track.kind)) + ' ' +
                          std::to_string(item.track.number);
        append(key, item.range.in);
        append(key, item.range.out);
        append(key, item.start);
        return std::vector{std::move(key)};
    };
    join(kind, Where::sameContainer, Era::current, keys, Agreement::none);
}

void Matching::matchKind(ItemKind kind, Era era) {
    byUuid(kind, Where::sameContainer, era);
    byUuid(kind, Where::anywhere, era);
    byMedium(kind, Where::sameContainer, era);
    if (era == Era::current)
        byPlace(kind);
    byMedium(kind, Where::anywhere, era);
}

/// Holders before what they hold: kinds stand in that order.
std::vector<ItemIndex> Matching::run() {
    using enum ItemKind;
    constexpr std::array kKinds = {clip,           multiclip, clipitem,  generatoritem,
                                   transitionitem, file,      masterclip};
    findRepeatedUuids();
    for (const Era era : {Era::current, Era::retired})
        matchContainers(assignment_, era);
    for (const ItemKind kind : kKinds)
        for (const Era era : {Era::current, Era::retired})
            matchKind(kind, era);
    return assignment_.take();
}

} // namespace

std::vector<ItemIndex> matchItems(const std::vector<KnownItem>& known,
                                  const std::vector<Item>& items) {
    return Matching(known, items).run();
}

} // namespace cutstack::projecthost
