#pragma once

// A project's table of contents: an XMEML document with its bins and sequences only, nested as in
// the project, each with its id, UUID and name. Somebody chooses a sequence from it. Pure; any
// thread.

#include "tools/projecthost/DocumentOutline.h"

#include <string>

namespace cutstack::projecthost {

/// The table of contents of the outlined project. Every sequence comes once, where the browser has
/// it, though it may be written in full in the timeline that mentions it first; one that only a
/// timeline has comes behind the item that holds it.
/// REQUIRES: the outline has a root.
[[nodiscard]] std::string tableOfContents(const DocumentOutline& project);

/// What every document that is served begins with: the declaration, the document type, and the
/// start tag of `project`'s root, with its version and what it may declare for those within.
[[nodiscard]] std::string documentHead(const DocumentOutline& project);

inline constexpr std::string_view kDocumentEnd = "</xmeml>\n";

} // namespace cutstack::projecthost
