#pragma once

// Runs the tools of the privileged helper: with an environment, streams and folder of their own, in
// a session of their own, so that they come to their end also when the helper has gone. The helper
// has one thread.

#include <string>
#include <vector>

#include "platform/linux/PrivilegedProtocol.h"
#include "platform/linux/privileged/Commands.h"

namespace cutstack {

/// Starts the tool, waits for it when `waits` is set, and answers the request.
[[nodiscard]] PrivilegedAnswer answerOfRunning(const PrivilegedCommand& command, bool waits);

/// Forgets the tools that have ended since they were started without waiting.
void forgetEndedTools();

} // namespace cutstack
