#include "tools/projecthost/identity/ItemMatching.h"
#include "tools/projecthost/identity/MediumKey.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <numeric>
#include <string>
#include <vector>

namespace cutstack::projecthost {
namespace {

/// A clip item on the first video track of the only sequence.
struct Clip {
    std::string medium;
    Frames in = 0;
    Frames out = 0;
    Frames start = 0;
    std::string name = {};
    std::vector<std::string> uuids = {};
    std::int32_t track = 1;
};

Item itemOf(const Clip& clip) {
    Item item;
    item.kind = ItemKind::clipitem;
    item.name = clip.name.empty() ? clip.medium : clip.name;
    item.medium = {clip.medium.empty() ? "" : "/Media/" + clip.medium, clip.medium, item.name};
    item.history = clip.uuids;
    item.range = {clip.in, clip.out};
    item.start = clip.start;
    item.end = clip.start + clip.out - clip.in;
    item.track = {TrackKind::video, clip.track};
    item.container = 0;
    return item;
}

std::vector<Item> listOf(const std::vector<Clip>& clips) {
    Item sequence;
    sequence.kind = ItemKind::sequence;
    sequence.name = "Reel";
    std::vector<Item> items = {sequence};
    std::ranges::transform(clips, std::back_inserter(items), itemOf);
    return items;
}

std::vector<KnownItem> knownOf(const std::vector<Item>& items) {
    std::vector<KnownItem> known;
    for (const Item& item : items)
        known.push_back({item, static_cast<std::int64_t>(known.size()) + 1, "", 0});
    return known;
}

constexpr int kNew = -1;

struct MatchingCase {
    const char* what;
    std::vector<Clip> before;
    std::vector<Clip> after;
    std::vector<int> expected; ///< for each clip of `after` the one before that it is
};

TEST(ItemMatching, FindsWhatAPersonWouldCallTheSame) {
    const std::vector<MatchingCase> cases = {
        {"head trimmed", {{"a", 0, 100, 0}}, {{"a", 10, 100, 10}}, {0}},
        {"tail lengthened", {{"a", 0, 100, 0}}, {{"a", 0, 150, 0}}, {0}},
        {"moved far along",
         {{"a", 0, 50, 0}, {"b", 0, 50, 50}},
         {{"b", 0, 50, 50}, {"a", 0, 50, 900}},
         {1, 0}},
        {"renamed", {{"a", 0, 50, 0}}, {{"a", 0, 50, 0, "Better name"}}, {0}},
        {"without a medium, renamed", {{"", 0, 50, 70, "Old"}}, {{"", 0, 50, 70, "New"}}, {0}},
        {"inserted in front",
         {{"a", 0, 50, 0}, {"b", 0, 50, 50}},
         {{"c", 0, 20, 0}, {"a", 0, 50, 20}, {"b", 0, 50, 70}},
         {kNew, 0, 1}},
        {"removed", {{"a", 0, 50, 0}, {"b", 0, 50, 50}}, {{"b", 0, 50, 50}}, {1}},
        {"a copy put behind", {{"a", 0, 50, 0}}, {{"a", 0, 50, 0}, {"a", 0, 50, 50}}, {0, kNew}},
        {"a copy put in front of all, everything shifted",
         {{"a", 0, 50, 0}, {"b", 0, 50, 50}, {"a", 0, 50, 100}},
         {{"a", 0, 50, 0}, {"b", 0, 60, 50}, {"a", 0, 50, 110}},
         {0, 1, 2}},
        {"copies shifted by more than their distance",
         {{"m", 0, 9, 0}, {"a", 0, 50, 100}, {"a", 0, 50, 160}},
         {{"n", 0, 300, 0},
          {"m", 0, 9, 300},
          {"a", 0, 50, 400},
          {"a", 0, 50, 460},
          {"a", 0, 50, 520}},
         {kNew, 0, 1, 2, kNew}},
        {"one of many copies removed",
         {{"a", 0, 50, 0}, {"a", 0, 50, 50}, {"a", 0, 50, 100}},
         {{"a", 0, 50, 0}, {"a", 0, 50, 100}},
         {0, 2}},
        {"cut in two", {{"a", 0, 100, 0}}, {{"a", 0, 40, 0}, {"a", 40, 100, 40}}, {0, kNew}},
        {"cut in two, with a history",
         {{"a", 0, 100, 0, "", {"u1"}}},
         {{"a", 0, 40, 0, "", {"u2", "u1"}}, {"a", 40, 100, 40, "", {"u3", "u1"}}},
         {0, kNew}},
        {"two swapped",
         {{"a", 0, 50, 0}, {"b", 0, 50, 50}},
         {{"b", 0, 50, 0}, {"a", 0, 50, 50}},
         {1, 0}},
        {"exchanged for another range of the medium",
         {{"a", 0, 50, 0}},
         {{"a", 60, 90, 0}},
         {kNew}},
        {"a UUID against medium and place",
         {{"a", 0, 50, 0, "", {"u1"}}, {"b", 0, 50, 50, "", {"u2"}}},
         {{"b", 0, 50, 0, "", {"u9", "u1"}}, {"a", 0, 50, 50, "", {"u8", "u2"}}},
         {0, 1}},
        {"one UUID for everything says nothing",
         {{"a", 0, 50, 0, "", {"u"}}, {"b", 0, 50, 50, "", {"u"}}},
         {{"b", 0, 50, 0, "", {"u"}}, {"c", 0, 50, 50, "", {"u"}}},
         {1, kNew}},
        {"UUIDs all made up anew",
         {{"a", 0, 50, 0, "", {"u1"}}, {"b", 0, 50, 50, "", {"u2"}}},
         {{"a", 0, 50, 0, "", {"v1"}}, {"b", 5, 50, 50, "", {"v2"}}},
         {0, 1}},
        {"to another track", {{"a", 0, 50, 0}}, {{"a", 0, 50, 0, "", {}, 2}}, {0}},
    };
    for (const MatchingCase& test : cases) {
        const auto match = matchItems(knownOf(listOf(test.before)), listOf(test.after));
        std::vector<int> found;
        for (std::size_t i = 1; i < match.size(); ++i)
            found.push_back(match[i] == kNoItem ? kNew : static_cast<int>(match[i]) - 1);
        EXPECT_EQ(found, test.expected) << test.what;
    }
}

TEST(ItemMatching, RelinkedMediaAreKnownByTheirNames) {
    auto after = listOf({{"a.mov", 0, 50, 0}, {"b_proxy.mov", 0, 50, 50, "b.mov"}});
    after[1].medium.path = "/Other disk/a.mov";
    EXPECT_EQ(matchItems(knownOf(listOf({{"a.mov", 0, 50, 0}, {"b.mov", 0, 50, 50}})), after),
              (std::vector<ItemIndex>{0, 1, 2}));
}

TEST(ItemMatching, LooksInTheSameSequenceFirstAndTakesBackWhatWasRemoved) {
    auto items = listOf({{"a", 0, 50, 0}});
    Item second = items[0];
    second.name = "Trailer";
    items.push_back(second);
    items.push_back(itemOf({"a", 0, 50, 0}));
    items.back().container = 2;
    auto known = knownOf(items);
    // The clip of the trailer alone, then with the first one back again.
    const std::vector<Item> onlyTrailer = {items[2], [&] {
                                               Item item = items[3];
                                               item.container = 0;
                                               return item;
                                           }()};
    EXPECT_EQ(matchItems(known, onlyTrailer), (std::vector<ItemIndex>{2, 3}));
    known[0].retiredAt = known[1].retiredAt = 5;
    EXPECT_EQ(matchItems(known, items), (std::vector<ItemIndex>{0, 1, 2, 3}));
    // Of what was removed only the very same comes back.
    items[1].range.in = 1;
    EXPECT_EQ(matchItems(known, items)[1], kNoItem);
}

Item container(ItemKind kind, const char* name, ItemIndex parent = kNoItem) {
    Item item;
    item.kind = kind;
    item.name = name;
    item.container = parent;
    return item;
}

TEST(ItemMatching, ContainersAreKnownByNamePlaceAndContent) {
    using enum ItemKind;
    auto held = itemOf({"a", 0, 50, 0});
    held.container = 1;
    const std::vector<Item> before = {container(bin, "Day 1"), container(sequence, "Rough", 0),
                                      held, container(bin, "Empty"), container(bin, "Day 2")};
    // The sequence and the empty bin renamed, the bins in another order, one bin new.
    held.container = 3;
    const std::vector<Item> after = {container(bin, "Day 2"),
                                     container(bin, "Void"),
                                     container(bin, "Day 1"),
                                     container(sequence, "Fine", 2),
                                     held,
                                     container(bin, "Day 3")};
    EXPECT_EQ(matchItems(knownOf(before), after), (std::vector<ItemIndex>{4, 3, 0, 1, 2, kNoItem}));
}

TEST(ItemMatching, SequencesWithOtherUuidsAreOthers) {
    auto before = listOf({});
    before[0].ownUuid = "A";
    before[0].history = {"a"};
    auto after = before;
    after[0].ownUuid = "B";
    after[0].history = {"b"};
    EXPECT_EQ(matchItems(knownOf(before), after)[0], kNoItem);
    after[0].name = "Renamed";
    after[0].history = {"a"};
    EXPECT_EQ(matchItems(knownOf(before), after)[0], 0U);
}

TEST(ItemMatching, NeitherGivesTwiceNorMixesKinds) {
    // Very many copies, all shifted: more than are compared with one another.
    std::vector<Clip> before;
    std::vector<Clip> after;
    for (int i = 0; i < 5000; ++i) {
        before.push_back({"a", 0, 10, i * 10});
        after.push_back({"a", 0, 10, i * 10 + 5000});
    }
    auto match = matchItems(knownOf(listOf(before)), listOf(after));
    std::ranges::sort(match);
    EXPECT_EQ(std::ranges::adjacent_find(match), match.end());
    EXPECT_EQ(match.back(), 5000U);
    auto sound = listOf({{"a", 0, 10, 0}});
    sound[1].track.kind = TrackKind::audio;
    EXPECT_EQ(matchItems(knownOf(listOf({{"a", 0, 10, 0}})), sound)[1], kNoItem);
}

TEST(MediumKey, OnePlaceIsOneText) {
    const struct {
        const char* url;
        const char* path;
    } cases[] = {
        {"file://localhost/Volumes/A/My%20Clip.mov", "/Volumes/A/My Clip.mov"},
        {"file:///Volumes/A/My%20Clip.mov", "/Volumes/A/My Clip.mov"},
        {"FILE://LocalHost/C%3a/x.mov", "/C:/x.mov"},
        {"file://localhost/C%3A/x.mov", "/C:/x.mov"},
        {"file://localhost", ""},
        {"clip.mov", "clip.mov"},
        {"file:///A%CC%8A.mov", "/\xC3\x85.mov"}, // decomposed
        {"file:///%C3%85.mov", "/\xC3\x85.mov"},
        {"file:///100%.mov", "/100%.mov"},
        {"file:///%4", "/%4"},
        {"file:///%FF.mov", "/\xFF.mov"}, // no UTF-8: as it is
        {"", ""},
    };
    for (const auto& [url, path] : cases)
        EXPECT_EQ(pathOfUrl(url), path) << url;
    EXPECT_EQ(fileNameOfPath("C:\\Media\\x.mov"), "x.mov");
    EXPECT_EQ(fileNameOfPath("/"), "");
}

} // namespace
} // namespace cutstack::projecthost
