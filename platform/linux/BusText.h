#pragma once

// Texts for the bus, which ends the connection of a sender whose strings are not UTF-8 or hold a
// NUL. Pure; any thread.

#include <string>
#include <string_view>

namespace cutstack {

/// `text` with a question mark in place of each byte that a string of the bus cannot have, as the
/// bytes of a file's name can be.
[[nodiscard]] std::string busText(std::string_view text);

} // namespace cutstack
