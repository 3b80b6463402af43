#pragma once

// Identity that lasts. Exports of many editors carry no UUIDs and number their ids anew each time,
// so that an old clip looks new to whoever compares two of them. Here an export is given ids and
// UUIDs that stay with its items from one save to the next.

#include "tools/projecthost/identity/IdentityStore.h"

#include <optional>
#include <string>
#include <string_view>

namespace cutstack::projecthost {

/// The document with an id for every sequence, bin, clip, clip item, generator item and file that
/// it describes, with a UUID for those of them that can have one and have none of their own, and
/// with every reference to an id rewritten. All else stays byte by byte, except that UTF-16 becomes
/// UTF-8.
///
/// Items are recognised by what `store` knows of the last saves of `projectPath` (see
/// ItemMatching.h), and the store then knows this one as the last. The same document gives the same
/// bytes again. An id is never given to another item of that project.
///
/// On failure returns nothing and says why in `error`: the document is no well-formed XML, or the
/// store cannot be used. Whoever serves the document may then serve it as it is.
[[nodiscard]] std::optional<std::string> withStableIdentity(std::string_view document,
                                                            const std::string& projectPath,
                                                            IdentityStore& store,
                                                            std::string& error);

} // namespace cutstack::projecthost
