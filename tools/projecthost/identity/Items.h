#pragma once

// The things of an editor's project that keep an identity from one export to the next, and what is
// known of each to recognise it by. Reading an export makes them (ItemReading), the store keeps
// them (IdentityStore), matching tells which of the one are which of the other (ItemMatching).
//
// Plain values; whoever holds them may change them. One thread at a time.

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace cutstack::projecthost {

/// `masterclip` is a browser clip that an export refers to without containing it.
enum class ItemKind : std::uint8_t {
    sequence,
    bin,
    clip,
    clipitem,
    generatoritem,
    transitionitem,
    multiclip,
    file,
    masterclip
};

/// How each kind is called in element names and at the start of ids.
inline constexpr std::array<std::string_view, 9> kItemKindNames = {
    "sequence",       "bin",       "clip", "clipitem",  "generatoritem",
    "transitionitem", "multiclip", "file", "masterclip"};

[[nodiscard]] constexpr std::string_view nameOfKind(ItemKind kind) {
    return kItemKindNames[static_cast<std::size_t>(kind)];
}

/// What an item shows, from the surest sign to the weakest. Each is empty where it is unknown;
/// texts are comparable byte by byte (see MediumKey.h).
struct Medium {
    std::string path;
    std::string fileName;
    std::string name;
    [[nodiscard]] bool operator==(const Medium&) const = default;
};

enum class TrackKind : std::uint8_t { none, video, audio };

/// A track of a sequence or clip; counted from 1 among those of its kind.
struct Track {
    TrackKind kind = TrackKind::none;
    std::int32_t number = 0;
    [[nodiscard]] bool operator==(const Track&) const = default;
};

using Frames = std::int64_t;
using ItemIndex = std::uint32_t;
inline constexpr ItemIndex kNoItem = 0xFFFFFFFF;

/// Frames of the source; nothing where the export does not say, or says "not set" (-1).
struct SourceRange {
    std::optional<Frames> in;
    std::optional<Frames> out; ///< one past the last frame
    [[nodiscard]] bool operator==(const SourceRange&) const = default;
};

struct Item {
    ItemKind kind = ItemKind::clipitem;
    std::string name;
    Medium medium;
    std::string ownUuid;              ///< as its `uuid` child has it; empty without one
    std::vector<std::string> history; ///< every UUID it was known by, newest first, small letters
    SourceRange range;
    /// Frames of the sequence. An edge that a transition covers stands where the transition does.
    std::optional<Frames> start;
    std::optional<Frames> end;
    Track track;
    /// The sequence, browser clip, multiclip or bin that holds it: an index into the same list.
    ItemIndex container = kNoItem;
    [[nodiscard]] bool operator==(const Item&) const = default;
};

/// An item that was served before.
struct KnownItem {
    Item item;
    std::int64_t number = 0; ///< in its project; never given to another item
    std::string uuid;        ///< what it was served with; empty for a kind without UUIDs
    /// The save that did not have it any more; 0 while it is part of the project.
    std::int64_t retiredAt = 0;
};

} // namespace cutstack::projecthost
