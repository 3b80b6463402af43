#pragma once

// The file in which a distribution says what it is. Pure functions; any thread.

#include <optional>
#include <string>
#include <string_view>

namespace cutstack {

/// The value of `key` in the content of an os-release file, quotes and escapes taken away. The
/// last of several holds; an empty value counts as none.
[[nodiscard]] std::optional<std::string> osReleaseValue(std::string_view content,
                                                        std::string_view key);

} // namespace cutstack
