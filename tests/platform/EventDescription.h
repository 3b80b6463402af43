#pragma once

// Events as text, for comparing them and for reading what a failed test says.

#include <functional>
#include <string>
#include <vector>

#include "platform/Event.h"

namespace cutstack {

inline std::string describe(const std::vector<EventField>& fields);

inline std::string describe(const EventDescriptor& value) {
    std::string text = value.type == FourCharCode{} ? "" : textOf(value.type);
    if (!value.fields.empty())
        return text + "[" + describe(value.fields) + "]";
    const auto bytes = value.bytes.view();
    text += "(" + std::string(bytes.substr(0, 100)) + ")";
    if (bytes.size() > 100)
        text += std::to_string(bytes.size()) + "#" +
                std::to_string(std::hash<std::string_view>()(bytes));
    return text;
}

inline std::string describe(const std::vector<EventField>& fields) {
    std::string text;
    for (const EventField& field : fields)
        text += (field.keyword == FourCharCode{} ? "" : textOf(field.keyword) + "=") +
                describe(field.value) + " ";
    return text;
}

/// An event for the editor.
inline Event eventForEditor(FourCharCode eventID, std::vector<EventField> parameters = {}) {
    Event event;
    event.eventClass = fourCharCode("KeyG");
    event.eventID = eventID;
    event.target = EventDescriptor::ofBytes(EventType::sign, "KeyG");
    event.parameters = std::move(parameters);
    return event;
}

} // namespace cutstack
