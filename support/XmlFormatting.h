#pragma once

// Laying XML out for people: an element a line, indented by its depth, and nothing else changed.
// Pure; any thread.

#include <optional>
#include <string>

namespace cutstack {

/// The document laid out, as UTF-8 with its declaration and document type. Text that is only white
/// space between elements is replaced by the layout; every other text stays as it is, also the
/// white space that is all that an element holds. A document with elements beside text, or of great
/// depth, is not laid out at all. Comments and processing instructions are left
/// out. On failure, for what is not well-formed, returns nothing with line, column and fault in
/// `error`.
[[nodiscard]] std::optional<std::string> prettyPrintedXml(std::string document, std::string& error);

} // namespace cutstack
