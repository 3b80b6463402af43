#include "platform/Event.h"

#include <utility>

namespace cutstack {

namespace {

constexpr std::size_t kCodeBytes = 4;

/// Four bytes as the number whose highest bits are the first one.
std::uint32_t numberOf(std::string_view fourBytes) {
    std::uint32_t number = 0;
    for (const char byte : fourBytes)
        number = number << 8U | static_cast<unsigned char>(byte);
    return number;
}

std::string fourBytesOf(std::uint32_t number) {
    std::string bytes;
    for (const unsigned shift : {24U, 16U, 8U, 0U})
        bytes += static_cast<char>(static_cast<unsigned char>(number >> shift & 0xFFU));
    return bytes;
}

} // namespace

std::optional<FourCharCode> fourCharCodeOf(std::string_view text) {
    if (text.size() != kCodeBytes)
        return std::nullopt;
    return FourCharCode{numberOf(text)};
}

std::string textOf(FourCharCode code) { return fourBytesOf(static_cast<std::uint32_t>(code)); }

EventDescriptor EventDescriptor::ofBytes(FourCharCode type, std::string bytes) {
    return {type, SharedBytes(std::move(bytes)), {}};
}

EventDescriptor EventDescriptor::ofInteger(std::int32_t value) {
    return ofBytes(EventType::longInteger, fourBytesOf(static_cast<std::uint32_t>(value)));
}

EventDescriptor EventDescriptor::ofBoolean(bool value) {
    return ofBytes(EventType::boolean, std::string(1, value ? '\1' : '\0'));
}

EventDescriptor EventDescriptor::ofList(std::vector<EventDescriptor> items) {
    EventDescriptor list{EventType::list, {}, {}};
    list.fields.reserve(items.size());
    for (EventDescriptor& item : items)
        list.fields.push_back({FourCharCode{}, std::move(item)});
    return list;
}

EventDescriptor EventDescriptor::ofRecord(std::vector<EventField> fields) {
    return {EventType::record, {}, std::move(fields)};
}

std::optional<std::int32_t> EventDescriptor::integer() const {
    if (type != EventType::longInteger || bytes.view().size() != kCodeBytes)
        return std::nullopt;
    return static_cast<std::int32_t>(numberOf(bytes.view()));
}

std::optional<bool> EventDescriptor::boolean() const {
    if (type != EventType::boolean || bytes.view().size() != 1)
        return std::nullopt;
    return bytes.view().front() != '\0';
}

const EventDescriptor* valueOf(const std::vector<EventField>& fields, FourCharCode keyword,
                               FourCharCode type) {
    for (const EventField& field : fields) {
        if (field.keyword == keyword && field.value.type == type)
            return &field.value;
    }
    return nullptr;
}

} // namespace cutstack
