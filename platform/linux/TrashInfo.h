#pragma once

// How a trash folder names things and what it notes about them. Pure functions; any thread.

#include <chrono>
#include <cstddef>
#include <string>

namespace cutstack {

/// What the name of a note has after the name of the thing that it is about.
inline constexpr const char* kTrashInfoExtension = ".trashinfo";

/// The note on a thing: the path to put it back to, as its bytes are, and the local time.
[[nodiscard]] std::string trashInfo(const std::string& originalPath,
                                    std::chrono::sys_seconds localTime);

/// What a thing is called in the trash at the `number`th attempt, from 1: its name, from the second
/// on with " 2", " 3" before its extension, the part before that shortened to what fits into
/// `mostBytes`. No UTF-8 character is cut through.
/// REQUIRES: mostBytes is 40 or more.
[[nodiscard]] std::string trashName(const std::string& name, unsigned number,
                                    std::size_t mostBytes);

} // namespace cutstack
