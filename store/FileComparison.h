#pragma once

// Whether two files hold the same bytes. Any thread.

#include <string>

namespace cutstack {

/// Whether both are regular files (links are not followed) with the same content. Files that
/// cannot be read whole are never equal.
[[nodiscard]] bool haveEqualContents(const std::string& a, const std::string& b);

} // namespace cutstack
