#include "tools/projecthost/DocumentOutline.h"

#include "support/Unicode.h"
#include "tools/projecthost/identity/TagScanning.h"

#include <algorithm>
#include <array>

namespace cutstack::projecthost {

namespace {

constexpr std::string_view kWhiteSpace = " \t\r\n";
constexpr std::string_view kNameEnds = " \t\r\n/>";

struct NamedKind {
    std::string_view name;
    OutlineKind kind;
};
constexpr std::array kKinds = {NamedKind{"xmeml", OutlineKind::xmeml},
                               NamedKind{"project", OutlineKind::project},
                               NamedKind{"children", OutlineKind::children},
                               NamedKind{"bin", OutlineKind::bin},
                               NamedKind{"sequence", OutlineKind::sequence},
                               NamedKind{"clip", OutlineKind::clip},
                               NamedKind{"clipitem", OutlineKind::clipitem},
                               NamedKind{"generatoritem", OutlineKind::generatoritem},
                               NamedKind{"transitionitem", OutlineKind::transitionitem},
                               NamedKind{"multiclip", OutlineKind::multiclip},
                               NamedKind{"file", OutlineKind::file},
                               NamedKind{"uuid", OutlineKind::uuid},
                               NamedKind{"name", OutlineKind::name},
                               NamedKind{"linkclipref", OutlineKind::reference},
                               NamedKind{"masterclipid", OutlineKind::reference},
                               NamedKind{"subclipmasterid", OutlineKind::reference}};

const NamedKind* kindOf(std::string_view name) {
    const auto found = std::ranges::find(kKinds, name, &NamedKind::name);
    return found == kKinds.end() ? nullptr : &*found;
}

enum class TagForm : std::uint8_t { start, end, empty };

struct Tag {
    TagForm form = TagForm::start;
    std::string_view name;
    Span place;
};

/// Goes through all tags, past what only looks like one.
class Tags {
public:
    explicit Tags(std::string_view bytes) : bytes_(bytes) {}

    std::optional<Tag> next() {
        for (;;) {
            at_ = std::min(bytes_.find('<', at_), bytes_.size());
            const std::string_view rest = bytes_.substr(at_);
            if (rest.size() < 2)
                return std::nullopt;
            if (rest[1] == '!')
                skipDeclaration(rest);
            else if (rest[1] == '?')
                skipPast("?>");
            else
                return tag(rest[1] == '/');
        }
    }

private:
    void skipPast(std::string_view mark) {
        const std::size_t found = bytes_.find(mark, at_);
        at_ = found == std::string_view::npos ? bytes_.size() : found + mark.size();
    }

    void skipDeclaration(std::string_view rest) {
        if (rest.starts_with("<!--")) {
            at_ += std::string_view("<!--").size();
            skipPast("-->");
        } else if (rest.starts_with("<![CDATA[")) {
            skipPast("]]>");
        } else {
            // A document type; the scanner of the identities knows where it ends.
            TagScanner scanner(rest);
            const auto first = scanner.next();
            at_ = first ? at_ + first->whole.begin : bytes_.size();
        }
    }

    /// Where the tag at `at_` ends, at its ">"; one in quotes is none.
    [[nodiscard]] std::size_t closeOfTag() const {
        std::size_t close = std::min(bytes_.find('>', at_), bytes_.size());
        const std::string_view tag = bytes_.substr(at_, close - at_);
        if (tag.find('"') == std::string_view::npos && tag.find('\'') == std::string_view::npos)
            return close;
        char quote = 0;
        for (close = at_; close < bytes_.size() && (quote != 0 || bytes_[close] != '>'); ++close) {
            const char c = bytes_[close];
            if (quote != 0)
                quote = c == quote ? '\0' : quote;
            else if (c == '"' || c == '\'')
                quote = c;
        }
        return close;
    }

    Tag tag(bool isEnd) {
        const std::size_t begin = at_;
        const std::size_t nameBegin = begin + (isEnd ? 2 : 1);
        const std::size_t close = closeOfTag();
        const bool isEmpty = !isEnd && close > nameBegin && bytes_[close - 1] == '/';
        at_ = std::min(close + 1, bytes_.size());
        std::size_t nameEnd = nameBegin;
        while (nameEnd < close && kNameEnds.find(bytes_[nameEnd]) == std::string_view::npos)
            ++nameEnd;
        const TagForm form = isEnd ? TagForm::end : isEmpty ? TagForm::empty : TagForm::start;
        return {form, bytes_.substr(nameBegin, nameEnd - nameBegin), {begin, at_}};
    }

