#include "bench/ExportGenerator.h"

#include "bench/ExportModel.h"
#include "bench/XmlWriter.h"

#include <algorithm>
#include <array>
#include <map>
#include <unordered_map>
#include <unordered_set>

namespace cutstack::bench {

namespace {

constexpr int kTimebase = 25;
constexpr int kTransitionFrames = 25;

std::string withTwoDigits(int number) {
    std::string digits = std::to_string(number);
    digits.insert(0, number < 10 ? 1 : 0, '0');
    return digits;
}

std::string timecodeOf(int frames) {
    const int seconds = frames / kTimebase;
    std::string timecode = withTwoDigits(seconds / 3600);
    for (const int field : {seconds / 60 % 60, seconds % 60, frames % kTimebase})
        (timecode += ':') += withTwoDigits(field);
    return timecode;
}

std::string decimal(Thousandths value) {
    std::string text = value < 0 ? "-" : "";
    text += std::to_string(std::abs(value) / 1000);
    if (const int fraction = std::abs(value) % 1000; fraction != 0)
        ((text += '.') += std::to_string(fraction / 100)) += withTwoDigits(fraction % 100);
    return text;
}

/// The path of a file as a URL: every byte that is not plain is escaped.
std::string urlOf(const Media& media) {
    std::string url = "file://localhost/Volumes/Media/Capture%20Scratch/";
    for (const char c : media.name + ".mov") {
        const auto byte = static_cast<unsigned char>(c);
        const bool isLetter = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
        if (isLetter || (c >= '0' && c <= '9') || c == '.' || c == '-')
            url += c;
        else
            ((url += '%') += "0123456789ABCDEF"[byte >> 4U]) += "0123456789ABCDEF"[byte & 0xFU];
    }
    return url;
}

/// Writes a project bin by bin.
class ExportWriter {
public:
    explicit ExportWriter(const Project& project) : project_(project) {}

    /// The export with the bins that `nextBin` hands out, until it hands out none.
    template <typename NextBin>
    std::string write(NextBin nextBin);

    [[nodiscard]] std::size_t size() const { return xml_.size(); }

private:
    const std::string& idOf(Serial serial, const std::string& name);

    void bin(const Bin& bin);
    void browserClip(const BrowserClip& clip);
    void sequence(const Sequence& sequence);
    void videoTracks(const Sequence& sequence);
    void audioTrack(const Sequence& sequence, std::size_t clip);
    void clipitem(const Shot& shot, std::size_t place, std::size_t clip);
    void links(const Shot& shot, std::size_t place);
    void generator(const Shot& shot);
    void transition(const Shot& shot);
    void filter(const Filter& filter);
    void parameter(const ParameterKind& kind, const Parameter& parameter);
    void keyframe(const ParameterKind& kind, const Keyframe& keyframe);
    void value(const ParameterKind& kind, Thousandths value);
    void marker(const Marker& marker);
    void file(const Media& media);
    void fileContents(const Media& media);
    void videoFormat();
    void audioFormat(int channel);
    void rate();
    void timecode(int firstFrame, const std::string& reel);
    void loggingInfo(std::string_view note);
    void history(const std::vector<std::string>& uuids);

