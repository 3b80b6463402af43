#include "changes/XmemlDocument.h"

#include <algorithm>
#include <functional>
#include <utility>

namespace cutstack {

namespace {

/// Sizes for the row of nodes: what exports have, generously, so that it seldom has to grow.
constexpr std::size_t kBytesPerNode = 20;

// A document of 2 GB, the most that is read, has fewer nodes than there are numbers for them.
constexpr std::size_t kFewestBytesPerNode = 2;
static_assert((std::size_t{1} << 31U) / kFewestBytesPerNode < kMissingNode);

constexpr std::size_t numberOf(XmemlName name) { return static_cast<std::size_t>(name); }

/// The number that `name` of one document has in another, given the translation of its unknown
/// names.
XmemlName translated(XmemlName name, const std::vector<XmemlName>& unknownNames) {
    return name < XmemlName::firstUnknown
               ? name
               : unknownNames[numberOf(name) - numberOf(XmemlName::firstUnknown)];
}

bool isBlank(std::string_view text) {
    return std::ranges::all_of(
        text, [](char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; });
}

} // namespace

std::string_view Node::nameText() const { return exists() ? document_->textOf(name()) : ""; }

Node Node::ancestor(int generations) const {
    Node node = *this;
    for (int i = 0; i < generations; ++i)
        node = node.parent();
    return node;
}

std::string Node::stringValue() const {
    std::string value;
    const TextRun run = texts();
    for (std::uint32_t i = run.begin; i < run.end; ++i)
        value += document_->texts_[i];
    return value;
}

std::optional<std::string_view> Node::idAttribute() const {
    if (exists())
        for (const auto& attribute : document_->attributesOf(index_))
            if (attribute.name == XmemlName::id)
                return attribute.value;
    return std::nullopt;
}

/// Fills a document from the events of one reading.
class XmemlDocumentBuilder final : public XmlEvents {
public:
    explicit XmemlDocumentBuilder(XmemlDocument& document);

    void startElement(const XmlStartTag& tag) override;
    void endElement() override;
    void text(std::string_view piece) override;
    std::optional<std::string> refusal() override;

    /// After the last event: the lists that need whole elements.
    void finish();

private:
    /// A name that was met before, found again by the place of its text.
    struct KnownName {
        const char* text = nullptr;
        XmemlName name = XmemlName::none;
    };

    bool standsInBytes(std::string_view view) const;
    std::string_view kept(std::string_view text);
    XmemlName numberFor(std::string_view prefix, std::string_view localName);
    XmemlName numberForText(std::string_view name);
    void addNode(XmemlName name);
    void addPendingText();
    void addAttribute(const XmlAttribute& attribute);

