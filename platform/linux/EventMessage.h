#pragma once

// How events and their answers look as messages on the bus; docs/editor-protocol.md tells it to
// people who write an application that answers them. Writing and reading are functions of a message
// alone. What is read comes from another process: whatever is in it, reading ends with an event or
// with a reason, takes time and memory in proportion to the message, and never more than the bounds
// below. A message belongs to one thread; what was read from it is independent of it.

#include <cstddef>
#include <optional>
#include <string>

#include <systemd/sd-bus.h>

#include "platform/Event.h"
#include "platform/EventService.h"

namespace cutstack {

inline constexpr auto kEventPath = "/com/zantrel/Events";
inline constexpr auto kEventInterface = "com.zantrel.Events1";
inline constexpr auto kEventMethod = "Send";
inline constexpr auto kEventSignature = "ssa(ssv)";  ///< class, ID, parameters
inline constexpr auto kAnswerSignature = "isa(ssv)"; ///< status, message, parameters

/// Larger values travel as sealed memory.
inline constexpr std::size_t kMostInlineBytes = std::size_t{64} << 10U;
/// Lists and records in one another. A message of the bus has at most 64 levels of containers, and
/// each list takes three.
inline constexpr unsigned kMostLevels = 16;
inline constexpr unsigned kMostValues = 100'000;
/// All sealed memory of one message together: several times the largest export there is, and far
/// from what fills an address space.
inline constexpr std::size_t kMostMappedBytes = std::size_t{1} << 30U;

/// Appends `event` to a call of Send; its target and IDs of the exchange are no part of it. On
/// failure returns false with the reason in `error`, and the message is of no use any more.
[[nodiscard]] bool appendEvent(sd_bus_message* message, const Event& event, std::string& error);

/// The event in a call of Send. On failure nothing, with the reason in `error`.
[[nodiscard]] std::optional<Event> readEvent(sd_bus_message* message, std::string& error);

/// appendEvent() for the reply to a call.
[[nodiscard]] bool appendAnswer(sd_bus_message* message, const EventAnswer& answer,
                                std::string& error);

/// readEvent() for the reply to a call.
[[nodiscard]] std::optional<EventAnswer> readAnswer(sd_bus_message* message, std::string& error);

} // namespace cutstack
