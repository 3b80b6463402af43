#include "changes/Wording.h"

#include <utility>

namespace cutstack {

namespace {

std::string_view clipKind(Node subclipInfo, Node stillFrameOffset) {
    if (subclipInfo.exists())
        return "subclip";
    return stillFrameOffset.exists() ? "freeze frame" : "clip";
}

} // namespace

std::string_view trackWord(const NodeIdentity& identity, Node node) {
    if (identity.pathContains(node, XmemlName::video))
        return "video ";
    return identity.pathContains(node, XmemlName::audio) ? "audio " : "";
}

std::string_view clipKindByChildren(const NodeIdentity& identity, Node clip) {
    return clipKind(identity.child(clip, XmemlName::subclipinfo),
                    identity.child(clip, XmemlName::stillframeoffset));
}

std::string_view clipKindByContents(const NodeIdentity& identity, Node clip) {
    return clipKind(identity.firstBelow(clip, XmemlName::subclipinfo),
                    identity.firstBelow(clip, XmemlName::stillframeoffset));
}

std::string namedPart(const NodeIdentity& identity, std::string_view part, Node named) {
    if (!named.exists())
        return {};
    return formatString(part, {identity.nameForNode(named).value_or("")});
}

std::string SentenceBudget::fitted(std::string text) const {
    if (spent_ <= kVerbatimBytes || text.size() <= kLongestCutText)
        return text;
    std::size_t end = kLongestCutText;
    while (end > 0 && (static_cast<unsigned char>(text[end]) & 0xC0U) == 0x80U)
        --end;
    return text.replace(end, std::string::npos, "...");
}

std::string sentenceFrom(std::string_view sentence, std::vector<std::string> texts,
                         SentenceBudget& budget) {
    for (std::string& text : texts)
        text = budget.fitted(std::move(text));
    const std::vector<FormatArgument> arguments(texts.begin(), texts.end());
    std::string filled = formatString(sentence, arguments);
    budget.spend(filled);
    return filled;
}

} // namespace cutstack
