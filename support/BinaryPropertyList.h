#pragma once

// Reading of the binary form of property lists, in which a Mac keeps preferences. Nothing in the
// file is believed: every offset and count is checked against the file's size. Any thread.

#include <optional>
#include <string>
#include <string_view>

#include "support/PropertyList.h"

namespace cutstack {

/// Whether `bytes` begin as a binary property list of the version that is read here.
[[nodiscard]] bool isBinaryPropertyList(std::string_view bytes);

/// Reads a binary property list. The kinds of value are those of the XML form; sets, UIDs and
/// nulls, which other uses of the form have, are refused. Of equal keys the last one holds; a
/// date's fraction of a second is cut off.
///
/// A file may refer to one object from many places: the list has a copy in each. Files are refused
/// whose objects hold themselves, stand deeper than kPropertyListDepthLimit, or would grow out of
/// all proportion to the file's size.
///
/// On failure returns nothing, and `error` tells the first fault and its byte.
[[nodiscard]] std::optional<PropertyList> readBinaryPropertyList(std::string_view bytes,
                                                                 std::string& error);

} // namespace cutstack
