#pragma once

// How a person names project files, and what of the watch list is meant. Any thread but where the
// watch list is handed over, which is used on the main thread only.

#include "app/WatchList.h"

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace cutstack::cutstackctl {

/// The path from the root, without "." and "..". Links stay, but where ".." follows one.
[[nodiscard]] std::string absolutePath(const std::string& given);

/// Whether there is a Final Cut Pro project at `path`; else the reason is in `error`.
[[nodiscard]] bool isProjectFile(const std::string& path, std::string& error);

/// The paths of the rows with their tildes expanded, one for each row.
[[nodiscard]] std::vector<std::string> pathsOfRows(const WatchList& list);

/// The row with that path or, if there is none, those whose file names `given` is, with or without
/// their extensions.
[[nodiscard]] std::vector<std::size_t> rowsMeantBy(const std::string& given, const WatchList& list);

/// The one row that is meant. Nothing, with the reason in `error`, when there is none or several.
[[nodiscard]] std::optional<std::size_t> rowOf(const std::string& given, const WatchList& list,
                                               std::string& error);

/// The row with that path, which is absolute.
[[nodiscard]] std::optional<std::size_t> rowWithPath(const std::string& path,
                                                     const WatchList& list);

} // namespace cutstack::cutstackctl
