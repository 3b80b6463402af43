#include "tools/projecthost/identity/ItemReading.h"

#include "support/Unicode.h"
#include "tools/projecthost/identity/MediumKey.h"
#include "tools/projecthost/identity/ReferenceResolving.h"

#include <algorithm>
#include <charconv>
#include <unordered_map>
#include <utility>

namespace cutstack::projecthost {

namespace {

/// The elements that reading asks about.
enum class Tag : std::uint8_t {
    other,
    item,
    uuid,
    name,
    in,
    out,
    start,
    end,
    pathurl,
    effectid,
    reference, ///< a text that names the id of an item
    itemhistory,
    effect,
    track,
    video,
    audio
};

struct TagMeaning {
    Tag tag = Tag::other;
    ItemKind kind = ItemKind::clipitem; ///< of an item, or what a reference refers to
};

const std::unordered_map<std::string_view, TagMeaning>& meanings() {
    static const auto& table = *new std::unordered_map<std::string_view, TagMeaning>{
        {"sequence", {Tag::item, ItemKind::sequence}},
        {"bin", {Tag::item, ItemKind::bin}},
        {"clip", {Tag::item, ItemKind::clip}},
        {"clipitem", {Tag::item, ItemKind::clipitem}},
        {"generatoritem", {Tag::item, ItemKind::generatoritem}},
        {"transitionitem", {Tag::item, ItemKind::transitionitem}},
        {"multiclip", {Tag::item, ItemKind::multiclip}},
        {"file", {Tag::item, ItemKind::file}},
        {"uuid", {Tag::uuid}},
        {"name", {Tag::name}},
        {"in", {Tag::in}},
        {"out", {Tag::out}},
        {"start", {Tag::start}},
        {"end", {Tag::end}},
        {"pathurl", {Tag::pathurl}},
        {"effectid", {Tag::effectid}},
        {"linkclipref", {Tag::reference, ItemKind::clipitem}},
        {"masterclipid", {Tag::reference, ItemKind::masterclip}},
        {"subclipmasterid", {Tag::reference, ItemKind::masterclip}},
        {"itemhistory", {Tag::itemhistory}},
        {"effect", {Tag::effect}},
        {"track", {Tag::track}},
        {"video", {Tag::video}},
        {"audio", {Tag::audio}},
    };
    return table;
}

bool isLeaf(Tag tag) { return tag >= Tag::uuid && tag <= Tag::reference; }

/// Frames that are set: -1 says that they are not.
std::optional<Frames> framesOf(std::string_view text) {
    const std::size_t begin = text.find_first_not_of(" \t\r\n");
    if (begin == std::string_view::npos)
        return std::nullopt;
    Frames frames = 0;
    const char* first = text.data() + begin;
    if (std::from_chars(first, text.data() + text.size(), frames).ec != std::errc() || frames < 0)
        return std::nullopt;
    return frames;
}

std::string inSmallLetters(std::string text) {
    std::ranges::transform(text, text.begin(), asciiLower);
    return text;
}

std::optional<std::string> idOf(const XmlStartTag& tag) {
    for (const XmlAttribute& attribute : tag.attributes)
        if (attribute.prefix.empty() && attribute.localName == "id")
            return std::string(attribute.value);
    return std::nullopt;
}

/// An element that is open.
struct Frame {
    TagMeaning meaning;
    ElementNumber element = 0;
    ItemIndex item = kNoItem;        ///< the item that it is
    ItemIndex container = kNoItem;   ///< the nearest sequence, clip, multiclip or bin, itself also
    ItemIndex mediumOwner = kNoItem; ///< the item whose medium a file within it is
    Track track;
    std::int32_t tracks = 0; ///< that it has had
    bool isEmpty = true;
};

/// Fills the list from the events of one reading.
class Reading final : public XmlEvents {
public:
    void startElement(const XmlStartTag& tag) override;
    void endElement() override;
    void text(std::string_view piece) override;

    ItemList finish();

private:
    TagMeaning meaningOf(const XmlStartTag& tag);
    void beginItem(const XmlStartTag& tag, Frame& frame);
    void beginTrack(Frame& frame, Frame& parent);
    void endItem(const Frame& frame);
    void endLeaf(const Frame& frame, const Frame& parent);
    void leafOfItem(Tag tag, Item& item);
    void addReference(const Frame& frame, const Frame& parent);
    void historyBegins(const Frame& frame, const Frame& parent);
    [[nodiscard]] bool isInBrowserClip(const Item& item) const;
    void decideUuidPlaces();

