#include "support/StrictXml.h"

#include <cstring>
#include <iconv.h>
#include <limits>
#include <memory>
#include <vector>

#include <libxml/parser.h>
#include <libxml/parserInternals.h>

namespace cutstack {

namespace {

/// How many start tags pass between two reports of the position.
constexpr unsigned kTagsBetweenReports = 1024;

/// How many declarations of name spaces may be in force, counted as the parser does: two each.
constexpr int kMostNameSpaces = 2 * 1000;

std::string_view viewOf(const xmlChar* text) {
    return text == nullptr ? std::string_view() : reinterpret_cast<const char*>(text);
}

/// The first line of a message; some have a second one with raw bytes.
std::string_view firstLine(const char* message) {
    const std::string_view text = message == nullptr ? "unknown error" : message;
    return text.substr(0, text.find('\n'));
}

/// One reading: libxml2's parser, whose callbacks arrive here as members.
class Reading {
public:
    Reading(const std::string& bytes, XmlEvents& events, std::atomic<std::uint64_t>* bytesRead)
        : bytes_(bytes), events_(events), bytesRead_(bytesRead) {}

    std::optional<XmlError> run();

private:
    static Reading& of(void* self) { return *static_cast<Reading*>(self); }
    static xmlSAXHandler handlers();

    void start(const xmlChar* localName, const xmlChar* prefix, int namespaceCount,
               const xmlChar** namespaces, int attributeCount, const xmlChar** attributes);
    void collectAttributes(int namespaceCount, const xmlChar** namespaces, int attributeCount,
                           const xmlChar** attributes);
    void reportPosition();
    void raised(const xmlError& error);
    void refuse(std::string message);

