#pragma once

// Strict reading of XML that comes from anywhere: exports of editors, property lists of other
// programs. readStrictXml() walks one document from start to end and hands its elements and texts
// to an XmlEvents; it builds no tree and never recurses, so depth and size are bounded by the
// input alone. Nothing is fetched and no entity is declared or expanded: a document that declares
// or uses one is refused, and so is everything that is not well-formed XML 1.0.
//
// Any thread may read; one call uses nothing that is shared with another.

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace cutstack {

/// Why a document was refused, and where. Line and column count from 1; both are 0 when the
/// fault has no place in the text (an empty document, for one).
struct XmlError {
    std::string message;
    int line = 0;
    int column = 0;

    /// "line 3, column 14: message", or only the message when there is no place.
    [[nodiscard]] std::string description() const;
};

/// One attribute of a start tag; an `xmlns` declaration counts as one.
struct XmlAttribute {
    std::string_view prefix; ///< empty when the name has none
    std::string_view localName;
    std::string_view value;
};

/// A start tag. The views hold until XmlEvents::startElement returns, except that a view into the
/// bytes that are being read holds as long as those bytes do. `localName` is the same pointer for
/// the same name throughout one reading, which makes it a cheap key.
struct XmlStartTag {
    std::string_view prefix;
    std::string_view localName;
    std::span<const XmlAttribute> attributes;
};

/// What a reader of XML is told. Calls come in document order, on the thread of the reading.
class XmlEvents {
public:
    virtual ~XmlEvents() = default;

    /// The document type declaration, when there is one; comes before the first start tag. An
    /// identifier that it lacks is empty.
    virtual void documentType(std::string_view /*name*/, std::string_view /*publicId*/,
                              std::string_view /*systemId*/) {}

    virtual void startElement(const XmlStartTag& tag) = 0;
    virtual void endElement() = 0;

    /// A piece of text or CDATA. Adjacent text may come in several pieces.
    virtual void text(std::string_view piece) = 0;

    /// Polled at every start tag: a message ends the reading there, with that message as its error.
    virtual std::optional<std::string> refusal() { return std::nullopt; }
};

/// Makes the bytes of an XML document UTF-8: UTF-16 with a byte-order mark is converted in place,
/// other bytes stay as they are.
/// On failure (UTF-16 that is cut off or has a lone surrogate) returns why; `bytes` is unchanged.
[[nodiscard]] std::optional<XmlError> convertXmlToUtf8(std::string& bytes);

/// Reads the UTF-8 document `bytes` (at most 2 GB) into `events`. Texts and attribute values that
/// stand in the document as they are read come as views into `bytes`; what the document says of
/// its encoding is not consulted.
///
/// `bytesRead`, when given, is raised to the position of the reading as it goes on, for a progress
/// display on another thread.
/// Returns nothing on success, else the first fault; the events up to the fault have been sent.
[[nodiscard]] std::optional<XmlError>
readStrictXml(const std::string& bytes, XmlEvents& events,
              std::atomic<std::uint64_t>* bytesRead = nullptr);

} // namespace cutstack