    XmemlDocument& document_;
    NodeIndex open_ = 0; ///< the innermost element that has not ended
    std::array<KnownName, 256> recent_;
    std::unordered_map<std::string_view, XmemlName> numbers_;
    // The text since the last tag: a view while it is one piece of the document's bytes, joined
    // in a buffer otherwise.
    std::string_view pendingView_;
    std::string pendingCopy_;
};

XmemlDocumentBuilder::XmemlDocumentBuilder(XmemlDocument& document) : document_(document) {
    document_.nodes_.reserve(document_.bytes_.size() / kBytesPerNode + 16);
    document_.texts_.reserve(document_.bytes_.size() / kBytesPerNode / 2 + 16);
    for (std::size_t i = 0; i < kXmemlNameTexts.size(); ++i)
        numbers_.emplace(kXmemlNameTexts[i], static_cast<XmemlName>(i + 1));
    document_.nodes_.push_back({XmemlName::none, kMissingNode, 0, 0});
}

bool XmemlDocumentBuilder::standsInBytes(std::string_view view) const {
    const char* begin = document_.bytes_.data();
    return std::less_equal<>()(begin, view.data()) &&
           std::less_equal<>()(view.data() + view.size(), begin + document_.bytes_.size());
}

/// A view of `text` that lives as long as the document.
std::string_view XmemlDocumentBuilder::kept(std::string_view text) {
    if (text.empty() || standsInBytes(text))
        return text;
    auto* copy = static_cast<char*>(document_.arena_.allocate(text.size(), 1));
    std::ranges::copy(text, copy);
    return {copy, text.size()};
}

XmemlName XmemlDocumentBuilder::numberForText(std::string_view name) {
    if (const auto known = numbers_.find(name); known != numbers_.end())
        return known->second;
    const std::string_view text = kept(name);
    const auto number =
        static_cast<XmemlName>(numberOf(XmemlName::firstUnknown) + document_.unknownNames_.size());
    document_.unknownNames_.push_back(text);
    numbers_.emplace(text, number);
    return number;
}

XmemlName XmemlDocumentBuilder::numberFor(std::string_view prefix, std::string_view localName) {
    if (!prefix.empty())
        return numberForText(std::string(prefix) + ":" + std::string(localName));
    const auto place = reinterpret_cast<std::uintptr_t>(localName.data());
    KnownName& recent = recent_[(place ^ (place >> 8)) % recent_.size()];
    if (recent.text != localName.data())
        recent = {localName.data(), numberForText(localName)};
    return recent.name;
}

void XmemlDocumentBuilder::addNode(XmemlName name) {
    const auto index = static_cast<NodeIndex>(document_.nodes_.size());
    document_.nodes_.push_back(
        {name, open_, index + 1, static_cast<std::uint32_t>(document_.texts_.size())});
}

void XmemlDocumentBuilder::text(std::string_view piece) {
    if (pendingView_.empty() && pendingCopy_.empty() && standsInBytes(piece)) {
        pendingView_ = piece;
    } else if (pendingCopy_.empty() && pendingView_.data() + pendingView_.size() == piece.data()) {
        pendingView_ = {pendingView_.data(), pendingView_.size() + piece.size()};
    } else {
        pendingCopy_ += std::exchange(pendingView_, {});
        pendingCopy_ += piece;
    }
}

void XmemlDocumentBuilder::addPendingText() {
    const std::string_view text = pendingCopy_.empty() ? pendingView_ : pendingCopy_;
    if (!isBlank(text)) {
        addNode(XmemlName::none);
        document_.texts_.push_back(kept(text));
    }
    pendingView_ = {};
    pendingCopy_.clear();
}

void XmemlDocumentBuilder::addAttribute(const XmlAttribute& attribute) {
    const XmemlName name = numberFor(attribute.prefix, attribute.localName);
    const std::string_view value = kept(attribute.value);
    document_.attributes_.push_back({name, open_, value});
    if (name == XmemlName::id)
        document_.ids_.push_back(value);
}

void XmemlDocumentBuilder::startElement(const XmlStartTag& tag) {
    addPendingText();
    const XmemlName name = numberFor(tag.prefix, tag.localName);
    const auto index = static_cast<NodeIndex>(document_.nodes_.size());
    addNode(name);
    open_ = index;
    if (numberOf(name) <= kIndexedNames)
        document_.index_[numberOf(name) - 1].push_back(index);
    for (const XmlAttribute& attribute : tag.attributes)
        addAttribute(attribute);
}

void XmemlDocumentBuilder::endElement() {
    addPendingText();
    auto& element = document_.nodes_[open_];
    element.end = static_cast<NodeIndex>(document_.nodes_.size());
    open_ = element.parent;
}

/// Exports have some hundred different names. The parser's table of names does not grow for ever
/// and is slow when it is crowded.
std::optional<std::string> XmemlDocumentBuilder::refusal() {
    constexpr std::size_t kMostNames = 65'536;
    if (document_.unknownNames_.size() <= kMostNames)
        return std::nullopt;
    return "the document has more than 65536 different names";
}

void XmemlDocumentBuilder::finish() {
    document_.nodes_.front().end = static_cast<NodeIndex>(document_.nodes_.size());
    for (const NodeIndex uuid : document_.elementsNamed(XmemlName::uuid)) {
        const Node node(document_, uuid);
        const TextRun run = node.texts();
        document_.uuids_.push_back(run.size() == 1 ? document_.texts_[run.begin]
                                                   : kept(node.stringValue()));
    }
}

XmemlDocument::XmemlDocument() = default;
XmemlDocument::~XmemlDocument() = default;

std::unique_ptr<const XmemlDocument> XmemlDocument::parse(std::string bytes, XmlError& error,
                                                          std::atomic<std::uint64_t>* bytesRead) {
    std::optional<XmlError> fault = convertXmlToUtf8(bytes);
    std::unique_ptr<XmemlDocument> document;
    if (!fault) {
        document.reset(new XmemlDocument);
        document->bytes_ = std::move(bytes);
        XmemlDocumentBuilder builder(*document);
        fault = readStrictXml(document->bytes_, builder, bytesRead);
        if (!fault)
            builder.finish();
    }
    if (!fault)
        return document;
    error = *std::move(fault);
    return nullptr;
}

std::string_view XmemlDocument::textOf(XmemlName name) const {
    if (name == XmemlName::none)
        return {};
    return name < XmemlName::firstUnknown
               ? kXmemlNameTexts[numberOf(name) - 1]
               : unknownNames_[numberOf(name) - numberOf(XmemlName::firstUnknown)];
}

std::span<const NodeIndex> XmemlDocument::elementsNamed(XmemlName name) const {
    return index_.at(numberOf(name) - 1);
}

XmemlDocument::Attributes XmemlDocument::attributesOf(NodeIndex element) const {
    const auto ownerOf = &Attribute::owner;
    return {std::ranges::lower_bound(attributes_, element, {}, ownerOf),
            std::ranges::upper_bound(attributes_, element, {}, ownerOf)};
}

std::vector<XmemlName> XmemlDocument::unknownNamesIn(const XmemlDocument& other) const {
    std::unordered_map<std::string_view, XmemlName> theirs;
    for (std::size_t i = 0; i < other.unknownNames_.size(); ++i)
        theirs.emplace(other.unknownNames_[i],
                       static_cast<XmemlName>(numberOf(XmemlName::firstUnknown) + i));
    std::vector<XmemlName> translation;
    translation.reserve(unknownNames_.size());
    for (const std::string_view name : unknownNames_) {
        const auto found = theirs.find(name);
        translation.push_back(found == theirs.end() ? kForeignName : found->second);
    }
    return translation;
}

bool XmemlDocument::structureEquals(const XmemlDocument& other,
                                    const std::vector<XmemlName>& otherNames) const {
    return std::ranges::equal(nodes_, other.nodes_, [&](const Record& mine, const Record& theirs) {
        return mine.end == theirs.end && mine.firstText == theirs.firstText &&
               mine.name == translated(theirs.name, otherNames);
    });
}

bool XmemlDocument::attributesEqual(const XmemlDocument& other,
                                    const std::vector<XmemlName>& otherNames) const {
    const auto byOwnerAndName = [](const Attribute& a, const Attribute& b) {
        return std::pair(a.owner, a.name) < std::pair(b.owner, b.name);
    };
    const auto inOrder = [&](std::vector<Attribute> attributes) {
        std::ranges::sort(attributes, byOwnerAndName);
        return attributes;
    };
    std::vector<Attribute> theirs = other.attributes_;
    for (Attribute& attribute : theirs)
        attribute.name = translated(attribute.name, otherNames);
    return std::ranges::equal(inOrder(attributes_), inOrder(std::move(theirs)),
                              [](const Attribute& a, const Attribute& b) {
                                  return a.owner == b.owner && a.name == b.name &&
                                         a.value == b.value;
                              });
}

bool XmemlDocument::equals(const XmemlDocument& other) const {
    if (nodes_.size() != other.nodes_.size() || attributes_.size() != other.attributes_.size() ||
        texts_ != other.texts_)
        return false;
    const std::vector<XmemlName> otherNames = other.unknownNamesIn(*this);
    return structureEquals(other, otherNames) && attributesEqual(other, otherNames);
}

} // namespace cutstack
