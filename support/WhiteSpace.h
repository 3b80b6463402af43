#pragma once

// White space as log messages mean it: Unicode's separators, tab, and everything that ends a line.
// Pure functions; any thread.

#include <string_view>

namespace cutstack {

/// `text` without the white space and line ends at its beginning and end; a view into `text`.
[[nodiscard]] std::string_view trimmed(std::string_view text);

} // namespace cutstack
