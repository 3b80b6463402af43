#include "tests/tools/projecthost/TimelineSeries.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <map>
#include <regex>

namespace cutstack::projecthost {

namespace {

constexpr int kMediumFrames = 2000;

std::string mediumName(std::size_t medium) { return "Shot " + std::to_string(medium) + ".mov"; }

std::string leaf(const char* name, const std::string& text) {
    return std::string("<") + name + ">" + text + "</" + name + ">\n";
}
std::string leaf(const char* name, int number) { return leaf(name, std::to_string(number)); }

std::string uuidOf(int serial) {
    std::array<char, 40> text{};
    std::snprintf(text.data(), text.size(), "00000000-0000-4000-8000-%012d", serial);
    return text.data();
}

int lengthOf(const std::vector<TimelineClip>& track) {
    return track.empty() ? 0 : track.back().end();
}

} // namespace

TimelineSeries::TimelineSeries(const SeriesKind& kind, std::uint64_t seed)
    : kind_(kind), random_(seed), tracks_(2) {
    for (std::size_t i = 0; i < kind.clips; ++i) {
        auto& track = tracks_[i % 4 == 3 ? 1 : 0];
        TimelineClip clip = makeClip();
        clip.start = lengthOf(track) + (random_.oneIn(3) ? random_.between(1, 60) : 0);
        track.push_back(clip);
    }
}

/// Now and then the very frames that another clip shows.
TimelineClip TimelineSeries::makeClip() {
    TimelineClip clip;
    clip.serial = nextSerial_++;
    clip.medium = random_.below(kind_.media);
    clip.in = random_.between(0, kMediumFrames - 400);
    clip.out = clip.in + random_.between(20, 300);
    if (const auto& track = tracks_[0]; !track.empty() && random_.oneIn(8)) {
        const TimelineClip& model = track[random_.below(track.size())];
        clip.medium = model.medium;
        clip.in = model.in;
        clip.out = model.out;
    }
    clip.name = kind_.sharesNames ? mediumName(clip.medium) : "Take " + std::to_string(clip.serial);
    return clip;
}

TimelineSeries::Clips& TimelineSeries::someTrack() {
    return tracks_[tracks_[1].size() > 4 && random_.oneIn(4) ? 1 : 0];
}

void TimelineSeries::insert(Clips& track, std::size_t at, TimelineClip clip, bool ripple) {
    const int length = clip.end() - clip.start;
    if (ripple)
        for (std::size_t i = at; i < track.size(); ++i)
            track[i].start += length;
    track.insert(track.begin() + static_cast<std::ptrdiff_t>(at), std::move(clip));
}

void TimelineSeries::addClip(Clips& track) {
    TimelineClip clip = makeClip();
    if (!removed_.empty() && random_.oneIn(4)) {
        clip = removed_.back();
        removed_.pop_back();
    }
    const std::size_t at = kind_.inPlaceOnly ? track.size() : random_.below(track.size() + 1);
    clip.start = at == 0 ? 0 : track[at - 1].end();
    insert(track, at, clip, true);
}

void TimelineSeries::remove(Clips& track, std::size_t at) {
    at = kind_.inPlaceOnly ? track.size() - 1 : at;
    const int length = track[at].end() - track[at].start;
    removed_.push_back(track[at]);
    track.erase(track.begin() + static_cast<std::ptrdiff_t>(at));
    if (random_.oneIn(2))
        for (; at < track.size(); ++at)
            track[at].start -= length;
}

void TimelineSeries::trim(Clips& track, std::size_t at) {
    TimelineClip& clip = track[at];
    const int most = (clip.out - clip.in) / 3;
    if (most < 1)
        return;
    const int frames = random_.between(1, most);
    switch (random_.below(3)) {
    case 0: // the head, in place
        clip.in += frames;
        clip.start += frames;
        break;
    case 1: // the tail
        clip.out -= frames;
        break;
    default: // the frames within the clip
        clip.in += frames;
        clip.out += frames;
    }
}

/// Along the timeline to where there is room, or to the end.
void TimelineSeries::move(Clips& track, std::size_t at) {
    TimelineClip clip = track[at];
    const int limit = at + 1 < track.size() ? track[at + 1].start : clip.end() + 50;
    if (limit > clip.end() || kind_.inPlaceOnly) {
        track[at].start += (limit - clip.end() + 1) / 2;
        return;
    }
    track.erase(track.begin() + static_cast<std::ptrdiff_t>(at));
    clip.start = lengthOf(track);
    track.push_back(clip);
}

void TimelineSeries::edit(Clips& track) {
    const std::size_t at = random_.below(track.size());
    switch (random_.below(10)) {
    case 0:
    case 1:
        return addClip(track);
    case 2:
        return remove(track, at);
    case 3:
    case 4:
        return move(track, at);
    case 5:
        track[at].name += " B";
        return;
    case 6:
        track[at].enabled = !track[at].enabled;
        return;
    default:
        return trim(track, at);
    }
}

void TimelineSeries::edit() {
    for (std::size_t i = 0; i < kind_.editsPerSave; ++i)
        edit(someTrack());
    if (removed_.size() > 3)
        removed_.erase(removed_.begin());
}

std::string TimelineSeries::idOf(const std::string& prefix, const std::string& name, int serial,
                                 Identities identities) {
    if (identities == Identities::true_)
        return prefix + "=" + std::to_string(serial);
    // One id for one thing of this export.
    const std::string key = prefix + std::to_string(serial);
    for (const auto& [known, id] : ids_)
        if (known == key)
            return id;
    std::string id = prefix + "-" + std::to_string(counter_);
    if (kind_.numbering == Numbering::nameAndCounter)
        id = name + " " + std::to_string(std::ranges::count_if(ids_, [&](const auto& other) {
                 return other.second.starts_with(name + " ");
             }));
    ++counter_;
    ids_.emplace_back(key, id);
    return id;
}

void TimelineSeries::writeFile(std::string& xml, std::size_t medium, Identities identities) {
    const std::string name = mediumName(medium);
    const std::string id = idOf("file", name, static_cast<int>(medium), identities);
    if (!written_.insert(medium).second) {
        xml += "<file id=\"" + id + "\"/>\n";
        return;
    }
    xml += "<file id=\"" + id + "\">\n" + leaf("name", name) +
           leaf("pathurl",
                "file://localhost/Volumes/Media/Shot%20" + std::to_string(medium) + ".mov") +
           leaf("duration", kMediumFrames) + "</file>\n";
}

void TimelineSeries::writeTrack(std::string& xml, const Clips& track, bool isVideo,
                                Identities identities) {
    xml += "<track>\n";
    for (const TimelineClip& clip : track) {
        const int serial = clip.serial * 2 + (isVideo ? 0 : 1);
        xml += "<clipitem id=\"" + idOf("clipitem", clip.name, serial, identities) + "\">\n";
        if (identities == Identities::true_)
            xml += leaf("uuid", uuidOf(serial));
        xml += leaf("masterclipid",
                    idOf("masterclip", "master", static_cast<int>(clip.medium), identities));
        xml += leaf("name", clip.name) + leaf("enabled", clip.enabled ? "TRUE" : "FALSE") +
               leaf("duration", kMediumFrames) + leaf("start", clip.start) +
               leaf("end", clip.end()) + leaf("in", clip.in) + leaf("out", clip.out);
        writeFile(xml, clip.medium, identities);
        for (const int linked : {clip.serial * 2, clip.serial * 2 + 1})
            xml += "<link>\n" +
                   leaf("linkclipref", idOf("clipitem", clip.name, linked, identities)) +
                   "</link>\n";
        xml += "</clipitem>\n";
    }
    xml += "<enabled>TRUE</enabled>\n<locked>FALSE</locked>\n</track>\n";
}

std::string TimelineSeries::write(Identities identities) {
    ids_.clear();
    written_.clear();
    if (kind_.numbering == Numbering::restarted)
        counter_ = 1;
    int length = 0;
    for (const Clips& track : tracks_)
        length = std::max(length, lengthOf(track));
    std::string xml = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<!DOCTYPE xmeml>\n"
                      "<xmeml version=\"5\">\n<sequence id=\"" +
                      idOf("sequence", "Reel", 0, identities) + "\">\n";
    if (identities == Identities::true_)
        xml += leaf("uuid", uuidOf(0));
    xml += leaf("name", "Reel") + leaf("duration", length) +
           "<rate>\n<timebase>25</timebase>\n<ntsc>FALSE</ntsc>\n</rate>\n<media>\n";
    for (const bool isVideo : {true, false}) {
        xml += isVideo ? "<video>\n" : "<audio>\n";
        for (const Clips& track : tracks_)
            writeTrack(xml, track, isVideo, identities);
        xml += isVideo ? "</video>\n" : "</audio>\n";
    }
    return xml + "</media>\n</sequence>\n</xmeml>\n";
}

std::vector<int> TimelineSeries::itemSerials() const {
    std::vector<int> serials;
    for (const int isSound : {0, 1})
        for (const Clips& track : tracks_)
            for (const TimelineClip& clip : track)
                serials.push_back(clip.serial * 2 + isSound);
    return serials;
}

std::set<NamedChange> TimelineSeries::changesSince(const TimelineSeries& before) const {
    std::map<int, const TimelineClip*> old;
    int oldLength = 0;
    for (const Clips& track : before.tracks_) {
        oldLength = std::max(oldLength, lengthOf(track));
        for (const TimelineClip& clip : track)
            old[clip.serial] = &clip;
    }
    std::set<NamedChange> changes;
    int length = 0;
    for (const Clips& track : tracks_) {
        length = std::max(length, lengthOf(track));
        for (const TimelineClip& clip : track) {
            const auto found = old.find(clip.serial);
            if (found == old.end()) {
                changes.emplace("added", clip.name + "/" + mediumName(clip.medium));
                continue;
            }
            const TimelineClip& was = *found->second;
            if (was.in != clip.in || was.out != clip.out || was.start != clip.start)
                changes.emplace("moved", clip.name);
            if (was.enabled != clip.enabled)
                changes.emplace("switched", clip.name);
            old.erase(found);
        }
    }
    for (const auto& [serial, clip] : old)
        changes.emplace("removed", clip->name);
    if (length != oldLength)
        changes.emplace("duration", "Reel sequence");
    return changes;
}

std::optional<NamedChange> parsedSentence(const std::string& sentence) {
    struct Form {
        std::regex pattern;
        const char* what;
    };
    static const auto& forms = *new std::vector<Form>{
        {std::regex("New (?:video |audio )?clip (.+) added.*"), "added"},
        {std::regex("New (?:video |audio )?clip added.*: (.+)"), "added"},
        {std::regex("Clip (.+) removed"), "removed"},
        {std::regex("(?:Start|End|In|Out) [Pp]oint of (?:video |audio )?clip (.+) changed from.*"),
         "moved"},
        {std::regex("Clip (.+) (?:enabled|disabled)"), "switched"},
        {std::regex("(.+) duration changed from.*"), "duration"},
    };
    if (sentence == "No change" || sentence == "No notable changes")
        return std::nullopt;
    std::smatch match;
    for (const Form& form : forms)
        if (std::regex_match(sentence, match, form.pattern))
            return NamedChange(form.what, match[1].str());
    return NamedChange("other", sentence);
}

} // namespace cutstack::projecthost
