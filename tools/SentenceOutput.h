#pragma once

// Printing sentences for people and for other programs: a sentence a line.

#include <ostream>
#include <span>
#include <string>
#include <string_view>

namespace cutstack {

/// `sentence` on one line that does nothing to a terminal: control characters in names, and those
/// that break lines or turn the direction of writing, become escapes as C writes them ("\n",
/// "\x1b", "\u202e"); a tab stays.
[[nodiscard]] std::string onOneLine(std::string_view sentence);

/// Prints each sentence on a line. False when the stream failed.
[[nodiscard]] bool printSentences(std::ostream& out, std::span<const std::string> sentences);

} // namespace cutstack
