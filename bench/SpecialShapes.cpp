#include "bench/SpecialShapes.h"

#include "bench/XmlWriter.h"

#include <array>
#include <string>

namespace cutstack::bench {

namespace {

std::string numbered(std::string_view text, std::size_t number) {
    return std::string(text) + " " + std::to_string(number);
}

void rate(XmlWriter& xml) {
    const auto element = xml.element("rate");
    xml.leaf("timebase", 25);
    xml.leaf("ntsc", "FALSE");
}

template <typename Contents>
std::string projectWith(Contents contents, Indentation indentation = Indentation::tabs) {
    XmlWriter xml(indentation);
    {
        const auto root = xml.element("xmeml", "version", "5");
        const auto project = xml.element("project");
        xml.leaf("name", "Project");
        const auto children = xml.element("children");
        contents(xml);
    }
    return xml.take();
}

/// A sequence with one video track, which holds what `items` writes.
template <typename Items>
void sequenceWith(XmlWriter& xml, Items items) {
    const auto sequence = xml.element("sequence", "id", "Cut");
    xml.leaf("uuid", "cut");
    xml.leaf("name", "Cut");
    rate(xml);
    const auto media = xml.element("media");
    const auto video = xml.element("video");
    const auto track = xml.element("track");
    items();
    xml.leaf("enabled", "TRUE");
}

/// What a clip of the new export may have otherwise than its counterpart.
struct ClipValues {
    int shift = 0;
    std::string_view enabled = "TRUE";
    std::string_view unknownValue = "FALSE";
};

void clipitem(XmlWriter& xml, std::size_t number, const ClipValues& values = {}) {
    const auto start = static_cast<std::int64_t>(number) * 25;
    const auto element = xml.element("clipitem", "id", numbered("Clip", number));
    xml.leaf("name", numbered("Clip", number));
    rate(xml);
    xml.leaf("in", 100 + values.shift);
    xml.leaf("out", 125 + values.shift);
    xml.leaf("start", start);
    xml.leaf("end", start + 25);
    xml.leaf("enabled", values.enabled);
    xml.leaf("anamorphic", values.unknownValue);
    const auto history = xml.element("itemhistory");
    xml.leaf("uuid", numbered("item", number));
}

void browserClip(XmlWriter& xml, std::size_t number) {
    const auto element = xml.element("clip", "id", numbered("Browser clip", number));
    xml.leaf("uuid", numbered("clip", number));
    xml.leaf("name", numbered("Browser clip", number));
    xml.leaf("duration", 1000);
    rate(xml);
}

/// A bin and a track of `count` clips each. With the others, it is twice as many: every second one
/// of the bin, the second half of the track.
std::string clips(std::size_t count, bool withOthers) {
    return projectWith([&](XmlWriter& xml) {
        {
            const auto bin = xml.element("bin");
            xml.leaf("uuid", "bin");
            xml.leaf("name", "Clips");
            const auto children = xml.element("children");
            for (std::size_t i = 0; i < 2 * count; ++i)
                if (withOthers || i % 2 == 0)
                    browserClip(xml, i);
        }
        sequenceWith(xml, [&] {
            for (std::size_t i = 0; i < (withOthers ? 2 * count : count); ++i)
                clipitem(xml, i);
        });
    });
}

ExportPair removedClips(std::size_t count) { return {clips(count, true), clips(count, false)}; }
ExportPair addedClips(std::size_t count) { return {clips(count, false), clips(count, true)}; }

/// Every clip of a long track changed, also in an element that no sentence is made for.
ExportPair changedTrack(std::size_t count) {
    const auto track = [count](const ClipValues& values) {
        return projectWith([&](XmlWriter& xml) {
            sequenceWith(xml, [&] {
                for (std::size_t i = 0; i < count; ++i)
                    clipitem(xml, i, values);
            });
        });
    };
    return {track({}), track({12, "FALSE", "TRUE"})};
}

/// A clip inserted at the head of a long track: every clip is laid beside the one before it.
ExportPair shiftedTrack(std::size_t count) {
    const auto track = [count](bool withInsertion) {
        return projectWith([&](XmlWriter& xml) {
            sequenceWith(xml, [&] {
                if (withInsertion)
                    clipitem(xml, count);
                for (std::size_t i = 0; i < count; ++i)
                    clipitem(xml, i);
            });
        });
    };
    return {track(false), track(true)};
}

/// Half of the markers of a sequence replaced by others, and as many again added.
ExportPair markers(std::size_t count) {
    const auto sequence = [](std::size_t first, std::size_t end) {
        return projectWith([&](XmlWriter& xml) {
            const auto element = xml.element("sequence", "id", "Cut");
            xml.leaf("uuid", "cut");
            for (std::size_t i = first; i < end; ++i) {
                const auto marker = xml.element("marker");
                xml.leaf("name", numbered("Marker", i));
                xml.leaf("in", static_cast<std::int64_t>(i));
            }
            xml.leaf("duration", 1000);
        });
    };
    return {sequence(0, count), sequence(count / 2, count / 2 + 2 * count)};
}

/// How one export of a nest of bins is made.
struct Nest {
    std::size_t depth = 0;
    std::string_view clipUuids = "clip";
    std::string_view binUuids = "bin";
    std::string_view origin = "origin"; ///< the UUID of the innermost clip
    std::string_view unknownValue = "FALSE";
    bool clipsStandFirst = true;
};

void nestedClip(XmlWriter& xml, const Nest& nest, std::size_t level) {
    const auto clip = xml.element("clip");
    xml.leaf("name", numbered("Clip", level));
    xml.leaf("anamorphic", nest.unknownValue);
    const auto history = xml.element("itemhistory");
    xml.leaf("uuid",
             level + 1 == nest.depth ? std::string(nest.origin) : numbered(nest.clipUuids, level));
}

/// Bins that each hold a clip and the next bin.
void nestedBins(XmlWriter& xml, const Nest& nest, std::size_t level = 0) {
    if (level == nest.depth)
        return;
    const auto bin = xml.element("bin");
    xml.leaf("uuid", numbered(nest.binUuids, level));
    xml.leaf("name", numbered("Bin", level));
    const auto children = xml.element("children");
    if (nest.clipsStandFirst)
        nestedClip(xml, nest, level);
    nestedBins(xml, nest, level + 1);
    if (!nest.clipsStandFirst)
        nestedClip(xml, nest, level);
}

std::string projectWithNest(const Nest& nest) {
    return projectWith([&](XmlWriter& xml) { nestedBins(xml, nest); }, Indentation::none);
}

ExportPair changedBins(std::size_t depth) {
    return {projectWithNest({.depth = depth}),
            projectWithNest({.depth = depth, .unknownValue = "TRUE"})};
}
ExportPair addedBins(std::size_t depth) {
    return {projectWithNest({.depth = 1}),
            projectWithNest({.depth = depth, .origin = "new origin"})};
}
ExportPair removedBins(std::size_t depth) {
    return {projectWithNest({.depth = depth}), projectWithNest({.depth = 1})};
}

/// Bins whose UUIDs all changed, around clips whose histories are searched for one that is known:
/// only the innermost has it.
ExportPair renewedBins(std::size_t depth) {
    return {projectWithNest({.depth = depth}), projectWithNest({.depth = depth,
                                                                .clipUuids = "new clip",
                                                                .binUuids = "new bin",
                                                                .clipsStandFirst = false})};
}

/// A value in the innermost of elements that hold nothing but the next one: the text of the
/// innermost is the text of each.
ExportPair wrappedValue(std::size_t depth) {
    const auto wrapped = [depth](std::string_view end) {
        std::string text = "<xmeml><project><name>Project</name>";
        for (std::size_t i = 0; i < depth; ++i)
            text += "<value>";
        text.append(10'000, 'x') += end;
        for (std::size_t i = 0; i < depth; ++i)
            text += "</value>";
        return text += "</project></xmeml>";
    };
    return {wrapped("a"), wrapped("b")};
}

} // namespace

std::span<const SpecialShape> specialShapes() {
    static constexpr std::array kShapes = {
        SpecialShape{"RemovedClips", 10'000, removedClips},
        SpecialShape{"AddedClips", 10'000, addedClips},
        SpecialShape{"ChangedTrack", 50'000, changedTrack},
        SpecialShape{"ShiftedTrack", 50'000, shiftedTrack},
        SpecialShape{"Markers", 10'000, markers},
        SpecialShape{"ChangedBins", 5'000, changedBins},
        SpecialShape{"AddedBins", 5'000, addedBins},
        SpecialShape{"RemovedBins", 5'000, removedBins},
        SpecialShape{"RenewedBins", 5'000, renewedBins},
        SpecialShape{"WrappedValue", 5'000, wrappedValue},
    };
    return kShapes;
}

} // namespace cutstack::bench
