#include "tools/projecthost/identity/StableIdentity.h"

#include "support/Unicode.h"
#include "tools/projecthost/identity/IdentityWriting.h"
#include "tools/projecthost/identity/ItemMatching.h"
#include "tools/projecthost/identity/ItemReading.h"

#include <algorithm>
#include <utility>

namespace cutstack::projecthost {

namespace {

/// After so many saves without it an item is forgotten.
constexpr std::int64_t kSavesToUndo = 100;

/// So many UUIDs of an item are remembered.
constexpr std::size_t kMostUuids = 64;

bool hasUuid(ItemKind kind) { return kind < ItemKind::transitionitem; }

/// The UUIDs of this save, then those of the saves before.
void keepHistory(Item& item, const Item& before) {
    for (const std::string& uuid : before.history)
        if (item.history.size() < kMostUuids &&
            std::ranges::find(item.history, uuid) == item.history.end())
            item.history.push_back(uuid);
}

/// An editor that took the served document in will write its UUID.
void rememberUuid(KnownItem& known) {
    std::string uuid = known.uuid;
    std::ranges::transform(uuid, uuid.begin(), asciiLower);
    auto& history = known.item.history;
    if (!uuid.empty() && std::ranges::find(history, uuid) == history.end())
        history.push_back(std::move(uuid));
}

/// One save of a project: what was known becomes what this export has.
class Save {
public:
    Save(ProjectIdentities& project, const std::vector<Item>& items,
         const std::function<std::string()>& newUuid)
        : project_(project), items_(items), newUuid_(newUuid) {}

    void run();

private:
    [[nodiscard]] KnownItem served(ItemIndex i, ItemIndex known) const;
    [[nodiscard]] bool changesAnything(const std::vector<KnownItem>& next) const;
    void appendRetired(std::vector<KnownItem>& next, const std::vector<ItemIndex>& nextOf) const;

    ProjectIdentities& project_;
    const std::vector<Item>& items_;
    const std::function<std::string()>& newUuid_;
};

KnownItem Save::served(ItemIndex i, ItemIndex known) const {
    KnownItem result;
    result.item = items_[i];
    if (known != kNoItem) {
        const KnownItem& before = project_.items[known];
        result.number = before.number;
        result.uuid = before.uuid;
        keepHistory(result.item, before.item);
    } else {
        result.number = project_.nextNumber++;
    }
    if (!result.item.ownUuid.empty())
        result.uuid = result.item.ownUuid;
    else if (result.uuid.empty() && hasUuid(result.item.kind))
        result.uuid = newUuid_();
    rememberUuid(result);
    return result;
}

/// A document that is served again is no new save.
bool Save::changesAnything(const std::vector<KnownItem>& next) const {
    for (std::size_t i = 0; i < std::max(next.size(), project_.items.size()); ++i) {
        const bool isOld = i < project_.items.size() && project_.items[i].retiredAt == 0;
        if (isOld != (i < next.size()))
            return true;
        if (!isOld)
            break;
        if (next[i].number != project_.items[i].number || next[i].item != project_.items[i].item)
            return true;
    }
    return false;
}

void Save::appendRetired(std::vector<KnownItem>& next, const std::vector<ItemIndex>& nextOf) const {
    std::vector<ItemIndex> placeOf = nextOf;
    std::vector<ItemIndex> kept;
    for (ItemIndex i = 0; i < project_.items.size(); ++i) {
        if (nextOf[i] != kNoItem)
            continue;
        KnownItem retired = project_.items[i];
        if (retired.retiredAt == 0)
            retired.retiredAt = project_.save;
        if (retired.retiredAt + kSavesToUndo <= project_.save)
            continue;
        placeOf[i] = static_cast<ItemIndex>(next.size());
        next.push_back(std::move(retired));
        kept.push_back(placeOf[i]);
    }
    for (const ItemIndex i : kept)
        if (ItemIndex& container = next[i].item.container; container != kNoItem)
            container = placeOf[container];
}

void Save::run() {
    const std::vector<ItemIndex> knownOf = matchItems(project_.items, items_);
    std::vector<ItemIndex> nextOf(project_.items.size(), kNoItem);
    std::vector<KnownItem> next;
    next.reserve(items_.size());
    for (ItemIndex i = 0; i < items_.size(); ++i) {
        next.push_back(served(i, knownOf[i]));
        if (knownOf[i] != kNoItem)
            nextOf[knownOf[i]] = i;
    }
    if (!changesAnything(next))
        return;
    ++project_.save;
    appendRetired(next, nextOf);
    project_.items = std::move(next);
}

std::vector<ServedIdentity> servedIdentities(const ProjectIdentities& project, std::size_t count) {
    std::vector<ServedIdentity> served;
    served.reserve(count);
    for (std::size_t i = 0; i < count; ++i) {
        const KnownItem& known = project.items[i];
        std::string id(nameOfKind(known.item.kind));
        id.append("-").append(project.token).append("-").append(std::to_string(known.number));
        served.push_back({std::move(id), known.uuid});
    }
    return served;
}

} // namespace

std::optional<std::string> withStableIdentity(std::string_view document,
                                              const std::string& projectPath, IdentityStore& store,
                                              std::string& error) {
    std::string bytes(document);
    XmlError fault;
    std::optional<ItemList> list;
    if (auto unreadable = convertXmlToUtf8(bytes))
        fault = *std::move(unreadable);
    else
        list = readItems(bytes, fault);
    if (!list) {
        error = fault.description();
        return std::nullopt;
    }
    std::vector<ServedIdentity> served;
    const bool isKept = store.change(
        projectPath,
        [&](ProjectIdentities& project) {
            Save(project, list->items, store.services().newUuid).run();
            served = servedIdentities(project, list->items.size());
        },
        error);
    if (!isKept)
        return std::nullopt;
    return withIdentities(bytes, *list, served);
}

} // namespace cutstack::projecthost
