#pragma once

// A mark that tells an export from the file that it was made of. A project file may be a former
// export, byte by byte: somebody has put an XML copy in its place. A copy of what is then served
// would be taken for a duplicate of the project file's copy, and removed. So what would be served
// as it stands in the file gets a comment at its beginning, or loses the one that it has. Pure; any
// thread.

#include <string>
#include <string_view>

namespace cutstack::projecthost {

/// The comment.
inline constexpr std::string_view kServedMark = "<!-- as in the project file -->";

/// Whether the document has the mark, right behind the start tag of its root.
[[nodiscard]] bool hasServedMark(std::string_view document);

/// The document without the mark if it has it, and with it if it has none; the one is never the
/// other, however both are laid out. A root without content stays as it is.
/// REQUIRES: `document` is well-formed.
[[nodiscard]] std::string withOtherServedMark(std::string document);

} // namespace cutstack::projecthost
