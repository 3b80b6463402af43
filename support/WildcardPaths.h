#pragma once

// Names with wildcards in them. Pure; any thread.

#include <string_view>

namespace cutstack {

/// Whether the whole `name` is as `pattern` says: "*" is any run of characters, also none, "?" is
/// one character, everything else is itself. Case counts. A character is a Unicode code point; each
/// byte that is not UTF-8 is one of its own. Takes time in proportion to the product of the lengths
/// at most.
[[nodiscard]] bool matchesWildcards(std::string_view name, std::string_view pattern);

} // namespace cutstack
