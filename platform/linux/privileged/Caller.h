#pragma once

// For whom the privileged helper works, and what that user may have done. The tools run as root,
// so two things are looked at first that root itself would not be held back by:
//
// - each path must be one that the caller may see: finding it, with the caller's own user and
//   groups, must not be forbidden. Whether the caller may change what is there does not matter;
//   that is what the rights are for.
// - nothing that is changed or taken away is one of the folders that hold the system, or the
//   caller's home or a folder above it, under whatever name or through whatever link.
//
// Both keep mistakes and curious programs off; they cannot hold against a caller that swaps links
// between the look and the tool, and need not: that caller has shown to be an administrator.
// The helper has one thread, and asking changes its user for a moment.

#include <optional>
#include <string>
#include <vector>

#include <sys/types.h>

#include "platform/linux/privileged/Commands.h"

namespace cutstack {

struct Caller {
    pid_t process = 0;
    uid_t user = 0;
    gid_t group = 0;
    std::vector<gid_t> groups;
    std::string home; ///< empty when it has none
};

/// The process that made the pair to which `socket` belongs. Nothing, with the reason in `error`,
/// for no socket, when it is root, or when the user is not `user`, whom the tool that gave the
/// rights names.
[[nodiscard]] std::optional<Caller> callerBehind(int socket, std::optional<uid_t> user,
                                                 std::string& error);

/// Why `command` is not run for the caller; nothing when it is. REQUIRES: root.
[[nodiscard]] std::optional<std::string> refusalFor(const PrivilegedCommand& command,
                                                    const Caller& caller);

} // namespace cutstack