    const std::string& bytes_;
    XmlEvents& events_;
    std::atomic<std::uint64_t>* bytesRead_;
    xmlParserCtxt* parser_ = nullptr;
    unsigned tags_ = 0;
    std::vector<XmlAttribute> attributes_;
    std::optional<XmlError> fault_;
};

xmlSAXHandler Reading::handlers() {
    xmlSAXHandler sax{};
    sax.initialized = XML_SAX2_MAGIC;
    sax.internalSubset = [](void* self, const xmlChar* name, const xmlChar* publicId,
                            const xmlChar* systemId) {
        of(self).events_.documentType(viewOf(name), viewOf(publicId), viewOf(systemId));
    };
    sax.startElementNs = [](void* self, const xmlChar* localName, const xmlChar* prefix,
                            const xmlChar*, int namespaceCount, const xmlChar** namespaces,
                            int attributeCount, int defaulted, const xmlChar** attributes) {
        // Attributes that only a document type supplies are nothing that the document says.
        of(self).start(localName, prefix, namespaceCount, namespaces, attributeCount - defaulted,
                       attributes);
    };
    sax.endElementNs = [](void* self, const xmlChar*, const xmlChar*, const xmlChar*) {
        of(self).events_.endElement();
    };
    sax.characters = [](void* self, const xmlChar* piece, int length) {
        of(self).events_.text(
            {reinterpret_cast<const char*>(piece), static_cast<std::size_t>(length)});
    };
    sax.ignorableWhitespace = sax.characters;
    sax.cdataBlock = sax.characters;
    sax.entityDecl = [](void* self, const xmlChar* name, int, const xmlChar*, const xmlChar*,
                        xmlChar*) {
        of(self).refuse("entity '" + std::string(viewOf(name)) + "' is declared");
    };
    // Defaults of attributes are multiplied by the elements, and checking them takes for ever.
    sax.attributeDecl = [](void* self, const xmlChar* element, const xmlChar*, int, int,
                           const xmlChar*, xmlEnumerationPtr values) {
        xmlFreeEnumeration(values);
        of(self).refuse("attributes of '" + std::string(viewOf(element)) + "' are declared");
    };
    sax.reference = [](void* self, const xmlChar* name) {
        of(self).refuse("entity '" + std::string(viewOf(name)) + "' is not defined");
    };
    sax.serror = [](void* self, xmlErrorPtr error) { of(self).raised(*error); };
    return sax;
}

void Reading::collectAttributes(int namespaceCount, const xmlChar** namespaces, int attributeCount,
                                const xmlChar** attributes) {
    attributes_.clear();
    // Two pointers a declaration: prefix and name space.
    for (const xmlChar** end = namespaces + std::ptrdiff_t{2} * namespaceCount; namespaces != end;
         namespaces += 2) {
        const bool isDefault = namespaces[0] == nullptr;
        attributes_.push_back({isDefault ? "" : "xmlns",
                               isDefault ? "xmlns" : viewOf(namespaces[0]), viewOf(namespaces[1])});
    }
    // Five pointers an attribute: local name, prefix, namespace, begin and end of the value.
    for (int i = 0; i < attributeCount; ++i) {
        const xmlChar** field = attributes + std::ptrdiff_t{5} * i;
        const auto* value = reinterpret_cast<const char*>(field[3]);
        attributes_.push_back({viewOf(field[1]),
                               viewOf(field[0]),
                               {value, static_cast<std::size_t>(field[4] - field[3])}});
    }
}

void Reading::start(const xmlChar* localName, const xmlChar* prefix, int namespaceCount,
                    const xmlChar** namespaces, int attributeCount, const xmlChar** attributes) {
    if (tags_++ % kTagsBetweenReports == 0)
        reportPosition();
    // Each prefix is looked up among all that are in force.
    if (parser_->nsNr > kMostNameSpaces) {
        refuse("too many name spaces are declared inside each other");
        return;
    }
    if (auto message = events_.refusal()) {
        refuse(*std::move(message));
        return;
    }
    collectAttributes(namespaceCount, namespaces, attributeCount, attributes);
    events_.startElement({viewOf(prefix), viewOf(localName), attributes_});
}

void Reading::reportPosition() {
    if (bytesRead_ != nullptr)
        bytesRead_->store(static_cast<std::uint64_t>(xmlByteConsumed(parser_)),
                          std::memory_order_relaxed);
}

void Reading::raised(const xmlError& error) {
    // A name space that nobody declared hurts nobody: names are compared as they are written.
    const bool isFault = error.level == XML_ERR_FATAL || error.code == XML_WAR_UNDECLARED_ENTITY;
    if (!isFault || fault_)
        return;
    fault_ = XmlError{std::string(firstLine(error.message)), error.line, error.int2};
    xmlStopParser(parser_);
}

void Reading::refuse(std::string message) {
    if (!fault_)
        fault_ = XmlError{std::move(message), xmlSAX2GetLineNumber(parser_),
                          xmlSAX2GetColumnNumber(parser_)};
    xmlStopParser(parser_);
}

std::optional<XmlError> Reading::run() {
    const std::unique_ptr<xmlParserCtxt, decltype(&xmlFreeParserCtxt)> parser(xmlNewParserCtxt(),
                                                                              &xmlFreeParserCtxt);
    if (parser == nullptr)
        return XmlError{"out of memory", 0, 0};
    parser_ = parser.get();
    *parser_->sax = handlers();
    parser_->userData = this;
    xmlCtxtUseOptions(parser_, XML_PARSE_NONET | XML_PARSE_HUGE | XML_PARSE_IGNORE_ENC);

    // An input without a buffer is read where it stands, so that texts are views into it.
    xmlParserInput* input = xmlNewInputStream(parser_);
    if (input == nullptr)
        return XmlError{"out of memory", 0, 0};
    input->base = input->cur = reinterpret_cast<const xmlChar*>(bytes_.data());
    input->end = input->base + bytes_.size();
    input->length = static_cast<int>(bytes_.size());
    inputPush(parser_, input);

    xmlParseDocument(parser_);
    // A declaration makes the parser begin a document for it, which nobody else frees.
    xmlFreeDoc(parser_->myDoc);
    parser_->myDoc = nullptr;
    if (!fault_ && parser_->wellFormed == 0)
        fault_ = XmlError{"the document is not well-formed", 0, 0};
    if (!fault_ && bytesRead_ != nullptr)
        bytesRead_->store(bytes_.size(), std::memory_order_relaxed);
    return fault_;
}

/// Line and column of a byte, both from 1.
XmlError errorAt(std::string message, std::string_view bytes, std::size_t offset) {
    XmlError error{std::move(message), 1, 1};
    for (const char byte : bytes.substr(0, offset)) {
        ++error.column;
        if (byte == '\n') {
            ++error.line;
            error.column = 1;
        }
    }
    return error;
}

/// How many attributes the start tag at `tag` seems to have.
std::size_t attributesAt(std::string_view tag) {
    std::size_t count = 0;
    char quote = 0;
    for (const char c : tag) {
        if (quote != 0)
            quote = c == quote ? '\0' : quote;
        else if (c == '"' || c == '\'')
            quote = c;
        else if (c == '>')
            break;
        else
            count += c == '=' ? 1U : 0U;
    }
    return count;
}

/// A tag with very many attributes, if there is one. The parser looks each attribute up among all
/// others of the tag, so a small document of one such tag would keep it busy for hours.
///
/// No "<" stands in a tag but the first, and so many attributes take some space: only the gaps
/// between two "<" that are longer than that are looked into. (A text that reads like such a tag
/// in a CDATA section is refused with it.)
std::optional<XmlError> attributeFlood(std::string_view bytes) {
    constexpr std::size_t kMostAttributes = 1000;
    constexpr std::size_t kLeastGap = kMostAttributes * std::string_view("a=''").size();
    for (std::size_t at = bytes.find('<'); at != std::string_view::npos;) {
        const std::size_t last = bytes.substr(0, at + kLeastGap).rfind('<');
        if (last != at) {
            at = last;
            continue;
        }
        if (attributesAt(bytes.substr(at + 1)) > kMostAttributes)
            return errorAt("the element has more than 1000 attributes", bytes, at);
        at = bytes.find('<', at + 1);
    }
    return std::nullopt;
}

const char* utf16Encoding(std::string_view bytes) {
    if (bytes.starts_with("\xFF\xFE"))
        return "UTF-16LE";
    if (bytes.starts_with("\xFE\xFF"))
        return "UTF-16BE";
    return nullptr;
}

} // namespace

std::string XmlError::description() const {
    if (line == 0)
        return message;
    return "line " + std::to_string(line) + ", column " + std::to_string(column) + ": " + message;
}

std::optional<XmlError> convertXmlToUtf8(std::string& bytes) {
    const char* encoding = utf16Encoding(bytes);
    if (encoding == nullptr)
        return std::nullopt;
    iconv_t converter = iconv_open("UTF-8", encoding);
    if (converter == iconv_t(-1)) // NOLINT(performance-no-int-to-ptr): iconv's way to say no
        return XmlError{"UTF-16 cannot be read on this machine", 0, 0};
    // One UTF-16 unit of two bytes becomes at most three bytes.
    std::string utf8(bytes.size() / 2 * 3, '\0');
    char* in = bytes.data() + 2;
    std::size_t inLeft = bytes.size() - 2;
    char* out = utf8.data();
    std::size_t outLeft = utf8.size();
    const bool failed = iconv(converter, &in, &inLeft, &out, &outLeft) == static_cast<size_t>(-1);
    iconv_close(converter);
    utf8.resize(utf8.size() - outLeft);
    if (failed)
        return errorAt("the document is not valid UTF-16", utf8, utf8.size());
    bytes = std::move(utf8);
    return std::nullopt;
}

std::optional<XmlError> readStrictXml(const std::string& bytes, XmlEvents& events,
                                      std::atomic<std::uint64_t>* bytesRead) {
    static const bool initialised = (xmlInitParser(), true);
    static_cast<void>(initialised);
    if (bytes.empty())
        return XmlError{"the document is empty", 0, 0};
    if (bytes.size() >= static_cast<std::size_t>(std::numeric_limits<int>::max()))
        return XmlError{"the document is larger than 2 GB", 0, 0};
    // The parser takes a NUL for the end of its input and would not miss what follows.
    if (const auto nul = bytes.find('\0'); nul != std::string::npos)
        return errorAt("the document contains a NUL byte", bytes, nul);
    if (auto flood = attributeFlood(bytes))
        return flood;
    return Reading(bytes, events, bytesRead).run();
}

} // namespace cutstack