    std::string_view bytes_;
    std::size_t at_ = 0;
};

/// An element that is open: which one of those that matter it is, or none.
struct Open {
    OutlineIndex index = kNoOutlineIndex;
    bool hasChild = false;
};

} // namespace

std::string comparableUuid(std::string_view text) {
    const std::size_t begin = text.find_first_not_of(kWhiteSpace);
    if (begin == std::string_view::npos)
        return "";
    std::string uuid(text.substr(begin, text.find_last_not_of(kWhiteSpace) + 1 - begin));
    std::ranges::transform(uuid, uuid.begin(), asciiLower);
    return uuid;
}

DocumentOutline::DocumentOutline(std::string_view document) : document_(document) { read(); }

void DocumentOutline::read() {
    std::vector<Open> open;
    const auto close = [&](std::size_t contentEnd, std::size_t end) {
        const Open closed = open.back();
        open.pop_back();
        if (closed.index == kNoOutlineIndex)
            return;
        OutlineElement& element = elements_[closed.index];
        element.contentEnd = contentEnd;
        element.end = end;
        element.subtreeEnd = static_cast<OutlineIndex>(elements_.size());
        element.isEmpty = !closed.hasChild && contentOf(element).find_first_not_of(kWhiteSpace) ==
                                                  std::string_view::npos;
    };
    Tags tags(document_);
    while (const auto tag = tags.next()) {
        if (tag->form == TagForm::end) {
            if (!open.empty())
                close(tag->place.begin, tag->place.end);
            continue;
        }
        Open frame;
        if (const NamedKind* named = kindOf(tag->name)) {
            frame.index = static_cast<OutlineIndex>(elements_.size());
            OutlineElement element;
            element.kind = named->kind;
            element.parent = open.empty() ? kNoOutlineIndex : open.back().index;
            element.begin = tag->place.begin;
            element.contentBegin = tag->place.end;
            elements_.push_back(element);
        }
        if (!open.empty())
            open.back().hasChild = true;
        open.push_back(frame);
        if (tag->form == TagForm::empty)
            close(tag->place.end, tag->place.end);
    }
    while (!open.empty())
        close(document_.size(), document_.size());
}

const OutlineElement* DocumentOutline::root() const {
    const bool isThere = !elements_.empty() && elements_.front().kind == OutlineKind::xmeml &&
                         elements_.front().subtreeEnd == elements_.size() &&
                         TagScanner(document_).next()->whole.begin == elements_.front().begin;
    return isThere ? &elements_.front() : nullptr;
}

std::string_view DocumentOutline::textOf(const OutlineElement& element) const {
    return document_.substr(element.begin, element.end - element.begin);
}

std::string_view DocumentOutline::contentOf(const OutlineElement& element) const {
    return document_.substr(element.contentBegin, element.contentEnd - element.contentBegin);
}

std::optional<std::string_view> DocumentOutline::attributeOf(const OutlineElement& element,
                                                             std::string_view name) const {
    StartTag tag;
    tag.whole = {element.begin, element.contentBegin};
    tag.nameEnd =
        std::min(document_.find_first_of(" \t\r\n/>", element.begin), element.contentBegin);
    const auto value = attributeValue(document_, tag, name);
    if (!value)
        return std::nullopt;
    return document_.substr(value->begin, value->end - value->begin);
}

std::optional<OutlineIndex> DocumentOutline::childOf(OutlineIndex parent, OutlineKind kind) const {
    for (OutlineIndex i = parent + 1; i < elements_[parent].subtreeEnd; i = elements_[i].subtreeEnd)
        if (elements_[i].kind == kind && elements_[i].parent == parent)
            return i;
    return std::nullopt;
}

std::string DocumentOutline::uuidOf(OutlineIndex item) const {
    const auto uuid = childOf(item, OutlineKind::uuid);
    return uuid ? comparableUuid(contentOf(elements_[*uuid])) : "";
}

} // namespace cutstack::projecthost
