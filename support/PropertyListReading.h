#pragma once

// Reading of property lists that come from anywhere: written here, by other programs, carried over
// from a Mac. Both forms are read, told apart by their first bytes: binary ("bplist00",
// BinaryPropertyList.h) and XML. Reading is strict: a list is returned whole or not at all, never
// half-understood. Any thread.

#include <optional>
#include <string>

#include "support/PropertyList.h"

namespace cutstack {

/// Reads the list that `bytes` is.
///
/// XML is a `plist` element with one value: `dict` (`key` and value in turn; of equal keys the last
/// one holds), `array`, `string`, `integer` (decimal with an optional sign, or hexadecimal after
/// "0x"; signed or unsigned 64 bits), `real`, `true`, `false`, `date` ("YYYY-MM-DDTHH:MM:SSZ", a
/// day of the calendar) or `data` (base64, white space anywhere). Attributes say nothing. Lists
/// nested deeper than kPropertyListDepthLimit are refused.
///
/// On failure returns nothing, and `error` tells the first fault: with line and column in XML, with
/// the byte in a binary list. On success `error` is as it was.
[[nodiscard]] std::optional<PropertyList> readPropertyList(std::string bytes, std::string& error);

} // namespace cutstack
