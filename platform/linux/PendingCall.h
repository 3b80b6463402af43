#pragma once

// Calls whose answer nobody waits for. The connection stays all the same until the answer is there:
// a receiver that asks the bus who has called is told nothing once the caller has gone. Any thread.

#include <functional>
#include <string>

#include "platform/linux/SessionBus.h"

namespace cutstack {

/// Sends `call`, whose connection is `bus`, and returns when it is on its way. `whenOver`, which
/// must not throw, is called on some thread when it is answered in whatever way, or never will be.
/// On failure returns false, with the reason in `error`.
[[nodiscard]] bool beginCall(Bus bus, BusMessage call, std::function<void()> whenOver,
                             std::string& error);

/// The same for a call that is to have no answer; the connection stays until the receiver has seen
/// it.
[[nodiscard]] bool sendWithoutReply(Bus bus, BusMessage call, std::string& error);

} // namespace cutstack
