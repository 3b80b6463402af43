#pragma once

// Series of saves to try identities on: a project with a timeline, edited as people edit, and
// exported after every few edits the way today's editors do it, with ids made anew each time. The
// same seed gives the same series. Since the model knows which item is which, it can also export
// with ids that are never wrong, and tell what really changed.

#include "bench/Random.h"

#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace cutstack::projecthost {

/// Who numbers the items.
enum class Numbering : std::uint8_t {
    session,       ///< clipitem-1, clipitem-2 ..., going on from one export to the next
    restarted,     ///< the same, beginning anew: old ids come back on other items
    nameAndCounter ///< the name and a counter of its own, in order of mention
};

/// Whose ids and UUIDs an export has.
enum class Identities : bool { exported, true_ };

struct SeriesKind {
    const char* name = "";
    Numbering numbering = Numbering::session;
    bool sharesNames = true;  ///< clips are called like their medium; else each has its own name
    bool inPlaceOnly = false; ///< nothing is inserted or removed before another clip of its track
    std::size_t clips = 60;   ///< on the timeline at the beginning
    std::size_t media = 12;
    std::size_t editsPerSave = 3;
};

/// A video clip with the sound that is linked with it.
struct TimelineClip {
    int serial = 0;
    std::size_t medium = 0;
    std::string name;
    int in = 0;
    int out = 0;
    int start = 0;
    bool enabled = true;
    [[nodiscard]] int end() const { return start + out - in; }
};

/// What happened to something: "added", "removed", "moved" ... and the name in the sentence. For
/// what was added, "name/medium": a sentence has one or the other.
using NamedChange = std::pair<std::string, std::string>;

class TimelineSeries {
public:
    TimelineSeries(const SeriesKind& kind, std::uint64_t seed);

    /// The edits between two saves.
    void edit();
    /// What an export of the project looks like now.
    [[nodiscard]] std::string write(Identities identities);
    /// What changed since `before`, in the terms of parsedSentence().
    [[nodiscard]] std::set<NamedChange> changesSince(const TimelineSeries& before) const;
    /// The serial numbers of the clip items in the order in which write() has them.
    [[nodiscard]] std::vector<int> itemSerials() const;

private:
    using Clips = std::vector<TimelineClip>;

    Clips& someTrack();
    void insert(Clips& track, std::size_t at, TimelineClip clip, bool ripple);
    void edit(Clips& track);
    void trim(Clips& track, std::size_t at);
    void move(Clips& track, std::size_t at);
    void addClip(Clips& track);
    void remove(Clips& track, std::size_t at);
    TimelineClip makeClip();
    std::string idOf(const std::string& prefix, const std::string& name, int serial,
                     Identities identities);
    void writeTrack(std::string& xml, const Clips& track, bool isVideo, Identities identities);
    void writeFile(std::string& xml, std::size_t medium, Identities identities);

    SeriesKind kind_;
    bench::Random random_;
    std::vector<Clips> tracks_;
    std::vector<TimelineClip> removed_; ///< the last ones, for an undo
    int nextSerial_ = 1;
    int counter_ = 1;                                      ///< of the session
    std::vector<std::pair<std::string, std::string>> ids_; ///< of the export being written
    std::set<std::size_t> written_;                        ///< the media that it has described
};

/// What a sentence of a changelist says; nothing for one that says nothing about an item.
[[nodiscard]] std::optional<NamedChange> parsedSentence(const std::string& sentence);

} // namespace cutstack::projecthost
