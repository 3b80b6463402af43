#include "support/PropertyListReading.h"

#include <array>
#include <charconv>
#include <limits>

#include "support/BinaryPropertyList.h"
#include "support/StrictXml.h"

namespace cutstack {

namespace {

constexpr std::string_view kXmlSpace = " \t\r\n";

std::string_view withoutXmlSpace(std::string_view text) {
    const auto first = text.find_first_not_of(kXmlSpace);
    if (first == std::string_view::npos)
        return {};
    return text.substr(first, text.find_last_not_of(kXmlSpace) - first + 1);
}

/// The number that all of `text` is.
template <typename Number, typename... Base>
std::optional<Number> wholeNumber(std::string_view text, Base... base) {
    Number number{};
    const char* const end = text.data() + text.size();
    const auto [stop, fault] = std::from_chars(text.data(), end, number, base...);
    return fault == std::errc() && stop == end ? std::optional(number) : std::nullopt;
}

std::optional<PropertyList> integerFrom(std::string& spaced) {
    std::string_view text = withoutXmlSpace(spaced);
    if (text.starts_with("0x") || text.starts_with("0X")) {
        const auto number = wholeNumber<std::uint64_t>(text.substr(2), 16);
        return number ? std::optional<PropertyList>(*number) : std::nullopt;
    }
    if (text.starts_with('-')) {
        const auto number = wholeNumber<std::int64_t>(text);
        return number ? std::optional<PropertyList>(*number) : std::nullopt;
    }
    if (text.starts_with('+'))
        text.remove_prefix(1);
    const auto number = wholeNumber<std::uint64_t>(text);
    return number ? std::optional<PropertyList>(*number) : std::nullopt;
}

std::optional<PropertyList> realFrom(std::string& spaced) {
    std::string_view text = withoutXmlSpace(spaced);
    if (text.starts_with('+') && !text.starts_with("+-"))
        text.remove_prefix(1);
    if (text.ends_with(')')) // "nan(...)" is a number to the library alone
        return std::nullopt;
    const auto number = wholeNumber<double>(text);
    return number ? std::optional<PropertyList>(*number) : std::nullopt;
}

/// Whether `text` has digits where `pattern` has '0', and elsewhere the pattern's own characters.
bool matches(std::string_view text, std::string_view pattern) {
    if (text.size() != pattern.size())
        return false;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const bool isDigit = text[i] >= '0' && text[i] <= '9';
        if (pattern[i] == '0' ? !isDigit : text[i] != pattern[i])
            return false;
    }
    return true;
}

std::optional<PropertyList> dateFrom(std::string& text) {
    using namespace std::chrono;
    if (!matches(text, "0000-00-00T00:00:00Z"))
        return std::nullopt;
    const auto field = [&text](std::size_t offset, std::size_t length) {
        return wholeNumber<unsigned>(std::string_view(text).substr(offset, length)).value_or(0);
    };
    const year_month_day day(year(static_cast<int>(field(0, 4))), month(field(5, 2)),
                             std::chrono::day(field(8, 2)));
    const hours hour(field(11, 2));
    const minutes minute(field(14, 2));
    const seconds second(field(17, 2));
    if (!day.ok() || hour >= days(1) || minute >= hours(1) || second >= minutes(1))
        return std::nullopt;
    const PropertyListDate date = sys_days(day) + hour + minute + second;
    return isPropertyListDate(date) ? std::optional<PropertyList>(date) : std::nullopt;
}

constexpr std::uint8_t kNoBase64Digit = 0xFF;

constexpr std::array<std::uint8_t, 256> base64Values() {
    std::array<std::uint8_t, 256> values{};
    values.fill(kNoBase64Digit);
    std::uint8_t next = 0;
    for (const char digit :
         std::string_view("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/"))
        values[static_cast<unsigned char>(digit)] = next++;
    return values;
}

/// Base64 with its padding and no bit to spare; white space may stand anywhere.
std::optional<PropertyList> dataFrom(std::string& text) {
    static constexpr auto kValues = base64Values();
    std::erase_if(text, [](char c) { return kXmlSpace.find(c) != std::string_view::npos; });
    if (text.size() % 4 != 0)
        return std::nullopt;
    const std::size_t padding = text.ends_with("==") ? 2 : text.ends_with('=') ? 1 : 0;
    PropertyListData data;
    data.bytes.reserve(text.size() / 4 * 3);
    std::uint32_t bits = 0;
    unsigned bitCount = 0;
    for (const char digit : std::string_view(text).substr(0, text.size() - padding)) {
        const std::uint8_t value = kValues[static_cast<unsigned char>(digit)];
        if (value == kNoBase64Digit)
            return std::nullopt;
        bits = bits << 6 | value;
        bitCount += 6;
        if (bitCount >= 8) {
            bitCount -= 8;
            data.bytes.push_back(static_cast<char>(bits >> bitCount & 0xFF));
        }
    }
    const bool hasStrayBits = (bits & ((1U << bitCount) - 1)) != 0;
    return hasStrayBits ? std::nullopt : std::optional<PropertyList>(std::move(data));
}

std::optional<PropertyList> stringFrom(std::string& text) { return PropertyList(std::move(text)); }

template <bool flag>
std::optional<PropertyList> flagFrom(std::string& text) {
    return withoutXmlSpace(text).empty() ? std::optional<PropertyList>(flag) : std::nullopt;
}

enum class Element { plist, dictionary, array, key, leaf };

/// The elements there are. A leaf's text is made a value by its function, which may use it up.
struct ElementKind {
    std::string_view name;
    Element element;
    std::optional<PropertyList> (*valueFrom)(std::string& text);
};

constexpr ElementKind kElements[] = {
    {"string", Element::leaf, stringFrom},     {"key", Element::key, nullptr},
    {"integer", Element::leaf, integerFrom},   {"dict", Element::dictionary, nullptr},
    {"array", Element::array, nullptr},        {"true", Element::leaf, flagFrom<true>},
    {"false", Element::leaf, flagFrom<false>}, {"real", Element::leaf, realFrom},
    {"date", Element::leaf, dateFrom},         {"data", Element::leaf, dataFrom},
    {"plist", Element::plist, nullptr},
};

/// Whether an element of this kind holds a text; the other kinds hold elements.
bool holdsText(const ElementKind& kind) {
    return kind.element == Element::leaf || kind.element == Element::key;
}

const ElementKind* elementNamed(const XmlStartTag& tag) {
    if (!tag.prefix.empty())
        return nullptr;
    for (const ElementKind& kind : kElements)
        if (kind.name == tag.localName)
            return &kind;
    return nullptr;
}

/// A fault in what the document says, at one of its start tags, counted from 1.
struct ContentFault {
    std::string message;
    std::size_t tag;
};

/// Builds the value from the elements as they come. Open elements are a stack of our own.
class ListBuilder : public XmlEvents {
public:
    void startElement(const XmlStartTag& tag) override;
    void endElement() override;
    void text(std::string_view piece) override;
    std::optional<std::string> refusal() override {
        return fault_ ? std::optional(fault_->message) : std::nullopt;
    }

