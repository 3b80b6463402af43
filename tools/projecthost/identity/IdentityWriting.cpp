#include "tools/projecthost/identity/IdentityWriting.h"

#include "support/Unicode.h"
#include "tools/projecthost/identity/TagScanning.h"

#include <algorithm>
#include <utility>

namespace cutstack::projecthost {

namespace {

/// What happens at one element.
struct Edit {
    ElementNumber element = 0;
    const Mention* mention = nullptr;
    ItemIndex uuidOf = kNoItem; ///< whose UUID is put into the element
    UuidPlace place = UuidPlace::none;
};

std::vector<Edit> editsOf(const ItemList& list) {
    std::vector<Edit> edits;
    edits.reserve(list.mentions.size() + list.items.size());
    for (const Mention& mention : list.mentions)
        edits.push_back({mention.element, &mention, kNoItem, UuidPlace::none});
    for (ItemIndex i = 0; i < list.items.size(); ++i)
        if (const UuidWanted& wanted = list.wanted[i]; wanted.place != UuidPlace::none)
            edits.push_back({wanted.element, nullptr, i, wanted.place});
    // An id stands in the tag, a UUID behind it.
    std::ranges::sort(edits, {}, [](const Edit& edit) {
        return std::pair(edit.element, edit.mention == nullptr);
    });
    return edits;
}

/// The encoding that the XML declaration states, if it states one.
std::optional<Span> statedEncoding(std::string_view bytes) {
    constexpr std::string_view kMark = "\xEF\xBB\xBF";
    const std::size_t begin = bytes.starts_with(kMark) ? kMark.size() : 0;
    if (!bytes.substr(begin).starts_with("<?xml"))
        return std::nullopt;
    const std::size_t end = bytes.find("?>", begin);
    StartTag declaration{{begin, end}, begin + std::string_view("<?xml").size(), true};
    return attributeValue(bytes, declaration, "encoding");
}

bool isUtf8(std::string_view encoding) {
    return std::ranges::equal(encoding, std::string_view("utf-8"), {}, asciiLower);
}

/// Copies a document while parts of it are replaced.
class Copying {
public:
    Copying(const std::string& document, std::size_t room) : document_(document) {
        result_.reserve(document.size() + room);
    }

    void replace(Span span, std::string_view text) {
        copyUpTo(span.begin);
        result_ += text;
        copied_ = span.end;
    }
    void insert(std::size_t at, std::string_view text) { replace({at, at}, text); }
    std::string finish() {
        copyUpTo(document_.size());
        return std::move(result_);
    }

private:
    void copyUpTo(std::size_t end) {
        result_.append(document_, copied_, end - copied_);
        copied_ = end;
    }

    const std::string& document_;
    std::string result_;
    std::size_t copied_ = 0;
};

class Writing {
public:
    Writing(const std::string& document, const ItemList& list,
            const std::vector<ServedIdentity>& served)
        : document_(document),
          list_(list),
          served_(served),
          edits_(editsOf(list)),
          copy_(document, edits_.size() * 32 + list.items.size() * 64) {}

    std::string run();

private:
    void apply(const Edit& edit, const StartTag& tag);
    [[nodiscard]] bool hasUuid(ItemIndex i) const;
    void putId(const StartTag& tag, std::string_view id);
    void putText(const StartTag& tag, std::string_view id);
    void putUuid(const StartTag& tag, std::string_view uuid, UuidPlace place);

    const std::string& document_;
    const ItemList& list_;
    const std::vector<ServedIdentity>& served_;
    std::vector<Edit> edits_;
    Copying copy_;
};

void Writing::putId(const StartTag& tag, std::string_view id) {
    if (const auto value = attributeValue(document_, tag, "id")) {
        copy_.replace(*value, id);
        return;
    }
    std::string attribute = " id=\"";
    attribute.append(id).append("\"");
    copy_.insert(tag.nameEnd, attribute);
}

/// Where the text of a leaf ends; a CDATA section or a comment in it may look like a tag.
std::size_t endOfText(std::string_view bytes, std::size_t at) {
    for (;;) {
        at = std::min(bytes.find('<', at), bytes.size());
        const std::string_view rest = bytes.substr(at);
        const bool isCdata = rest.starts_with("<![CDATA[");
        if (!isCdata && !rest.starts_with("<!--") && !rest.starts_with("<?"))
            return at;
        at = std::min(bytes.find(isCdata          ? "]]>"
                                 : rest[1] == '?' ? "?>"
                                                  : "-->",
                                 at + 2),
                      bytes.size());
    }
}

void Writing::putText(const StartTag& tag, std::string_view id) {
    copy_.replace({tag.whole.end, endOfText(document_, tag.whole.end)}, id);
}

/// On a line of its own, where the element has lines.
void Writing::putUuid(const StartTag& tag, std::string_view uuid, UuidPlace place) {
    const std::size_t content = document_.find_first_not_of(" \t\r\n", tag.whole.end);
    std::string text = document_.substr(tag.whole.end, content - tag.whole.end);
    const bool makesHistory = place == UuidPlace::newHistory;
    text.append(makesHistory ? "<itemhistory><uuid>" : "<uuid>").append(uuid);
    text.append(makesHistory ? "</uuid></itemhistory>" : "</uuid>");
    copy_.insert(tag.whole.end, text);
}

/// A history that has the UUID already came from a document that was written here.
bool Writing::hasUuid(ItemIndex i) const {
    std::string uuid = served_[i].uuid;
    std::ranges::transform(uuid, uuid.begin(), asciiLower);
    return std::ranges::find(list_.items[i].history, uuid) != list_.items[i].history.end();
}

void Writing::apply(const Edit& edit, const StartTag& tag) {
    if (edit.mention == nullptr) {
        if (!tag.isEmpty && (edit.place == UuidPlace::inItem || !hasUuid(edit.uuidOf)))
            putUuid(tag, served_[edit.uuidOf].uuid, edit.place);
    } else if (edit.mention->form == MentionForm::attribute) {
        putId(tag, served_[edit.mention->item].id);
    } else {
        putText(tag, served_[edit.mention->item].id);
    }
}

std::string Writing::run() {
    if (const auto encoding = statedEncoding(document_);
        encoding && !isUtf8(std::string_view(document_).substr(encoding->begin,
                                                               encoding->end - encoding->begin)))
        copy_.replace(*encoding, "UTF-8");
    TagScanner scanner(document_);
    ElementNumber element = 0;
    for (auto edit = edits_.begin(); edit != edits_.end(); ++element) {
        const auto tag = scanner.next();
        if (!tag)
            break;
        for (; edit != edits_.end() && edit->element == element; ++edit)
            apply(*edit, *tag);
    }
    return copy_.finish();
}

} // namespace

std::string withIdentities(const std::string& document, const ItemList& list,
                           const std::vector<ServedIdentity>& served) {
    return Writing(document, list, served).run();
}

} // namespace cutstack::projecthost
