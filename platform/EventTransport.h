#pragma once

// Carries events to other applications of the same user, and says which of them run. Any thread;
// several exchanges may be under way at once.

#include <chrono>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/Event.h"

namespace cutstack {

enum class SendMode { noReply = 1, waitReply = 3 };

/// What the system waits for a reply when the sender has no time of its own.
inline constexpr std::chrono::seconds kDefaultEventTimeout{120};

class EventTransport {
public:
    virtual ~EventTransport() = default;

    /// Sends `event` and, in waitReply mode, waits for `reply`, the parameters of the answer;
    /// values of 100 MB pass without being copied on this side. An application that the system is
    /// starting is waited for; one that does not run and is not being started is not found.
    /// On failure `reply` is empty.
    [[nodiscard]] virtual EventStatus send(const Event& event, SendMode mode,
                                           std::chrono::milliseconds timeout,
                                           std::vector<EventField>& reply) = 0;
};

/// The identifier of the application whose signature is `signature`, by which the system finds it.
[[nodiscard]] std::optional<std::string_view> identifierOfSignature(FourCharCode signature);

/// The signature of the application with that identifier.
[[nodiscard]] std::optional<FourCharCode> signatureOfIdentifier(std::string_view identifier);

/// Events over the session's message bus. Lives as long as the process.
[[nodiscard]] EventTransport& eventTransport();

} // namespace cutstack
