#pragma once

// Writing of property lists, always as XML, which every reader knows and people can look into.
// Any thread.

#include <optional>
#include <string>

#include "support/PropertyList.h"

namespace cutstack {

/// `list` as an XML property list in UTF-8, indented with tabs, dictionaries in the order of their
/// keys. Reading it gives an equal list.
///
/// Nothing when `list` holds what XML cannot carry: a string that is not valid UTF-8 or has control
/// characters other than tab, line feed and carriage return, a date that isPropertyListDate()
/// denies, or arrays and dictionaries nested deeper than kPropertyListDepthLimit.
[[nodiscard]] std::optional<std::string> xmlPropertyList(const PropertyList& list);

} // namespace cutstack
