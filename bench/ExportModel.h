#pragma once

// The project that a generated export shows: bins with browser clips and sequences, sequences with
// shots. A shot is a video clip and the two audio clips that are linked with it. The writer makes
// an export of it, and edit() does to it what an editor does between two saves.
//
// Plain values; whoever holds a project may change it. One thread.

#include "bench/Random.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace cutstack::bench {

/// A number of its own for each object, by which the writer knows it again.
using Serial = std::uint32_t;

struct Media {
    Serial serial = 0;
    Serial masterClip = 0; ///< the browser clip that shows it
    std::string name;
    std::string uuid;
    std::string reel;
    int frames = 0;
    int firstFrame = 0; ///< of its own timecode
};

struct Marker {
    std::string name;
    std::string comment;
    int at = 0;
};

/// A number in thousandths, so that no floating point is needed to write it.
using Thousandths = int;

struct Keyframe {
    int when = 0;
    Thousandths value = 0;
};

/// What every parameter of a kind of filter has in common.
struct ParameterKind {
    std::string_view id;
    std::string_view name;
    int least = 0;
    int most = 0;
};

struct FilterKind {
    std::string_view name;
    std::string_view id;
    std::string_view category;
    std::string_view type;
    std::string_view mediaType;
    std::vector<ParameterKind> parameters;
};

struct Parameter {
    Thousandths value = 0;
    std::vector<Keyframe> keyframes; ///< instead of the value, when there are any
};

struct Filter {
    const FilterKind* kind = nullptr;
    std::vector<Parameter> parameters;
    bool enabled = true;
};

inline constexpr std::size_t kClipsOfShot = 3; ///< a video clip and two audio clips

struct Shot {
    Serial serial = 0; ///< the video clip's; the audio clips have the next two
    std::size_t media = 0;
    std::string name;
    std::vector<std::string> histories[kClipsOfShot]; ///< newest UUID first
    int in = 0;
    int out = 0;
    int start = 0;
    int end = 0;
    bool enabled = true;
    std::vector<Filter> videoFilters;
    std::vector<Filter> audioFilters;
    std::vector<Marker> markers;
    bool endsInTransition = false;
    std::string title; ///< of a generator on the second video track; none when empty
};

struct Sequence {
    Serial serial = 0;
    std::string uuid;
    std::string name;
    std::vector<Shot> shots;
    std::vector<Marker> markers;
};

struct BrowserClip {
    Serial item = 0; ///< the clip item within it
    std::size_t media = 0;
    std::string uuid;
    std::string name;
    std::string note;
    std::vector<Marker> markers;
};

struct Bin {
    std::string uuid;
    std::string name;
    std::vector<BrowserClip> clips;
    std::vector<Sequence> sequences;
    std::vector<Bin> bins;
};

struct Project {
    std::string name;
    std::vector<Media> media;
    std::vector<Bin> bins;
};

/// What an edit may do: change values where they stand, or also insert and remove elements.
enum class Edits : bool { inPlace, all };

/// Makes the parts of a project, one after the other, all from one source of random numbers.
class ProjectBuilder {
public:
    ProjectBuilder(std::uint64_t seed, std::size_t shotsInSequence)
        : random_(seed), shotsInSequence_(shotsInSequence) {}

    /// A bin with clips, a sequence made of them, and now and then bins within bins. Its media are
    /// added to `project`, the bin itself is not.
    [[nodiscard]] Bin makeBin(Project& project) { return makeBin(project, 0); }

    /// Does `count` edits all over the project: in place, points moved, clips renamed and disabled,
    /// values of filters changed; else also clips inserted and removed, markers and filters added.
    /// REQUIRES: the project has a sequence.
    void edit(Project& project, std::size_t count, Edits edits);

private:
    Bin makeBin(Project& project, int depth);
    Media makeMedia();
    BrowserClip makeClip(const Project& project, std::size_t media);
    Sequence makeSequence(const Project& project, std::size_t firstMedia);
    Shot makeShot(const Project& project, std::size_t media, int start);
    Filter makeFilter(const FilterKind& kind, int frames);
    Marker makeMarker(int frames);
    void renewHistory(Shot& shot);
    Serial nextSerial(Serial count = 1);

    // The edits.
    void moveInPoint(Sequence& sequence, std::size_t shot);
    void moveOutPoint(Sequence& sequence, std::size_t shot);
    void slide(Sequence& sequence, std::size_t shot);
    void rename(Sequence& sequence, std::size_t shot);
    void changeFilterValue(Sequence& sequence, std::size_t shot);
    void toggleEnabled(Sequence& sequence, std::size_t shot);
    void insertCopy(Sequence& sequence, std::size_t shot);
    void remove(Sequence& sequence, std::size_t shot);
    void addMarker(Sequence& sequence, std::size_t shot);
    void addFilter(Sequence& sequence, std::size_t shot);

    Random random_;
    std::size_t shotsInSequence_;
    Serial serial_ = 0;
};

} // namespace cutstack::bench