    std::vector<Frame> open_;
    ItemList list_;
    References references_;
    std::vector<ElementNumber> histories_; ///< of each item, the element of its history
    std::unordered_map<const char*, TagMeaning> known_;
    std::string text_;
    bool collects_ = false;
    ElementNumber elements_ = 0;
};

TagMeaning Reading::meaningOf(const XmlStartTag& tag) {
    if (!tag.prefix.empty())
        return {};
    const auto [known, isFirst] = known_.try_emplace(tag.localName.data());
    if (isFirst)
        if (const auto found = meanings().find(tag.localName); found != meanings().end())
            known->second = found->second;
    return known->second;
}

void Reading::startElement(const XmlStartTag& tag) {
    Frame frame;
    frame.meaning = meaningOf(tag);
    frame.element = elements_++;
    text_.clear();
    collects_ = isLeaf(frame.meaning.tag);
    if (!open_.empty()) {
        Frame& parent = open_.back();
        parent.isEmpty = false;
        frame.container = parent.container;
        frame.mediumOwner = parent.mediumOwner;
        frame.track = parent.track;
        if (frame.meaning.tag == Tag::track)
            beginTrack(frame, parent);
        else if (frame.meaning.tag == Tag::itemhistory)
            historyBegins(frame, parent);
    }
    if (frame.meaning.tag == Tag::item)
        beginItem(tag, frame);
    open_.push_back(frame);
}

void Reading::beginTrack(Frame& frame, Frame& parent) {
    const bool isVideo = parent.meaning.tag == Tag::video;
    if (isVideo || parent.meaning.tag == Tag::audio)
        frame.track = {isVideo ? TrackKind::video : TrackKind::audio, ++parent.tracks};
}

void Reading::historyBegins(const Frame& frame, const Frame& parent) {
    if (parent.item != kNoItem && histories_[parent.item] == kNoElement)
        histories_[parent.item] = frame.element;
}

void Reading::beginItem(const XmlStartTag& tag, Frame& frame) {
    frame.item = static_cast<ItemIndex>(list_.items.size());
    Item item;
    item.kind = frame.meaning.kind;
    item.container = item.kind == ItemKind::file ? kNoItem : frame.container;
    item.track = frame.track;
    references_.begin(frame.item, frame.mediumOwner, idOf(tag));
    switch (item.kind) {
    case ItemKind::sequence:
    case ItemKind::bin:
        frame.mediumOwner = kNoItem;
        [[fallthrough]];
    case ItemKind::clip:
    case ItemKind::multiclip:
        frame.container = frame.item;
        frame.track = {};
        [[fallthrough]];
    case ItemKind::clipitem:
        if (item.kind != ItemKind::sequence && item.kind != ItemKind::bin)
            frame.mediumOwner = frame.item;
        break;
    default:
        frame.mediumOwner = kNoItem;
    }
    list_.items.push_back(std::move(item));
    list_.wanted.push_back({frame.element, UuidPlace::none});
    histories_.push_back(kNoElement);
}

void Reading::text(std::string_view piece) {
    if (collects_)
        text_ += piece;
    if (!open_.empty() && open_.back().isEmpty &&
        piece.find_first_not_of(" \t\r\n") != std::string_view::npos)
        open_.back().isEmpty = false;
}

void Reading::endElement() {
    const Frame frame = open_.back();
    open_.pop_back();
    if (frame.item != kNoItem)
        endItem(frame);
    else if (collects_ && isLeaf(frame.meaning.tag) && !open_.empty())
        endLeaf(frame, open_.back());
    collects_ = false;
}

/// An empty element holds no other item, so it is the last one that was begun.
void Reading::endItem(const Frame& frame) {
    const ItemKind kind = list_.items[frame.item].kind;
    if (!frame.isEmpty) {
        references_.define(frame.item, frame.element);
        return;
    }
    references_.refer(frame.item, frame.element, kind, list_.items[frame.item].container);
    list_.items.pop_back();
    list_.wanted.pop_back();
    histories_.pop_back();
}

void Reading::endLeaf(const Frame& frame, const Frame& parent) {
    if (frame.meaning.tag == Tag::reference) {
        addReference(frame, parent);
    } else if (parent.item != kNoItem) {
        leafOfItem(frame.meaning.tag, list_.items[parent.item]);
    } else if (open_.size() >= 2) {
        const ItemIndex owner = open_[open_.size() - 2].item;
        if (owner == kNoItem)
            return;
        Item& item = list_.items[owner];
        if (parent.meaning.tag == Tag::itemhistory && frame.meaning.tag == Tag::uuid &&
            !text_.empty())
            item.history.push_back(inSmallLetters(text_));
        else if (parent.meaning.tag == Tag::effect && frame.meaning.tag == Tag::effectid)
            item.medium.fileName = text_;
    }
}

void Reading::leafOfItem(Tag tag, Item& item) {
    switch (tag) {
    case Tag::uuid:
        if (item.ownUuid.empty())
            item.ownUuid = text_;
        break;
    case Tag::name:
        if (item.name.empty())
            item.name = composed(text_);
        break;
    case Tag::in:
        item.range.in = framesOf(text_);
        break;
    case Tag::out:
        item.range.out = framesOf(text_);
        break;
    case Tag::start:
        item.start = framesOf(text_);
        break;
    case Tag::end:
        item.end = framesOf(text_);
        break;
    case Tag::pathurl:
        item.medium.path = pathOfUrl(text_);
        break;
    default:
        break;
    }
}

void Reading::addReference(const Frame& frame, const Frame& parent) {
    if (text_.empty())
        return;
    references_.referInText(text_, frame.element, frame.meaning.kind, frame.container,
                            parent.item == kNoItem ? frame.mediumOwner : parent.item);
}

/// Edges under a transition (-1) stand where the transition begins or ends.
void trueEdges(std::vector<Item>& items) {
    struct Last {
        ItemIndex item = kNoItem;
        Track track;
    };
    std::unordered_map<ItemIndex, std::array<std::vector<ItemIndex>, 3>> lastOf;
    for (ItemIndex i = 0; i < items.size(); ++i) {
        Item& item = items[i];
        if (item.track.kind == TrackKind::none || item.container == kNoItem)
            continue;
        auto& tracks = lastOf[item.container][static_cast<std::size_t>(item.track.kind)];
        const auto number = static_cast<std::size_t>(item.track.number);
        if (tracks.size() <= number)
            tracks.resize(number + 1, kNoItem);
        const ItemIndex before = std::exchange(tracks[number], i);
        if (before == kNoItem)
            continue;
        if (item.kind == ItemKind::transitionitem && !items[before].end)
            items[before].end = item.end;
        else if (items[before].kind == ItemKind::transitionitem && !item.start)
            item.start = items[before].start;
    }
}

/// A clip item within a browser clip is a part of it. Its UUID stands in its history, where nobody
/// misses it by itself when the browser clip is removed.
bool Reading::isInBrowserClip(const Item& item) const {
    ItemIndex container = item.container;
    while (container != kNoItem && list_.items[container].kind == ItemKind::multiclip)
        container = list_.items[container].container;
    return container != kNoItem && list_.items[container].kind == ItemKind::clip;
}

void Reading::decideUuidPlaces() {
    for (ItemIndex i = 0; i < list_.items.size(); ++i) {
        const Item& item = list_.items[i];
        UuidWanted& wanted = list_.wanted[i];
        if (!item.ownUuid.empty() || item.kind >= ItemKind::transitionitem)
            continue;
        wanted.place = UuidPlace::inItem;
        const bool isOnTimeline =
            item.kind == ItemKind::clipitem || item.kind == ItemKind::generatoritem;
        if (isOnTimeline && isInBrowserClip(item)) {
            const bool hasHistory = histories_[i] != kNoElement;
            wanted.place = hasHistory ? UuidPlace::inHistory : UuidPlace::newHistory;
            wanted.element = hasHistory ? histories_[i] : wanted.element;
        }
    }
}

ItemList Reading::finish() {
    decideUuidPlaces();
    for (Item& item : list_.items) {
        if (!item.ownUuid.empty())
            item.history.insert(item.history.begin(), inSmallLetters(item.ownUuid));
        if (item.kind == ItemKind::file)
            item.medium.fileName = fileNameOfPath(item.medium.path);
        else if (item.kind == ItemKind::generatoritem)
            item.medium.path = item.name + "/" + item.medium.fileName;
        item.medium.name = item.name;
    }
    references_.resolve(list_);
    trueEdges(list_.items);
    return std::move(list_);
}

} // namespace

std::optional<ItemList> readItems(const std::string& document, XmlError& error) {
    Reading reading;
    if (auto fault = readStrictXml(document, reading)) {
        error = *std::move(fault);
        return std::nullopt;
    }
    return reading.finish();
}

} // namespace cutstack::projecthost
