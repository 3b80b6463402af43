#include "tools/projecthost/TableOfContents.h"

#include <unordered_map>
#include <unordered_set>
#include <vector>

namespace cutstack::projecthost {

namespace {

bool isContainer(OutlineKind kind) {
    return kind == OutlineKind::project || kind == OutlineKind::bin;
}

class Writing {
public:
    explicit Writing(const DocumentOutline& project)
        : project_(project), elements_(project.elements()) {}

    std::string run();

private:
    [[nodiscard]] bool isInBrowser(const OutlineElement& element) const;
    void noteSequences();
    void closeUpTo(OutlineIndex index);
    void writeContainer(OutlineIndex index);
    void writeSequence(OutlineIndex index);
    void writeNames(OutlineIndex index);
    void beginTag(OutlineIndex index, std::string_view name);

    const DocumentOutline& project_;
    const std::vector<OutlineElement>& elements_;
    std::vector<bool> inBrowser_;
    std::unordered_map<std::string_view, OutlineIndex> definitions_; ///< of sequences, by id
    std::unordered_set<std::string_view> browserIds_;
    std::unordered_set<OutlineIndex> written_;
    std::vector<OutlineIndex> open_;
    std::string result_;
};

/// Whether only bins, projects and the root lead to it.
bool Writing::isInBrowser(const OutlineElement& element) const {
    if (element.parent == kNoOutlineIndex)
        return element.kind == OutlineKind::xmeml;
    const OutlineKind kind = elements_[element.parent].kind;
    return inBrowser_[element.parent] &&
           (kind == OutlineKind::xmeml || kind == OutlineKind::children || isContainer(kind));
}

void Writing::noteSequences() {
    inBrowser_.reserve(elements_.size());
    for (OutlineIndex i = 0; i < elements_.size(); ++i) {
        inBrowser_.push_back(isInBrowser(elements_[i]));
        if (elements_[i].kind != OutlineKind::sequence)
            continue;
        const auto id = project_.attributeOf(elements_[i], "id");
        if (!id)
            continue;
        if (!elements_[i].isEmpty)
            definitions_.emplace(*id, i);
        if (inBrowser_[i])
            browserIds_.insert(*id);
    }
}

void Writing::beginTag(OutlineIndex index, std::string_view name) {
    result_.append("<").append(name);
    if (const auto id = project_.attributeOf(elements_[index], "id"))
        result_.append(" id=\"").append(*id).append("\"");
    result_ += ">\n";
}

void Writing::writeNames(OutlineIndex index) {
    for (const OutlineKind kind : {OutlineKind::uuid, OutlineKind::name})
        if (const auto child = project_.childOf(index, kind))
            result_.append(project_.textOf(elements_[*child])).append("\n");
}

void Writing::writeContainer(OutlineIndex index) {
    beginTag(index, elements_[index].kind == OutlineKind::bin ? "bin" : "project");
    writeNames(index);
    result_ += "<children>\n";
    open_.push_back(index);
}

void Writing::writeSequence(OutlineIndex index) {
    const auto id = project_.attributeOf(elements_[index], "id");
    if (!inBrowser_[index] && id && browserIds_.contains(*id))
        return;
    if (elements_[index].isEmpty) {
        const auto definition = id ? definitions_.find(*id) : definitions_.end();
        if (definition == definitions_.end())
            return;
        index = definition->second;
    }
    if (!written_.insert(index).second)
        return;
    beginTag(index, "sequence");
    writeNames(index);
    result_ += "</sequence>\n";
}

void Writing::closeUpTo(OutlineIndex index) {
    while (!open_.empty() && elements_[open_.back()].subtreeEnd <= index) {
        result_ += elements_[open_.back()].kind == OutlineKind::bin ? "</children>\n</bin>\n"
                                                                    : "</children>\n</project>\n";
        open_.pop_back();
    }
}

std::string Writing::run() {
    noteSequences();
    result_ = documentHead(project_);
    for (OutlineIndex i = 0; i < elements_.size(); ++i) {
        closeUpTo(i);
        if (elements_[i].kind == OutlineKind::sequence)
            writeSequence(i);
        else if (isContainer(elements_[i].kind) && inBrowser_[i])
            writeContainer(i);
    }
    closeUpTo(static_cast<OutlineIndex>(elements_.size()));
    return result_.append(kDocumentEnd);
}

} // namespace

std::string tableOfContents(const DocumentOutline& project) { return Writing(project).run(); }

std::string documentHead(const DocumentOutline& project) {
    const OutlineElement& root = *project.root();
    std::string_view tag =
        project.document().substr(root.begin, root.contentBegin - root.begin - 1);
    if (tag.ends_with('/'))
        tag.remove_suffix(1);
    std::string head = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<!DOCTYPE xmeml>\n";
    return head.append(tag).append(">\n");
}

} // namespace cutstack::projecthost