    const Project& project_;
    XmlWriter xml_;
    std::unordered_map<Serial, std::string> ids_;
    std::map<std::string, int> mentions_; ///< how many ids a name has been made into
    std::unordered_set<Serial> writtenFiles_;
};

constexpr std::array<std::string_view, 3> kChannelMedia = {"video", "audio", "audio"};

const std::string& ExportWriter::idOf(Serial serial, const std::string& name) {
    const auto [place, isNew] = ids_.try_emplace(serial);
    if (isNew) {
        const int mention = mentions_[name]++;
        place->second = name;
        if (name.back() >= '0' && name.back() <= '9')
            place->second += ' ';
        if (mention > 0)
            place->second += std::to_string(mention);
    }
    return place->second;
}

void ExportWriter::rate() {
    const auto element = xml_.element("rate");
    xml_.leaf("ntsc", "FALSE");
    xml_.leaf("timebase", kTimebase);
}

void ExportWriter::timecode(int firstFrame, const std::string& reel) {
    const auto element = xml_.element("timecode");
    rate();
    xml_.leaf("string", timecodeOf(firstFrame));
    xml_.leaf("frame", firstFrame);
    xml_.leaf("source", "source");
    xml_.leaf("displayformat", "NDF");
    if (reel.empty())
        return;
    const auto reelElement = xml_.element("reel");
    xml_.leaf("name", reel);
}

void ExportWriter::loggingInfo(std::string_view note) {
    {
        const auto element = xml_.element("logginginfo");
        xml_.blankLeaf("description");
        xml_.leaf("scene", 12);
        xml_.leaf("shottake", 3);
        xml_.leaf("lognote", note);
        xml_.leaf("good", note == "good" ? "TRUE" : "FALSE");
    }
    const auto element = xml_.element("labels");
    xml_.leaf("label2", "Take");
}

void ExportWriter::history(const std::vector<std::string>& uuids) {
    const auto element = xml_.element("itemhistory");
    for (const std::string& uuid : uuids)
        xml_.leaf("uuid", uuid);
}

void ExportWriter::marker(const Marker& marker) {
    const auto element = xml_.element("marker");
    xml_.leaf("name", marker.name);
    xml_.leaf("comment", marker.comment);
    xml_.leaf("in", marker.at);
    xml_.leaf("out", -1);
}

void ExportWriter::videoFormat() {
    const auto element = xml_.element("samplecharacteristics");
    xml_.leaf("width", 1920);
    xml_.leaf("height", 1080);
    xml_.leaf("anamorphic", "FALSE");
    xml_.leaf("pixelaspectratio", "square");
    xml_.leaf("fielddominance", "none");
    rate();
    xml_.leaf("colordepth", 24);
    const auto codec = xml_.element("codec");
    xml_.leaf("name", "Intermediate 422");
}

void ExportWriter::audioFormat(int channel) {
    const auto element = xml_.element("audio");
    {
        const auto characteristics = xml_.element("samplecharacteristics");
        xml_.leaf("samplerate", 48000);
        xml_.leaf("depth", 16);
    }
    xml_.leaf("channelcount", 1);
    xml_.leaf("layout", "mono");
    const auto audioChannel = xml_.element("audiochannel");
    xml_.leaf("sourcechannel", channel);
    xml_.leaf("channellabel", "discrete");
}

void ExportWriter::fileContents(const Media& media) {
    xml_.leaf("name", media.name + ".mov");
    xml_.leaf("pathurl", urlOf(media));
    rate();
    xml_.leaf("duration", media.frames);
    {
        const auto metadata = xml_.element("metadata");
        xml_.leaf("storage", "MOV");
        xml_.leaf("key", "media.uuid");
        xml_.leaf("size", 36);
        xml_.leaf("type", "UTF8");
        xml_.leaf("value", media.uuid);
    }
    timecode(media.firstFrame, media.reel);
    const auto mediaElement = xml_.element("media");
    {
        const auto video = xml_.element("video");
        xml_.leaf("duration", media.frames);
        videoFormat();
    }
    audioFormat(1);
    audioFormat(2);
}

void ExportWriter::file(const Media& media) {
    const std::string& id = idOf(media.serial, media.name);
    if (!writtenFiles_.insert(media.serial).second) {
        xml_.reference("file", id);
        return;
    }
    const auto element = xml_.element("file", "id", id);
    fileContents(media);
}

void ExportWriter::value(const ParameterKind& kind, Thousandths value) {
    if (kind.name != "Center") {
        xml_.leaf("value", decimal(value));
        return;
    }
    const auto element = xml_.element("value");
    xml_.leaf("horiz", decimal(value));
    xml_.leaf("vert", decimal(-value));
}

void ExportWriter::keyframe(const ParameterKind& kind, const Keyframe& keyframe) {
    const auto element = xml_.element("keyframe");
    xml_.leaf("when", keyframe.when);
    value(kind, keyframe.value);
}

void ExportWriter::parameter(const ParameterKind& kind, const Parameter& parameter) {
    const auto element = xml_.element("parameter");
    xml_.leaf("name", kind.name);
    xml_.leaf("parameterid", kind.id);
    xml_.leaf("valuemin", kind.least);
    xml_.leaf("valuemax", kind.most);
    if (parameter.keyframes.empty())
        value(kind, parameter.value);
    for (const Keyframe& each : parameter.keyframes)
        keyframe(kind, each);
}

void ExportWriter::filter(const Filter& filter) {
    const auto element = xml_.element("filter");
    xml_.leaf("enabled", filter.enabled ? "TRUE" : "FALSE");
    xml_.leaf("start", -1);
    xml_.leaf("end", -1);
    const auto effect = xml_.element("effect");
    xml_.leaf("name", filter.kind->name);
    xml_.leaf("effectid", filter.kind->id);
    xml_.leaf("effectcategory", filter.kind->category);
    xml_.leaf("effecttype", filter.kind->type);
    xml_.leaf("mediatype", filter.kind->mediaType);
    for (std::size_t i = 0; i < filter.parameters.size(); ++i)
        parameter(filter.kind->parameters[i], filter.parameters[i]);
}

/// Every clip of a shot names all of its group, itself included.
void ExportWriter::links(const Shot& shot, std::size_t place) {
    for (std::size_t clip = 0; clip < kClipsOfShot; ++clip) {
        const auto element = xml_.element("link");
        xml_.leaf("linkclipref", idOf(shot.serial + static_cast<Serial>(clip), shot.name));
        xml_.leaf("mediatype", kChannelMedia[clip]);
        xml_.leaf("trackindex", clip == 2 ? 2 : 1);
        xml_.leaf("clipindex", static_cast<std::int64_t>(place + 1));
        if (clip > 0)
            xml_.leaf("groupindex", 1);
    }
}

void ExportWriter::clipitem(const Shot& shot, std::size_t place, std::size_t clip) {
    const bool isVideo = clip == 0;
    const Media& media = project_.media[shot.media];
    const auto element =
        xml_.element("clipitem", "id", idOf(shot.serial + static_cast<Serial>(clip), shot.name));
    xml_.leaf("name", shot.name);
    xml_.leaf("duration", media.frames);
    rate();
    xml_.leaf("in", shot.in);
    xml_.leaf("out", shot.out);
    xml_.leaf("start", shot.start);
    xml_.leaf("end", shot.endsInTransition && isVideo ? -1 : shot.end);
    xml_.leaf("enabled", shot.enabled ? "TRUE" : "FALSE");
    if (isVideo) {
        xml_.leaf("pixelaspectratio", "square");
        xml_.leaf("anamorphic", "FALSE");
        xml_.leaf("alphatype", "none");
    }
    xml_.leaf("masterclipid", idOf(media.masterClip, media.name));
    loggingInfo("");
    file(media);
    for (const Filter& each : isVideo ? shot.videoFilters : shot.audioFilters)
        filter(each);
    {
        const auto source = xml_.element("sourcetrack");
        xml_.leaf("mediatype", kChannelMedia[clip]);
        xml_.leaf("trackindex", clip == 2 ? 2 : 1);
    }
    links(shot, place);
    if (isVideo)
        for (const Marker& each : shot.markers)
            marker(each);
    history(shot.histories[clip]);
}

void ExportWriter::transition(const Shot& shot) {
    const auto element = xml_.element("transitionitem");
    rate();
    xml_.leaf("start", shot.end - kTransitionFrames / 2);
    xml_.leaf("end", shot.end + kTransitionFrames / 2);
    xml_.leaf("alignment", "center");
    const auto effect = xml_.element("effect");
    xml_.leaf("name", "Cross Dissolve");
    xml_.leaf("effectid", "Cross Dissolve");
    xml_.leaf("effectcategory", "Dissolve");
    xml_.leaf("effecttype", "transition");
    xml_.leaf("mediatype", "video");
    xml_.leaf("wipecode", 0);
    xml_.leaf("startratio", 0);
    xml_.leaf("endratio", 1);
    xml_.leaf("reverse", "FALSE");
}

void ExportWriter::generator(const Shot& shot) {
    const auto element = xml_.element("generatoritem");
    xml_.leaf("name", shot.title);
    xml_.leaf("duration", 3000);
    rate();
    xml_.leaf("in", 1500);
    xml_.leaf("out", 1500 + shot.end - shot.start);
    xml_.leaf("start", shot.start);
    xml_.leaf("end", shot.end);
    xml_.leaf("enabled", "TRUE");
    xml_.leaf("anamorphic", "FALSE");
    xml_.leaf("alphatype", "black");
    const auto effect = xml_.element("effect");
    xml_.leaf("name", "Text");
    xml_.leaf("effectid", "Text");
    xml_.leaf("effectcategory", "Text");
    xml_.leaf("effecttype", "generator");
    xml_.leaf("mediatype", "video");
    const auto parameterElement = xml_.element("parameter");
    xml_.leaf("parameterid", "str");
    xml_.leaf("name", "Text");
    xml_.leaf("value", shot.title);
}

void ExportWriter::videoTracks(const Sequence& sequence) {
    const auto element = xml_.element("video");
    {
        const auto format = xml_.element("format");
        videoFormat();
    }
    {
        const auto track = xml_.element("track");
        for (std::size_t i = 0; i < sequence.shots.size(); ++i) {
            clipitem(sequence.shots[i], i, 0);
            if (sequence.shots[i].endsInTransition)
                transition(sequence.shots[i]);
        }
        xml_.leaf("enabled", "TRUE");
        xml_.leaf("locked", "FALSE");
    }
    const auto titles = xml_.element("track");
    for (const Shot& shot : sequence.shots)
        if (!shot.title.empty())
            generator(shot);
    xml_.leaf("enabled", "TRUE");
    xml_.leaf("locked", "FALSE");
}

void ExportWriter::audioTrack(const Sequence& sequence, std::size_t clip) {
    const auto track = xml_.element("track");
    for (std::size_t i = 0; i < sequence.shots.size(); ++i)
        clipitem(sequence.shots[i], i, clip);
    xml_.leaf("enabled", "TRUE");
    xml_.leaf("locked", "FALSE");
    xml_.leaf("outputchannelindex", static_cast<std::int64_t>(clip));
}

void ExportWriter::sequence(const Sequence& sequence) {
    const auto element = xml_.element("sequence", "id", idOf(sequence.serial, sequence.name));
    xml_.leaf("uuid", sequence.uuid);
    xml_.leaf("updatebehavior", "add");
    xml_.leaf("name", sequence.name);
    xml_.leaf("duration", sequence.shots.back().end);
    rate();
    timecode(kTimebase * 3600, {});
    xml_.leaf("in", -1);
    xml_.leaf("out", -1);
    {
        const auto media = xml_.element("media");
        videoTracks(sequence);
        const auto audio = xml_.element("audio");
        audioTrack(sequence, 1);
        audioTrack(sequence, 2);
    }
    for (const Marker& each : sequence.markers)
        marker(each);
}

void ExportWriter::browserClip(const BrowserClip& clip) {
    const Media& media = project_.media[clip.media];
    const auto element = xml_.element("clip", "id", idOf(media.masterClip, clip.name));
    xml_.leaf("uuid", clip.uuid);
    xml_.leaf("updatebehavior", "add");
    xml_.leaf("name", clip.name);
    xml_.leaf("duration", media.frames);
    rate();
    xml_.leaf("in", -1);
    xml_.leaf("out", -1);
    xml_.leaf("masterclipid", idOf(media.masterClip, clip.name));
    xml_.leaf("ismasterclip", "TRUE");
    loggingInfo(clip.note);
    {
        const auto mediaElement = xml_.element("media");
        const auto video = xml_.element("video");
        const auto track = xml_.element("track");
        const auto item = xml_.element("clipitem", "id", idOf(clip.item, clip.name));
        xml_.leaf("name", clip.name);
        xml_.leaf("duration", media.frames);
        rate();
        xml_.leaf("start", 0);
        xml_.leaf("end", media.frames);
        xml_.leaf("enabled", "TRUE");
        file(media);
    }
    for (const Marker& each : clip.markers)
        marker(each);
}

void ExportWriter::bin(const Bin& bin) {
    const auto element = xml_.element("bin");
    xml_.leaf("uuid", bin.uuid);
    xml_.leaf("updatebehavior", "add");
    xml_.leaf("name", bin.name);
    const auto children = xml_.element("children");
    for (const BrowserClip& clip : bin.clips)
        browserClip(clip);
    for (const Bin& below : bin.bins)
        this->bin(below);
    for (const Sequence& each : bin.sequences)
        sequence(each);
}

template <typename NextBin>
std::string ExportWriter::write(NextBin nextBin) {
    xml_.prologue("<?xml version=\"1.0\" encoding=\"UTF-8\"?>");
    xml_.prologue("<!DOCTYPE xmeml>");
    {
        const auto root = xml_.element("xmeml", "version", "5");
        const auto projectElement = xml_.element("project");
        xml_.leaf("name", project_.name);
        const auto children = xml_.element("children");
        while (const Bin* next = nextBin())
            bin(*next);
    }
    return xml_.take();
}

std::string written(const Project& project) {
    ExportWriter writer(project);
    std::size_t at = 0;
    return writer.write([&] { return at < project.bins.size() ? &project.bins[at++] : nullptr; });
}

} // namespace

ExportPair generateExports(std::uint64_t seed, std::size_t sizeInBytes, std::size_t editCount,
                           Edits edits) {
    // Sequences as long as the project has room for, up to the length of a programme's reel.
    ProjectBuilder builder(seed, std::clamp<std::size_t>(sizeInBytes / 50'000, 2, 100));
    Project project{"Documentary", {}, {}};
    ExportWriter writer(project);
    ExportPair exports;
    exports.base = writer.write([&]() -> const Bin* {
        if (writer.size() >= sizeInBytes)
            return nullptr;
        project.bins.push_back(builder.makeBin(project));
        return &project.bins.back();
    });
    builder.edit(project, editCount, edits);
    exports.next = written(project);
    return exports;
}

} // namespace cutstack::bench
