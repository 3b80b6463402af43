#include "tools/projecthost/ProjectImport.h"

#include "support/StrictXml.h"
#include "support/Unicode.h"
#include "tools/projecthost/DocumentOutline.h"
#include "tools/projecthost/identity/TagScanning.h"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <unordered_map>
#include <unordered_set>
#include <utility>

namespace cutstack::projecthost {

namespace {

/// Only asks whether a document can be read.
class Nobody final : public XmlEvents {
public:
    void startElement(const XmlStartTag& /*tag*/) override {}
    void endElement() override {}
    void text(std::string_view /*piece*/) override {}
};

/// A numeric reference at the beginning of `text`, "&#233;" or "&#xE9;".
struct NumericReference {
    std::uint32_t value = 0;
    std::size_t length = 0; ///< 0: there is none
};

NumericReference numericReference(std::string_view text) {
    if (!text.starts_with("&#"))
        return {};
    const bool isHexadecimal = text.substr(2).starts_with('x');
    const std::size_t begin = isHexadecimal ? 3 : 2;
    NumericReference reference;
    const char* const last = text.data() + text.size();
    const auto [end, fault] = std::from_chars(text.data() + std::min(begin, text.size()), last,
                                              reference.value, isHexadecimal ? 16 : 10);
    if (fault == std::errc() && end != last && *end == ';')
        reference.length = static_cast<std::size_t>(end - text.data()) + 1;
    return reference;
}

bool isHighSurrogate(std::uint32_t unit) { return unit >= 0xD800 && unit < 0xDC00; }
bool isLowSurrogate(std::uint32_t unit) { return unit >= 0xDC00 && unit < 0xE000; }

/// Parts of a text that are replaced by others.
class Replacing {
public:
    explicit Replacing(std::string_view text) : text_(text) { result_.reserve(text.size()); }

