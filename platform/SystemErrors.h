#pragma once

// The system's words for the numbers that errno takes. Pure; any thread.

#include <string>
#include <system_error>

namespace cutstack {

/// "No such file or directory" for ENOENT, and so on.
[[nodiscard]] inline std::string wordingOf(int fault) {
    return std::generic_category().message(fault);
}

} // namespace cutstack