    [[nodiscard]] const std::optional<ContentFault>& fault() const { return fault_; }
    [[nodiscard]] std::optional<PropertyList> takeList() { return std::move(list_); }

private:
    struct OpenElement {
        const ElementKind* kind;
        std::size_t tag;
        PropertyList container;         ///< of a dictionary or an array
        std::optional<std::string> key; ///< of a dictionary: the one whose value comes next
    };

    /// Why an element of this kind may not begin here; empty when it may.
    [[nodiscard]] std::string objectionTo(const XmlStartTag& tag, const ElementKind* kind) const;
    void close(OpenElement& element);
    void add(PropertyList value);
    void refuse(std::string message, std::size_t tag) {
        if (!fault_)
            fault_ = ContentFault{std::move(message), tag};
    }

    std::vector<OpenElement> open_;
    std::string text_; ///< of the open leaf or key
    std::size_t tags_ = 0;
    std::optional<PropertyList> list_;
    std::optional<ContentFault> fault_;
};

std::string ListBuilder::objectionTo(const XmlStartTag& tag, const ElementKind* kind) const {
    const std::string name(tag.localName);
    if (kind == nullptr)
        return "<" + name + "> is no element of a property list";
    if (open_.empty() != (kind->element == Element::plist))
        return open_.empty() ? "the root element is not <plist>" : "<plist> inside a property list";
    if (open_.empty())
        return {};
    const OpenElement& parent = open_.back();
    if (holdsText(*parent.kind))
        return "<" + name + "> inside <" + std::string(parent.kind->name) + ">";
    const bool wantsKey = parent.kind->element == Element::dictionary && !parent.key;
    if (wantsKey != (kind->element == Element::key))
        return wantsKey ? "a key is expected, not <" + name + ">"
                        : "a value is expected, not <key>";
    if (parent.kind->element == Element::plist && list_)
        return "a second value in <plist>";
    if (!holdsText(*kind) && open_.size() > kPropertyListDepthLimit)
        return "nested deeper than " + std::to_string(kPropertyListDepthLimit) + " levels";
    return {};
}

void ListBuilder::startElement(const XmlStartTag& tag) {
    ++tags_;
    if (fault_)
        return;
    const ElementKind* kind = elementNamed(tag);
    if (std::string objection = objectionTo(tag, kind); !objection.empty()) {
        refuse(std::move(objection), tags_);
        return;
    }
    const bool isArray = kind->element == Element::array;
    open_.push_back({kind, tags_, isArray ? PropertyList(PropertyList::Array()) : PropertyList(),
                     std::nullopt});
    text_.clear();
}

void ListBuilder::text(std::string_view piece) {
    if (fault_ || open_.empty())
        return;
    const OpenElement& parent = open_.back();
    if (holdsText(*parent.kind))
        text_.append(piece);
    else if (!withoutXmlSpace(piece).empty())
        refuse("text beside the values in <" + std::string(parent.kind->name) + ">", tags_);
}

void ListBuilder::endElement() {
    if (fault_)
        return;
    OpenElement element = std::move(open_.back());
    open_.pop_back();
    close(element);
}

void ListBuilder::close(OpenElement& element) {
    switch (element.kind->element) {
    case Element::plist:
        if (!list_)
            refuse("<plist> holds no value", element.tag);
        return;
    case Element::key:
        open_.back().key = std::move(text_);
        text_.clear();
        return;
    case Element::dictionary:
    case Element::array:
        if (element.key)
            refuse("the last key of a <dict> has no value", element.tag);
        else
            add(std::move(element.container));
        return;
    case Element::leaf:
        if (auto value = element.kind->valueFrom(text_))
            add(*std::move(value));
        else
            refuse("not a value of <" + std::string(element.kind->name) + ">", element.tag);
        text_.clear();
    }
}

void ListBuilder::add(PropertyList value) {
    OpenElement& parent = open_.back();
    if (parent.kind->element == Element::plist) {
        list_ = std::move(value);
    } else if (PropertyList::Array* array = parent.container.asArray()) {
        array->push_back(std::move(value));
    } else if (PropertyList::Dictionary* dictionary = parent.container.asDictionary()) {
        dictionary->insert_or_assign(*std::move(parent.key), std::move(value));
        parent.key.reset();
    }
}

/// Stops a reading at one start tag, for the sake of its line and column.
class StopAtTag : public XmlEvents {
public:
    explicit StopAtTag(const ContentFault& fault) : fault_(fault) {}
    void startElement(const XmlStartTag&) override {}
    void endElement() override {}
    void text(std::string_view) override {}
    std::optional<std::string> refusal() override {
        return ++tags_ == fault_.tag ? std::optional(fault_.message) : std::nullopt;
    }

private:
    const ContentFault& fault_;
    std::size_t tags_ = 0;
};

std::string describe(const ContentFault& fault, const std::string& bytes) {
    StopAtTag stop(fault);
    return readStrictXml(bytes, stop).value_or(XmlError{fault.message}).description();
}

std::optional<PropertyList> readXmlPropertyList(std::string bytes, std::string& error) {
    if (const auto fault = convertXmlToUtf8(bytes)) {
        error = fault->description();
        return std::nullopt;
    }
    ListBuilder builder;
    const auto fault = readStrictXml(bytes, builder);
    if (builder.fault()) {
        error = describe(*builder.fault(), bytes);
        return std::nullopt;
    }
    if (fault) {
        error = fault->description();
        return std::nullopt;
    }
    return builder.takeList();
}

} // namespace

std::optional<PropertyList> readPropertyList(std::string bytes, std::string& error) {
    if (isBinaryPropertyList(bytes))
        return readBinaryPropertyList(bytes, error);
    return readXmlPropertyList(std::move(bytes), error);
}

} // namespace cutstack
