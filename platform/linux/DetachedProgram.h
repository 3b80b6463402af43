#pragma once

// Programs that live on their own: in a session of their own, with nothing to read from and nobody
// to write to, and no zombie when they end before this process does. Any thread.

#include <functional>
#include <string>
#include <vector>

namespace cutstack {

/// Starts `program`, a path or a name that is looked for in PATH, with `arguments` (its own name
/// not among them). `whenEnded`, which must not throw, is called on some thread when it has ended.
/// No shell is involved. On failure returns false with the system's wording in `error`.
[[nodiscard]] bool startDetached(const std::string& program,
                                 const std::vector<std::string>& arguments,
                                 std::function<void()> whenEnded, std::string& error);

} // namespace cutstack
