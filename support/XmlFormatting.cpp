#include "support/XmlFormatting.h"

#include <memory>
#include <vector>

#include <libxml/xmlwriter.h>

#include "support/StrictXml.h"

namespace cutstack {

namespace {

const xmlChar* characters(const std::string& text) {
    return reinterpret_cast<const xmlChar*>(text.c_str());
}

std::string qualified(std::string_view prefix, std::string_view localName) {
    std::string name(prefix);
    if (!name.empty())
        name += ':';
    return name.append(localName);
}

bool isWhiteSpace(std::string_view text) {
    return text.find_first_not_of(" \t\r\n") == std::string_view::npos;
}

/// Deeper elements are not laid out: their indentation would soon outgrow the document.
constexpr std::size_t kDeepestLayout = 200;

/// Writes a document again as it is read.
class Formatter final : public XmlEvents {
public:
    /// Without `laysOut` every text is kept and nothing is put between elements.
    explicit Formatter(bool laysOut)
        : laysOut_(laysOut),
          buffer_(xmlBufferCreate(), &xmlBufferFree),
          writer_(xmlNewTextWriterMemory(buffer_.get(), 0), &xmlFreeTextWriter) {
        if (writer_ == nullptr)
            return;
        xmlBufferSetAllocationScheme(buffer_.get(), XML_BUFFER_ALLOC_DOUBLEIT);
        xmlTextWriterSetIndent(writer_.get(), laysOut ? 1 : 0);
        xmlTextWriterSetIndentString(writer_.get(), reinterpret_cast<const xmlChar*>("    "));
        check(xmlTextWriterStartDocument(writer_.get(), nullptr, "UTF-8", nullptr));
    }

    void documentType(std::string_view name, std::string_view publicId,
                      std::string_view systemId) override {
        const std::string type(name);
        const std::string publicText(publicId);
        const std::string systemText(systemId);
        // Identifiers cannot be escaped. A public one has no quotation mark, but may have an
        // apostrophe; the two are written in the same quotes, so that one with both is left out.
        const bool hasMark = systemId.find('"') != std::string_view::npos;
        const bool hasApostrophe = publicId.find('\'') != std::string_view::npos;
        check(xmlTextWriterSetQuoteChar(writer_.get(), hasMark ? '\'' : '"'));
        const bool isPublic = !publicId.empty() && !(hasMark && hasApostrophe);
        check(xmlTextWriterWriteDTD(writer_.get(), characters(type),
                                    isPublic ? characters(publicText) : nullptr,
                                    systemId.empty() ? nullptr : characters(systemText), nullptr));
        check(xmlTextWriterSetQuoteChar(writer_.get(), '"'));
        if (!laysOut_)
            check(xmlTextWriterWriteRaw(writer_.get(), reinterpret_cast<const xmlChar*>("\n")));
    }

    void startElement(const XmlStartTag& tag) override {
        if (!open_.empty()) {
            open_.back().hasElements = true;
            flushText();
        }
        check(xmlTextWriterStartElement(writer_.get(),
                                        characters(qualified(tag.prefix, tag.localName))));
        for (const XmlAttribute& attribute : tag.attributes)
            check(xmlTextWriterWriteAttribute(
                writer_.get(), characters(qualified(attribute.prefix, attribute.localName)),
                characters(std::string(attribute.value))));
        open_.emplace_back();
        isUnfit_ |= laysOut_ && open_.size() > kDeepestLayout;
    }

    void endElement() override {
        flushText();
        check(xmlTextWriterEndElement(writer_.get()));
        open_.pop_back();
    }

    void text(std::string_view piece) override { text_ += piece; }

    /// Elements beside text would be moved apart from it.
    std::optional<std::string> refusal() override {
        return isUnfit_ ? std::optional<std::string>("not to be laid out") : std::nullopt;
    }

    /// Whether laying the document out would change it, or make it far larger.
    [[nodiscard]] bool isUnfit() const { return isUnfit_; }

    /// The document; nothing when memory ran out.
    [[nodiscard]] std::optional<std::string> finish() {
        if (writer_ == nullptr)
            return std::nullopt;
        check(xmlTextWriterEndDocument(writer_.get()));
        check(xmlTextWriterFlush(writer_.get()));
        if (failed_)
            return std::nullopt;
        return std::string(reinterpret_cast<const char*>(xmlBufferContent(buffer_.get())),
                           static_cast<std::size_t>(xmlBufferLength(buffer_.get())));
    }

private:
    struct OpenElement {
        bool hasElements = false;
        bool hasText = false;
    };

    void flushText() {
        OpenElement& element = open_.back();
        const bool isLayout = laysOut_ && element.hasElements && isWhiteSpace(text_);
        if (!isLayout && !text_.empty()) {
            check(xmlTextWriterWriteString(writer_.get(), characters(text_)));
            element.hasText = true;
        }
        text_.clear();
        isUnfit_ |= laysOut_ && element.hasText && element.hasElements;
    }

    void check(int written) { failed_ |= written < 0; }

    const bool laysOut_;
    std::unique_ptr<xmlBuffer, decltype(&xmlBufferFree)> buffer_;
    std::unique_ptr<xmlTextWriter, decltype(&xmlFreeTextWriter)> writer_;
    std::vector<OpenElement> open_;
    std::string text_;
    bool isUnfit_ = false;
    bool failed_ = false;
};

} // namespace

std::optional<std::string> prettyPrintedXml(std::string document, std::string& error) {
    std::optional<XmlError> fault = convertXmlToUtf8(document);
    for (const bool laysOut : {true, false}) {
        if (fault)
            break;
        Formatter formatter(laysOut);
        fault = readStrictXml(document, formatter);
        if (formatter.isUnfit()) {
            fault.reset();
            continue;
        }
        if (fault)
            break;
        if (auto text = formatter.finish())
            return text;
        fault = XmlError{"out of memory", 0, 0};
    }
    error = fault->description();
    return std::nullopt;
}

} // namespace cutstack
