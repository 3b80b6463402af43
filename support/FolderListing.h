#pragma once

// The one way in which the program lists a folder. Rules that speak of "the last entry" or "the
// entry before" rest on the order in which a Mac's file system lists names: without regard to case.
// Any thread.

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace cutstack {

/// The names in a folder in listing order, hidden ones included; nothing when it cannot be listed.
[[nodiscard]] std::optional<std::vector<std::string>> namesInFolder(const std::string& path);

/// Sorts names as a listing does: by their case-folded forms, equal ones by their bytes.
void sortAsListed(std::vector<std::string>& names);

/// The extension behind the last dot, without it; empty when there is none. A name that only
/// begins with a dot has none.
[[nodiscard]] std::string_view pathExtension(std::string_view path);

/// The path without its extension and the dot before it.
[[nodiscard]] std::string_view withoutPathExtension(std::string_view path);

/// The part behind the last slash.
[[nodiscard]] std::string_view fileNameOf(std::string_view path);

/// The path of what is called `name` in a folder.
[[nodiscard]] std::string pathInFolder(std::string_view folder, std::string_view name);

/// The path as an argument of a tool, which would take one that begins with a dash for an option.
[[nodiscard]] std::string asOperand(const std::string& path);

/// The path without slashes at its end; "/" stays.
[[nodiscard]] std::string withoutSlashAtEnd(std::string_view path);

} // namespace cutstack
