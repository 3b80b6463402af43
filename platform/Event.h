#pragma once

// Events: requests that one application sends to another, with typed parameters, and the answers.
// An event has a class and an ID; each parameter has a keyword and a value; each value has a type
// that says how its bytes are read. All of these are four-letter codes. Values; any thread.
//
//   Event 'KeyG' 'eXML'
//     fcpP  fsrf  80 bytes, a FileReference
//   reply
//     xmlD  utf8  the document

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/SharedBytes.h"

namespace cutstack {

/// Four bytes that read as letters, the first one in the highest bits.
enum class FourCharCode : std::uint32_t {};

/// The code that `text` spells: fourCharCode("KeyG").
[[nodiscard]] constexpr FourCharCode fourCharCode(const char (&text)[5]) {
    std::uint32_t code = 0;
    for (int i = 0; i < 4; ++i)
        code = code << 8U | static_cast<unsigned char>(text[i]);
    return FourCharCode{code};
}

/// The code that four bytes spell; nothing for another number of them.
[[nodiscard]] std::optional<FourCharCode> fourCharCodeOf(std::string_view text);

/// The four bytes of a code.
[[nodiscard]] std::string textOf(FourCharCode code);

namespace EventType {
inline constexpr auto null = fourCharCode("null");        ///< no bytes
inline constexpr auto sign = fourCharCode("sign");        ///< an application's signature, 4 bytes
inline constexpr auto fsrf = fourCharCode("fsrf");        ///< a FileReference, 80 bytes
inline constexpr auto furl = fourCharCode("furl");        ///< an escaped path, UTF-8, no terminator
inline constexpr auto utf8 = fourCharCode("utf8");        ///< text, no terminator
inline constexpr auto longInteger = fourCharCode("long"); ///< 4 bytes, big-endian, signed
inline constexpr auto boolean = fourCharCode("bool");     ///< 1 byte
inline constexpr auto alias = fourCharCode("alis");       ///< a file, for the Finder
inline constexpr auto list = fourCharCode("list");        ///< values
inline constexpr auto record = fourCharCode("reco");      ///< values with keywords
} // namespace EventType

struct EventField;

/// A value. A list has `fields` without keywords, a record has them with; other types have bytes.
struct EventDescriptor {
    FourCharCode type = EventType::null;
    SharedBytes bytes;
    std::vector<EventField> fields;

    [[nodiscard]] static EventDescriptor ofBytes(FourCharCode type, std::string bytes);
    [[nodiscard]] static EventDescriptor ofInteger(std::int32_t value);
    [[nodiscard]] static EventDescriptor ofBoolean(bool value);
    [[nodiscard]] static EventDescriptor ofList(std::vector<EventDescriptor> items);
    [[nodiscard]] static EventDescriptor ofRecord(std::vector<EventField> fields);

    /// The number of a 'long' of 4 bytes; nothing for anything else.
    [[nodiscard]] std::optional<std::int32_t> integer() const;
    /// The truth of a 'bool' of 1 byte; nothing for anything else.
    [[nodiscard]] std::optional<bool> boolean() const;
};

/// A value with its keyword: a parameter of an event, a field of a record.
struct EventField {
    FourCharCode keyword{};
    EventDescriptor value;
};

/// The value of the first of `fields` with that keyword and that type; nullptr when there is none.
[[nodiscard]] const EventDescriptor* valueOf(const std::vector<EventField>& fields,
                                             FourCharCode keyword, FourCharCode type);

inline constexpr std::int16_t kAutoGenerateReturnID = -1;
inline constexpr std::int32_t kAnyTransactionID = 0;

struct Event {
    FourCharCode eventClass{};
    FourCharCode eventID{};
    EventDescriptor target; ///< 'sign' with the receiver's signature
    std::int16_t returnID = kAutoGenerateReturnID;
    std::int32_t transactionID = kAnyTransactionID;
    std::vector<EventField> parameters;
};

/// How an exchange ended, with the numbers that Macs give these failures.
enum class EventStatus : std::int32_t {
    noError = 0,
    applicationNotFound = -600, ///< nobody answers for the target
    connectionInvalid = -609,   ///< the connection broke in the middle
    wrongData = -1703,          ///< what came is not an event's reply
    eventNotHandled = -1708,    ///< the receiver does not know the event, or refused it
    timeout = -1712,
    failed = -10000, ///< the receiver reports a failure of its own
};

} // namespace cutstack
