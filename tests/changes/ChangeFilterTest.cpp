#include "changes/ChangeFilter.h"

#include <gtest/gtest.h>

namespace cutstack {
namespace {

using Sentences = std::vector<std::string>;

FilterSettings hiding(std::initializer_list<ChangeKind> kinds) {
    FilterSettings settings{};
    for (const ChangeKind kind : kinds)
        settings.at(static_cast<std::size_t>(kind)) = 1;
    return settings;
}

TEST(ChangeFilter, WhatEachKindHides) {
    using enum ChangeKind;
    const struct {
        ChangeKind kind;
        std::string_view sentence;
        bool hidden;
    } cases[] = {
        {inPoints, "In Point of clip A changed to 00:00:01;00", true},
        {inPoints, "the IN POINT", true},
        {inPoints, "Out Point of clip A removed", false},
        {outPoints, "Out Point of clip A removed", true},
        {markers, "Marker A added", true},
        {filters, "New filter added: Blur", true},
        {filters, "Transition added at end of clip A", true},
        {filters, "Duration changed to 00:00:01;00 for Title generator", true},
        {filters, "New bin added: A", false},
        {sequences, "New video clip A added for sequence S", true},
        {clips, "New video clip A added", true},
        {clips, "Clip codec changed to X", true},
        {clips, "This is no clip", true},
        {clips, "New video subclip A added", false},
        {clips, "New multiclip added: A", false},
        {clips, "clip", false},
        {subclips, "New video Subclip A added", true},
        {freezeFrames, "Freeze frame A enabled", true},
        {bins, "Bin A removed", true},
        {bins, "New bin added: A", true},
        {bins, "The wrong bin", true},
        {bins, "New bingo added: A", false},
        {multiclips, "New multiclip added: A", true},
    };
    for (const auto& row : cases)
        EXPECT_EQ(ChangeFilter(hiding({row.kind})).filterArray({std::string(row.sentence)}).empty(),
                  row.hidden)
            << row.sentence;
}

TEST(ChangeFilter, KeepsTheOrderOfWhatItShows) {
    const Sentences sentences = {"Clip B removed", "Bin A removed", "Marker B added", "No change"};
    EXPECT_EQ(ChangeFilter(hiding({ChangeKind::bins, ChangeKind::markers})).filterArray(sentences),
              (Sentences{"Clip B removed", "No change"}));
    EXPECT_EQ(ChangeFilter(FilterSettings{}).filterArray(sentences), sentences);
}

TEST(ChangeFilter, OnlyTheNumberOneHides) {
    FilterSettings settings{};
    settings.back() = 2;
    const Sentences sentences = {"New multiclip added: A", "Bin A removed"};
    EXPECT_TRUE(ChangeFilter(settings).failure());
    EXPECT_EQ(ChangeFilter(settings).filterArray(sentences), sentences);
    settings.at(static_cast<std::size_t>(ChangeKind::bins)) = 1;
    EXPECT_FALSE(ChangeFilter(settings).failure());
    EXPECT_EQ(ChangeFilter(settings).filterArray(sentences), Sentences{"New multiclip added: A"});
    EXPECT_FALSE(ChangeFilter(FilterSettings{}).failure());
}

} // namespace
} // namespace cutstack
