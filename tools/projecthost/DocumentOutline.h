#pragma once

// Where the items of an XMEML document stand in its bytes, so that parts of it can be copied as
// they are: white space, comments and attributes included. For documents that a strict reader has
// accepted; what is not well-formed gives places that mean nothing, but no access beyond the bytes.
//
// The elements that matter are one array in document order, so that the subtree of an element is a
// run of it; depth costs nothing. Pure; any thread.

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace cutstack::projecthost {

enum class OutlineKind : std::uint8_t {
    xmeml,
    project,
    children,
    bin,
    sequence,
    clip,
    clipitem,
    generatoritem,
    transitionitem,
    multiclip,
    file,
    uuid,
    name,
    reference ///< a text that names an id: `linkclipref`, `masterclipid`, `subclipmasterid`
};

using OutlineIndex = std::uint32_t;
inline constexpr OutlineIndex kNoOutlineIndex = 0xFFFFFFFF;

struct OutlineElement {
    OutlineKind kind = OutlineKind::xmeml;
    bool isEmpty = true;                   ///< white space only
    OutlineIndex parent = kNoOutlineIndex; ///< the element that it stands in, if that matters too
    OutlineIndex subtreeEnd = 0;           ///< the first element behind it and all that it holds
    std::size_t begin = 0;                 ///< of the start tag
    std::size_t contentBegin = 0;
    std::size_t contentEnd = 0; ///< where the end tag begins; `end` for an empty-element tag
    std::size_t end = 0;
};

class DocumentOutline {
public:
    /// `document` outlives this. Documents have at most 2 GB.
    explicit DocumentOutline(std::string_view document);

    [[nodiscard]] const std::vector<OutlineElement>& elements() const { return elements_; }
    [[nodiscard]] std::string_view document() const { return document_; }

    /// The root, when it is an `xmeml`.
    [[nodiscard]] const OutlineElement* root() const;

    /// Everything from the start tag to the end tag, or only what is between them.
    [[nodiscard]] std::string_view textOf(const OutlineElement& element) const;
    [[nodiscard]] std::string_view contentOf(const OutlineElement& element) const;

    /// An attribute's value as it stands in the tag, escapes included.
    [[nodiscard]] std::optional<std::string_view> attributeOf(const OutlineElement& element,
                                                              std::string_view name) const;

    /// The first child of that kind.
    [[nodiscard]] std::optional<OutlineIndex> childOf(OutlineIndex parent, OutlineKind kind) const;

    /// The UUID of a sequence, clip or bin, in small letters and without white space around it;
    /// empty where it has none.
    [[nodiscard]] std::string uuidOf(OutlineIndex item) const;

private:
    void read();

    std::string_view document_;
    std::vector<OutlineElement> elements_;
};

/// Whether elements of that kind are written in full once, and as empty references elsewhere.
[[nodiscard]] constexpr bool mayBeReference(OutlineKind kind) {
    return kind >= OutlineKind::sequence && kind <= OutlineKind::file;
}

/// Whether an item of that kind can be asked for by its UUID.
[[nodiscard]] constexpr bool isBrowserItem(OutlineKind kind) {
    return kind >= OutlineKind::bin && kind <= OutlineKind::clip;
}

/// `text` without white space around it, in small letters: UUIDs are compared without regard to
/// case.
[[nodiscard]] std::string comparableUuid(std::string_view text);

} // namespace cutstack::projecthost
