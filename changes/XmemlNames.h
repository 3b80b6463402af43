#pragma once

// The element and attribute names that the comparison knows, as small integers. Every document
// numbers them alike; names that nobody knows get the numbers from XmemlName::firstUnknown on, in
// the order in which their document mentions them.

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace cutstack {

// The names of the first row are looked up below other elements; XmemlDocument keeps the places of
// their elements in lists of their own (see XmemlDocument::elementsNamed).
// clang-format off
#define CUTSTACK_XMEML_NAMES(X)                                                                    \
    X(uuid)                                                                                        \
    X(itemhistory)                                                                                 \
    X(name)                                                                                        \
    X(start)                                                                                       \
    X(in)                                                                                          \
    X(pathurl) X(marker) X(multiclip) X(subclipinfo) X(stillframeoffset) X(alignment) X(alphatype) \
        X(angle) X(audio) X(bin) X(children) X(clip) X(clipitem) X(codec) X(comment) X(data)       \
            X(displayformat) X(duration) X(effect) X(effectcategory) X(effectid) X(effecttype)     \
                X(enabled) X(end) X(endoffset) X(fielddominance) X(file) X(filter) X(frame)        \
                    X(generatoritem) X(height) X(id) X(ismasterclip) X(keyframe) X(link)           \
                        X(linkclipref) X(masterclipid) X(media) X(mediadelay) X(mediatype) X(ntsc) \
                            X(out) X(outputchannelindex) X(pixelaspectratio) X(privatestate)       \
                                X(project) X(rate) X(sequence) X(startoffset) X(timebase)          \
                                    X(timecode) X(track) X(trackindex) X(transitionitem) X(value)  \
                                        X(video) X(width) X(xmeml)
// clang-format on

/// `none` is the name of a text, of the document itself and of a missing node.
enum class XmemlName : std::uint32_t {
    none,
#define CUTSTACK_NAME(name) name,
    CUTSTACK_XMEML_NAMES(CUTSTACK_NAME)
#undef CUTSTACK_NAME
        firstUnknown
};

inline constexpr std::array kXmemlNameTexts = {
#define CUTSTACK_NAME(name) std::string_view(#name),
    CUTSTACK_XMEML_NAMES(CUTSTACK_NAME)
#undef CUTSTACK_NAME
};
#undef CUTSTACK_XMEML_NAMES

inline constexpr std::size_t kIndexedNames = static_cast<std::size_t>(XmemlName::stillframeoffset);

static_assert(kXmemlNameTexts.size() + 1 == static_cast<std::size_t>(XmemlName::firstUnknown));

/// Whether `name` is one of `names`.
template <std::size_t N>
[[nodiscard]] constexpr bool contains(const std::array<XmemlName, N>& names, XmemlName name) {
    for (const XmemlName candidate : names)
        if (candidate == name)
            return true;
    return false;
}

} // namespace cutstack
