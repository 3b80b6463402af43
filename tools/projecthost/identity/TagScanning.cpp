#include "tools/projecthost/identity/TagScanning.h"

#include <algorithm>

namespace cutstack::projecthost {

namespace {

constexpr std::string_view kWhiteSpace = " \t\r\n";

/// The first of `marks` from `at` on that stands in no quotes; the size of `bytes` without one.
std::size_t findUnquoted(std::string_view bytes, std::string_view marks, std::size_t at) {
    char quote = 0;
    for (; at < bytes.size(); ++at) {
        const char c = bytes[at];
        if (quote != 0)
            quote = c == quote ? '\0' : quote;
        else if (c == '"' || c == '\'')
            quote = c;
        else if (marks.find(c) != std::string_view::npos)
            break;
    }
    return at;
}

std::size_t orEnd(std::size_t found, std::string_view bytes) {
    return std::min(found, bytes.size());
}

} // namespace

void TagScanner::skipPast(std::string_view mark) {
    const std::size_t found = bytes_.find(mark, at_);
    at_ = found == std::string_view::npos ? bytes_.size() : found + mark.size();
}

/// A document type ends at its ">", but not at one of its internal part.
void TagScanner::skipDocumentType() {
    bool isInside = false;
    while (at_ < bytes_.size()) {
        at_ = findUnquoted(bytes_, "[]<>", at_);
        if (bytes_.substr(at_).starts_with("<!--"))
            skipPast("-->");
        else if (bytes_.substr(at_).starts_with("<?"))
            skipPast("?>");
        else if (at_ < bytes_.size()) {
            const char mark = bytes_[at_++];
            if (mark == '>' && !isInside)
                return;
            if (mark == '[' || mark == ']')
                isInside = mark == '[';
        }
    }
}

std::optional<StartTag> TagScanner::next() {
    for (;;) {
        at_ = orEnd(bytes_.find('<', at_), bytes_);
        const std::string_view rest = bytes_.substr(at_);
        if (rest.size() < 2)
            return std::nullopt;
        if (rest.starts_with("<!--")) {
            at_ += std::string_view("<!--").size();
            skipPast("-->");
        } else if (rest.starts_with("<![CDATA[")) {
            skipPast("]]>");
        } else if (rest.starts_with("<?")) {
            skipPast("?>");
        } else if (rest.starts_with("<!")) {
            at_ += std::string_view("<!").size();
            skipDocumentType();
        } else if (rest.starts_with("</")) {
            skipPast(">");
        } else {
            StartTag tag;
            tag.whole.begin = at_;
            const std::size_t close = findUnquoted(bytes_, ">", at_);
            tag.whole.end = at_ = orEnd(close + 1, bytes_);
            tag.isEmpty = bytes_[close - 1] == '/';
            tag.nameEnd = orEnd(bytes_.find_first_of(" \t\r\n/>", tag.whole.begin), bytes_);
            return tag;
        }
    }
}

std::optional<Span> attributeValue(std::string_view bytes, const StartTag& tag,
                                   std::string_view name) {
    std::size_t at = tag.nameEnd;
    while ((at = bytes.find_first_not_of(kWhiteSpace, at)) < tag.whole.end) {
        const std::size_t nameEnd = bytes.find_first_of(" \t\r\n=/>", at);
        const std::size_t open = bytes.find_first_of("\"'>", at);
        if (open >= tag.whole.end || bytes[open] == '>')
            return std::nullopt;
        const std::size_t close = bytes.find(bytes[open], open + 1);
        if (close >= tag.whole.end)
            return std::nullopt;
        if (bytes.substr(at, nameEnd - at) == name)
            return Span{open + 1, close};
        at = close + 1;
    }
    return std::nullopt;
}

} // namespace cutstack::projecthost
