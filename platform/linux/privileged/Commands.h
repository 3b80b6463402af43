#pragma once

// What the privileged helper does for its caller: the few tools it knows, each with exactly the
// options it is run with and then only paths. Everything else is refused. Pure; any thread.
//
// The manager of the user's jobs is not among the tools: it is a service of the user's own session,
// which root neither reaches nor needs to be asked for.

#include <optional>
#include <string>
#include <vector>

#include "platform/linux/PrivilegedProtocol.h"

namespace cutstack {

/// A request that was found among the known ones.
struct PrivilegedCommand {
    std::string program; ///< where the tool is on this system
    std::vector<std::string> options;
    std::vector<std::string> operands;
    /// How many of the operands, from the first, are changed or taken away; the others are only
    /// read or made.
    std::size_t changedOperands = 0;
};

/// The command that a request asks for; nothing, with the reason in `refusal`, when no such tool,
/// options or number of paths is known, or a path is not a plain absolute one.
[[nodiscard]] std::optional<PrivilegedCommand> commandFor(const PrivilegedRequest& request,
                                                          std::string& refusal);

} // namespace cutstack