    void replace(std::size_t begin, std::size_t end, std::string_view by) {
        result_.append(text_.substr(copied_, begin - copied_)).append(by);
        copied_ = end;
    }
    void replace(std::string_view part, std::string_view by) {
        const auto begin = static_cast<std::size_t>(part.data() - text_.data());
        replace(begin, begin + part.size(), by);
    }
    std::string finish() {
        result_.append(text_.substr(copied_));
        return std::move(result_);
    }

private:
    std::string_view text_;
    std::string result_;
    std::size_t copied_ = 0;
};

/// What a project has that imported items must not have too.
struct Taken {
    std::unordered_set<std::string> ids;
    std::unordered_set<std::string> uuids;
};

Taken takenBy(const DocumentOutline& outline) {
    Taken taken;
    const auto& elements = outline.elements();
    for (OutlineIndex i = 0; i < elements.size(); ++i) {
        if (const auto id = outline.attributeOf(elements[i], "id"))
            taken.ids.emplace(*id);
        if (elements[i].kind == OutlineKind::reference)
            taken.ids.emplace(outline.contentOf(elements[i]));
        if (isBrowserItem(elements[i].kind))
            taken.uuids.insert(outline.uuidOf(i));
    }
    taken.uuids.erase("");
    return taken;
}

using Renamed = std::unordered_map<std::string, std::string>;

/// New ids for what the import describes under ids that the project has.
Renamed renamedIds(const DocumentOutline& import, Taken& taken) {
    Renamed renamed;
    std::unordered_set<std::string> own;
    for (const OutlineElement& element : import.elements())
        if (const auto id = import.attributeOf(element, "id"))
            own.emplace(*id);
    for (const OutlineElement& element : import.elements()) {
        const auto id = import.attributeOf(element, "id");
        if (!id || element.isEmpty || !taken.ids.contains(std::string(*id)))
            continue;
        std::string& fresh = renamed[std::string(*id)];
        for (int number = 2; fresh.empty(); ++number) {
            std::string candidate = std::string(*id) + " import " + std::to_string(number);
            if (!own.contains(candidate) && taken.ids.insert(candidate).second)
                fresh = std::move(candidate);
        }
    }
    return renamed;
}

/// The outermost items, also those within projects.
void collectItems(const DocumentOutline& outline, std::string& items) {
    const auto& elements = outline.elements();
    for (OutlineIndex i = 1; i < elements.size();) {
        const OutlineElement& element = elements[i];
        if (isBrowserItem(element.kind) && !element.isEmpty)
            items.append(outline.textOf(element)).append("\n");
        const bool leadsDeeper =
            element.kind == OutlineKind::project || element.kind == OutlineKind::children;
        i = leadsDeeper ? i + 1 : element.subtreeEnd;
    }
}

/// Puts `items` at the end of an element's content.
std::string appendedTo(const DocumentOutline& outline, const OutlineElement& element,
                       std::string_view items) {
    const std::string_view document = outline.document();
    std::string content("\n");
    content.append(items);
    Replacing replacing(document);
    if (element.contentEnd != element.end) {
        replacing.replace(element.contentEnd, element.contentEnd, content);
        return replacing.finish();
    }
    const std::size_t slash = document.rfind('/', element.end - 1);
    const std::size_t nameEnd = document.find_first_of(" \t\r\n/>", element.begin);
    std::string closing = ">";
    closing.append(content).append("</");
    closing.append(document.substr(element.begin + 1, nameEnd - element.begin - 1)).append(">");
    replacing.replace(slash, element.end, closing);
    return replacing.finish();
}

/// The encoding that a declaration states.
std::optional<Span> statedEncoding(std::string_view document) {
    if (!document.starts_with("<?xml"))
        return std::nullopt;
    const std::size_t end = std::min(document.find("?>"), document.size());
    const StartTag declaration{{0, end}, std::string_view("<?xml").size(), true};
    return attributeValue(document, declaration, "encoding");
}

} // namespace

std::string joinSurrogateReferences(std::string_view xml) {
    Replacing replacing(xml);
    for (std::size_t at = xml.find("&#"); at != std::string_view::npos; at = xml.find("&#", at)) {
        const NumericReference high = numericReference(xml.substr(at));
        const NumericReference low = numericReference(xml.substr(at + high.length));
        if (high.length > 0 && low.length > 0 && isHighSurrogate(high.value) &&
            isLowSurrogate(low.value)) {
            const std::uint32_t character =
                0x10000U + ((high.value - 0xD800U) << 10U) + (low.value - 0xDC00U);
            const std::size_t end = at + high.length + low.length;
            replacing.replace(at, end, "&#" + std::to_string(character) + ";");
            at = end;
        } else {
            at += high.length > 0 ? high.length : 2;
        }
    }
    return replacing.finish();
}

std::optional<std::string> readImport(std::string xml, std::string& error) {
    auto fault = convertXmlToUtf8(xml);
    const std::string joined = joinSurrogateReferences(xml);
    Nobody nobody;
    if (!fault)
        fault = readStrictXml(joined, nobody);
    if (fault) {
        error = "This is no XML: " + fault->description();
        return std::nullopt;
    }
    const DocumentOutline outline(joined);
    std::string items;
    if (outline.root() == nullptr)
        error = "This is no XMEML: its root is not xmeml";
    else if (collectItems(outline, items); items.empty())
        error = "There is no sequence, clip or bin to import";
    else
        return items;
    return std::nullopt;
}

std::string fitImport(const std::string& items, std::string_view project,
                      const std::function<std::string()>& newUuid) {
    Taken taken = takenBy(DocumentOutline(project));
    constexpr std::string_view kOpening = "<xmeml>";
    constexpr std::string_view kClosing = "</xmeml>";
    const std::string wrapped = std::string(kOpening) + items + std::string(kClosing);
    const DocumentOutline import(wrapped);
    const Renamed renamed = renamedIds(import, taken);
    Replacing replacing(wrapped);
    const auto rename = [&](std::string_view id) {
        if (const auto found = renamed.find(std::string(id)); found != renamed.end())
            replacing.replace(id, found->second);
    };
    const auto& elements = import.elements();
    for (const OutlineElement& element : elements) {
        if (const auto id = import.attributeOf(element, "id"))
            rename(*id);
        if (element.kind == OutlineKind::reference)
            rename(import.contentOf(element));
        const bool isOfItem = element.kind == OutlineKind::uuid &&
                              element.parent != kNoOutlineIndex &&
                              isBrowserItem(elements[element.parent].kind);
        const std::string_view uuid = import.contentOf(element);
        if (isOfItem && taken.uuids.contains(comparableUuid(uuid)))
            replacing.replace(uuid, newUuid());
    }
    const std::string fitted = replacing.finish();
    return fitted.substr(kOpening.size(), fitted.size() - kOpening.size() - kClosing.size());
}

std::optional<std::string> withImports(std::string_view project,
                                       const std::vector<std::string>& imports) {
    const DocumentOutline outline(project);
    const OutlineElement* root = outline.root();
    if (root == nullptr)
        return std::nullopt;
    std::string items;
    for (const std::string& import : imports)
        items += import;
    const auto inProject = outline.childOf(0, OutlineKind::project);
    if (!inProject)
        return appendedTo(outline, *root, items);
    if (const auto children = outline.childOf(*inProject, OutlineKind::children))
        return appendedTo(outline, outline.elements()[*children], items);
    return appendedTo(outline, outline.elements()[*inProject],
                      "<children>\n" + items + "</children>\n");
}

std::string withStatedUtf8(std::string project) {
    constexpr std::string_view kMark = "\xEF\xBB\xBF";
    const std::string_view text = project;
    const auto encoding = statedEncoding(text.substr(text.starts_with(kMark) ? kMark.size() : 0));
    if (!encoding)
        return project;
    const std::size_t shift = text.starts_with(kMark) ? kMark.size() : 0;
    const std::size_t length = encoding->end - encoding->begin;
    const bool isStated = std::ranges::equal(text.substr(shift + encoding->begin, length),
                                             std::string_view("utf-8"), {}, asciiLower);
    if (!isStated)
        project.replace(shift + encoding->begin, length, "UTF-8");
    return project;
}

} // namespace cutstack::projecthost
