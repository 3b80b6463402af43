// An export from anywhere, given identities. Whatever can be read can be read again afterwards, has
// the same items and the ids that it was given, and giving them once more changes nothing.

#include "tools/projecthost/identity/IdentityWriting.h"
#include "tools/projecthost/identity/ItemMatching.h"
#include "tools/projecthost/identity/ItemReading.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

namespace {

using namespace cutstack;
using namespace cutstack::projecthost;

std::vector<ServedIdentity> identitiesFor(const ItemList& list) {
    std::vector<ServedIdentity> served;
    for (const Item& item : list.items)
        served.push_back(
            {"id-" + std::to_string(served.size()),
             item.ownUuid.empty() ? "U" + std::to_string(served.size()) : item.ownUuid});
    return served;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    const std::string document(reinterpret_cast<const char*>(bytes), size);
    XmlError error;
    const auto list = readItems(document, error);
    if (!list) {
        if (error.message.empty())
            std::abort();
        return 0;
    }
    const auto served = identitiesFor(*list);
    const std::string once = withIdentities(document, *list, served);
    const auto again = readItems(once, error);
    if (!again || again->items.size() != list->items.size() ||
        again->mentions.size() != list->mentions.size())
        std::abort();
    if (withIdentities(once, *again, served) != once)
        std::abort();
    std::vector<KnownItem> known;
    for (const Item& item : list->items)
        known.push_back({item, 1, "", 0});
    for (const ItemIndex index : matchItems(known, list->items))
        if (index != kNoItem && index >= known.size())
            std::abort();
    return 0;
}
