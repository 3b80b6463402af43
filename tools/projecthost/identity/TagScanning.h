#pragma once

// Where the tags of a document stand in its bytes. For documents that a strict reader has accepted:
// nothing is checked again, and what is not well-formed gives tags that mean nothing, but no access
// beyond the bytes. Pure; any thread.

#include <cstddef>
#include <optional>
#include <string_view>

namespace cutstack::projecthost {

/// A part of the bytes, from `begin` up to `end`.
struct Span {
    std::size_t begin = 0;
    std::size_t end = 0;
};

struct StartTag {
    Span whole;              ///< from "<" to behind ">"
    std::size_t nameEnd = 0; ///< behind the element name
    bool isEmpty = false;    ///< ends with "/>"
};

/// Goes through the start tags of a document, in document order: those of elements only, not what
/// looks like one in comments, CDATA sections, instructions or the document type.
class TagScanner {
public:
    explicit TagScanner(std::string_view bytes) : bytes_(bytes) {}

    /// The next start tag; nothing at the end.
    [[nodiscard]] std::optional<StartTag> next();

private:
    void skipPast(std::string_view mark);
    void skipDocumentType();

    std::string_view bytes_;
    std::size_t at_ = 0;
};

/// The value of an attribute of a tag, without its quotes; nothing when the tag does not have it.
[[nodiscard]] std::optional<Span> attributeValue(std::string_view bytes, const StartTag& tag,
                                                 std::string_view name);

} // namespace cutstack::projecthost
