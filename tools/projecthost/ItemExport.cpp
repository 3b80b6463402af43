#include "tools/projecthost/ItemExport.h"

#include "tools/projecthost/ServedMark.h"
#include "tools/projecthost/TableOfContents.h"

#include <array>
#include <unordered_map>
#include <vector>

namespace cutstack::projecthost {

namespace {

/// An element that is being copied, and how far.
struct Copying {
    OutlineIndex next = 0; ///< the next element within it that matters
    OutlineIndex subtreeEnd = 0;
    std::size_t copied = 0;
    std::size_t end = 0;
};

/// Copies an item; meets every reference within it, also within what it writes in full for one.
class ItemWriting {
public:
    ItemWriting(const DocumentOutline& project, std::string& result)
        : project_(project),
          elements_(project.elements()),
          result_(result),
          isWritten_(elements_.size(), false) {
        noteDefinitions();
    }

    void write(OutlineIndex item) {
        begin(item);
        while (!open_.empty())
            step();
    }

private:
    void noteDefinitions();
    void begin(OutlineIndex item);
    void step();
    void meet(OutlineIndex index);
    void copyUpTo(std::size_t end);
    [[nodiscard]] std::optional<OutlineIndex> definitionOf(OutlineIndex reference) const;

    using ById = std::unordered_map<std::string_view, OutlineIndex>;

    const DocumentOutline& project_;
    const std::vector<OutlineElement>& elements_;
    std::string& result_;
    std::array<ById, static_cast<std::size_t>(OutlineKind::reference) + 1> definitions_;
    std::vector<bool> isWritten_;
    std::vector<Copying> open_;
};

void ItemWriting::noteDefinitions() {
    for (OutlineIndex i = 0; i < elements_.size(); ++i) {
        if (!mayBeReference(elements_[i].kind) || elements_[i].isEmpty)
            continue;
        if (const auto id = project_.attributeOf(elements_[i], "id"))
            definitions_[static_cast<std::size_t>(elements_[i].kind)].emplace(*id, i);
    }
}

std::optional<OutlineIndex> ItemWriting::definitionOf(OutlineIndex reference) const {
    const auto id = project_.attributeOf(elements_[reference], "id");
    const ById& known = definitions_[static_cast<std::size_t>(elements_[reference].kind)];
    const auto found = id ? known.find(*id) : known.end();
    return found == known.end() ? std::nullopt : std::optional(found->second);
}

void ItemWriting::begin(OutlineIndex item) {
    const OutlineElement& element = elements_[item];
    isWritten_[item] = true;
    open_.push_back({item + 1, element.subtreeEnd, element.begin, element.end});
}

void ItemWriting::copyUpTo(std::size_t end) {
    Copying& copying = open_.back();
    result_.append(project_.document().substr(copying.copied, end - copying.copied));
    copying.copied = end;
}

void ItemWriting::step() {
    Copying& copying = open_.back();
    if (copying.next < copying.subtreeEnd) {
        meet(copying.next);
    } else {
        copyUpTo(copying.end);
        open_.pop_back();
    }
}

void ItemWriting::meet(OutlineIndex index) {
    const OutlineElement& element = elements_[index];
    Copying& copying = open_.back();
    copying.next = index + 1;
    if (!mayBeReference(element.kind))
        return;
    const bool wasWritten = isWritten_[index];
    const auto definition = element.isEmpty ? definitionOf(index) : std::nullopt;
    if (wasWritten && !element.isEmpty) {
        // It was needed before the place where it stands.
        copyUpTo(element.begin);
        const std::string_view tag =
            project_.document().substr(element.begin, element.contentBegin - element.begin - 1);
        result_.append(tag).append("/>");
        copying.copied = element.end;
        copying.next = element.subtreeEnd;
    } else if (definition && !isWritten_[*definition]) {
        copyUpTo(element.begin);
        copying.copied = element.end;
        copying.next = element.subtreeEnd;
        begin(*definition);
    }
    isWritten_[index] = true;
}

} // namespace

std::optional<OutlineIndex> findItem(const DocumentOutline& project, std::string_view uuid) {
    const std::string wanted = comparableUuid(uuid);
    if (wanted.empty())
        return std::nullopt;
    const auto& elements = project.elements();
    for (OutlineIndex i = 0; i < elements.size(); ++i)
        if (isBrowserItem(elements[i].kind) && project.uuidOf(i) == wanted)
            return i;
    return std::nullopt;
}

std::optional<std::string> exportedItem(const DocumentOutline& project, std::string_view uuid) {
    const auto item = findItem(project, uuid);
    if (!item)
        return std::nullopt;
    std::string result = documentHead(project);
    if (hasServedMark(project.document()))
        result.append(kServedMark).append("\n");
    ItemWriting(project, result).write(*item);
    return result.append("\n").append(kDocumentEnd);
}

} // namespace cutstack::projecthost
