#include "bench/ExportModel.h"

#include <algorithm>
#include <array>

namespace cutstack::bench {

namespace {

constexpr std::size_t kClipsInBin = 6;
constexpr int kDeepestBin = 2;
constexpr std::size_t kFilterKinds = 6;

const std::array<FilterKind, kFilterKinds>& filterKinds() {
    static const std::array<FilterKind, kFilterKinds> kinds = {
        FilterKind{"Basic Motion",
                   "basic",
                   "motion",
                   "motion",
                   "video",
                   {{"scale", "Scale", 0, 1000},
                    {"rotation", "Rotation", -8640, 8640},
                    {"centerhoriz", "Center", -100, 100}}},
        FilterKind{"Crop",
                   "crop",
                   "motion",
                   "motion",
                   "video",
                   {{"left", "left", 0, 100}, {"right", "right", 0, 100}, {"top", "top", 0, 100}}},
        FilterKind{
            "Opacity", "opacity", "motion", "motion", "video", {{"opacity", "opacity", 0, 100}}},
        FilterKind{"Colour Balance",
                   "ColorBalance",
                   "Color Correction",
                   "filter",
                   "video",
                   {{"red", "Red", -100, 100},
                    {"green", "Green", -100, 100},
                    {"blue", "Blue", -100, 100},
                    {"amount", "Amount", 0, 100}}},
        FilterKind{"Audio Levels",
                   "audiolevels",
                   "audiolevels",
                   "audiolevels",
                   "audio",
                   {{"level", "Level", 0, 4}}},
        FilterKind{"High Pass Filter",
                   "highpass",
                   "Audio Filters",
                   "filter",
                   "audio",
                   {{"frequency", "Frequency", 10, 20000}, {"slope", "Slope", 1, 24}}}};
    return kinds;
}

constexpr std::array<std::string_view, 12> kSubjects = {
    "Interview Anna",       "Harbour wide",   "Street & market", "Kitchen, close",
    "Car interior",         "Night exterior", "Hands on table",  "Crowd",
    "Old town caf\xC3\xA9", "Train window",   "Rooftop 100%",    "Archive letter"};

constexpr std::array<std::string_view, 6> kRemarks = {
    "good", "boom in shot", "use the second half", "soft focus at the end", "best take", "retake"};

template <typename Choices>
const auto& oneOf(Random& random, const Choices& choices) {
    return choices[random.below(choices.size())];
}

std::vector<Sequence*> allSequences(std::vector<Bin>& bins) {
    std::vector<Sequence*> found;
    for (Bin& bin : bins) {
        for (Sequence& sequence : bin.sequences)
            found.push_back(&sequence);
        const auto below = allSequences(bin.bins);
        found.insert(found.end(), below.begin(), below.end());
    }
    return found;
}

} // namespace

Serial ProjectBuilder::nextSerial(Serial count) {
    const Serial first = serial_;
    serial_ += count;
    return first;
}

Media ProjectBuilder::makeMedia() {
    Media media;
    media.serial = nextSerial();
    media.masterClip = nextSerial();
    media.name = std::string(oneOf(random_, kSubjects)) + " " +
                 std::to_string(random_.between(1, 99)) + "-" +
                 std::to_string(random_.between(1, 9));
    media.uuid = random_.uuid();
    media.reel = "Reel " + std::to_string(random_.between(1, 40));
    media.frames = random_.between(500, 20000);
    media.firstFrame = random_.between(0, 80000);
    return media;
}

Marker ProjectBuilder::makeMarker(int frames) {
    return {"Marker " + std::to_string(random_.between(1, 10000)),
            std::string(oneOf(random_, kRemarks)), random_.between(0, frames)};
}

Filter ProjectBuilder::makeFilter(const FilterKind& kind, int frames) {
    Filter filter{&kind, {}, true};
    for (const ParameterKind& parameter : kind.parameters) {
        const auto value = [&] {
            return random_.between(parameter.least * 1000, parameter.most * 1000);
        };
        Parameter made{value(), {}};
        if (random_.oneIn(6))
            for (int i = 0; i < 4; ++i)
                made.keyframes.push_back({frames * i / 4, value()});
        filter.parameters.push_back(std::move(made));
    }
    return filter;
}

BrowserClip ProjectBuilder::makeClip(const Project& project, std::size_t media) {
    BrowserClip clip;
    clip.item = nextSerial();
    clip.media = media;
    clip.uuid = random_.uuid();
    clip.name = project.media[media].name;
    clip.note = oneOf(random_, kRemarks);
    if (random_.oneIn(4))
        clip.markers.push_back(makeMarker(project.media[media].frames));
    return clip;
}

Shot ProjectBuilder::makeShot(const Project& project, std::size_t media, int start) {
    Shot shot;
    shot.serial = nextSerial(kClipsOfShot);
    shot.media = media;
    shot.name = project.media[media].name;
    for (auto& history : shot.histories)
        history.push_back(random_.uuid());
    const int frames = random_.between(20, 400);
    shot.in = random_.between(0, project.media[media].frames - frames);
    shot.out = shot.in + frames;
    shot.start = start;
    shot.end = start + frames;
    const auto& kinds = filterKinds();
    for (const FilterKind& kind : kinds)
        if (random_.oneIn(10))
            (kind.mediaType == "video" ? shot.videoFilters : shot.audioFilters)
                .push_back(makeFilter(kind, frames));
    if (random_.oneIn(8))
        shot.markers.push_back(makeMarker(frames));
    shot.endsInTransition = random_.oneIn(6);
    if (random_.oneIn(10))
        shot.title = "Title " + std::to_string(random_.between(1, 1000));
    return shot;
}

Sequence ProjectBuilder::makeSequence(const Project& project, std::size_t firstMedia) {
    Sequence sequence;
    sequence.serial = nextSerial();
    sequence.uuid = random_.uuid();
    sequence.name = "Reel " + std::to_string(sequence.serial) + " cut";
    int start = 0;
    for (std::size_t i = 0; i < shotsInSequence_; ++i) {
        const std::size_t media = firstMedia + random_.below(project.media.size() - firstMedia);
        sequence.shots.push_back(makeShot(project, media, start));
        start = sequence.shots.back().end;
    }
    sequence.markers = {makeMarker(start), makeMarker(start)};
    return sequence;
}

Bin ProjectBuilder::makeBin(Project& project, int depth) {
    const std::size_t firstMedia = project.media.size();
    Bin bin;
    bin.uuid = random_.uuid();
    bin.name = "Day " + std::to_string(random_.between(1, 60));
    for (std::size_t i = 0; i < kClipsInBin; ++i) {
        project.media.push_back(makeMedia());
        bin.clips.push_back(makeClip(project, firstMedia + i));
    }
    if (depth < kDeepestBin && random_.oneIn(5))
        bin.bins.push_back(makeBin(project, depth + 1));
    bin.sequences.push_back(makeSequence(project, firstMedia));
    return bin;
}

/// An edited clip gets a new UUID, which stands before those that it had.
void ProjectBuilder::renewHistory(Shot& shot) {
    for (auto& history : shot.histories)
        history.insert(history.begin(), random_.uuid());
}

void ProjectBuilder::moveInPoint(Sequence& sequence, std::size_t shot) {
    const int frames = random_.between(1, 12);
    sequence.shots[shot].in += frames;
    sequence.shots[shot].start += frames;
}

void ProjectBuilder::moveOutPoint(Sequence& sequence, std::size_t shot) {
    const int frames = random_.between(1, 12);
    sequence.shots[shot].out -= frames;
    sequence.shots[shot].end -= frames;
}

void ProjectBuilder::slide(Sequence& sequence, std::size_t shot) {
    const int frames = random_.between(1, 12);
    sequence.shots[shot].start += frames;
    sequence.shots[shot].end += frames;
}

void ProjectBuilder::rename(Sequence& sequence, std::size_t shot) {
    sequence.shots[shot].name += " v" + std::to_string(random_.between(2, 9));
}

void ProjectBuilder::changeFilterValue(Sequence& sequence, std::size_t shot) {
    std::vector<Filter>& filters = sequence.shots[shot].videoFilters;
    if (filters.empty())
        return;
    Parameter& parameter = filters[random_.below(filters.size())].parameters.front();
    parameter.value += 125;
    for (Keyframe& keyframe : parameter.keyframes)
        keyframe.value += 125;
}

void ProjectBuilder::toggleEnabled(Sequence& sequence, std::size_t shot) {
    sequence.shots[shot].enabled = !sequence.shots[shot].enabled;
}

void ProjectBuilder::insertCopy(Sequence& sequence, std::size_t shot) {
    Shot copy = sequence.shots[shot];
    copy.serial = nextSerial(kClipsOfShot);
    for (auto& history : copy.histories)
        history = {random_.uuid()};
    sequence.shots.insert(sequence.shots.begin() + static_cast<std::ptrdiff_t>(shot), copy);
}

void ProjectBuilder::remove(Sequence& sequence, std::size_t shot) {
    if (sequence.shots.size() > 1)
        sequence.shots.erase(sequence.shots.begin() + static_cast<std::ptrdiff_t>(shot));
}

void ProjectBuilder::addMarker(Sequence& sequence, std::size_t shot) {
    Shot& marked = sequence.shots[shot];
    marked.markers.push_back(makeMarker(marked.out - marked.in));
}

void ProjectBuilder::addFilter(Sequence& sequence, std::size_t shot) {
    Shot& filtered = sequence.shots[shot];
    filtered.videoFilters.push_back(makeFilter(filterKinds()[3], filtered.out - filtered.in));
}

void ProjectBuilder::edit(Project& project, std::size_t count, Edits edits) {
    using Edit = void (ProjectBuilder::*)(Sequence&, std::size_t);
    constexpr std::array<Edit, 10> kinds = {&ProjectBuilder::moveInPoint,
                                            &ProjectBuilder::moveOutPoint,
                                            &ProjectBuilder::slide,
                                            &ProjectBuilder::rename,
                                            &ProjectBuilder::changeFilterValue,
                                            &ProjectBuilder::toggleEnabled,
                                            &ProjectBuilder::insertCopy,
                                            &ProjectBuilder::remove,
                                            &ProjectBuilder::addMarker,
                                            &ProjectBuilder::addFilter};
    constexpr std::size_t kindsInPlace = 6;
    const std::size_t usedKinds = edits == Edits::inPlace ? kindsInPlace : kinds.size();
    const std::vector<Sequence*> sequences = allSequences(project.bins);
    for (std::size_t i = 0; i < count; ++i) {
        Sequence& sequence = *sequences[random_.below(sequences.size())];
        const std::size_t shot = random_.below(sequence.shots.size());
        renewHistory(sequence.shots[shot]);
        (this->*kinds[i % usedKinds])(sequence, shot);
    }
}

} // namespace cutstack::bench
