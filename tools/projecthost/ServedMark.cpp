#include "tools/projecthost/ServedMark.h"

#include <algorithm>

#include "tools/projecthost/identity/TagScanning.h"

namespace cutstack::projecthost {

namespace {

/// From behind the root's start tag to the end of the mark, or nothing but its beginning when there
/// is no mark.
Span placeOfMark(std::string_view document) {
    const auto root = TagScanner(document).next();
    if (!root || root->isEmpty)
        return {document.size(), document.size()};
    const std::size_t begin = root->whole.end;
    const std::size_t content =
        std::min(document.find_first_not_of(" \t\r\n", begin), document.size());
    const bool isThere = document.substr(content).starts_with(kServedMark);
    return {begin, isThere ? content + kServedMark.size() : begin};
}

} // namespace

bool hasServedMark(std::string_view document) {
    const Span place = placeOfMark(document);
    return place.end > place.begin;
}

std::string withOtherServedMark(std::string document) {
    const Span place = placeOfMark(document);
    if (place.end > place.begin)
        document.erase(place.begin, place.end - place.begin);
    else if (place.begin < document.size())
        document.insert(place.begin, kServedMark);
    return document;
}

} // namespace cutstack::projecthost
