#pragma once

// Copying, moving and removing by the user's own rights. Nothing is ever replaced. Any thread.

#include <array>
#include <string>
#include <string_view>

#include "platform/FileCopier.h"
#include "platform/FileMover.h"

namespace cutstack {

/// What may be in a folder that counts as empty: a Mac's notes on how it looks.
inline constexpr std::array<std::string_view, 3> kNamesNotCounted = {".DS_Store", "Icon", "Icon\r"};

/// Whether there is something at `path`, be it a link that leads nowhere.
[[nodiscard]] bool somethingIsAt(const std::string& path);

/// Whether it is certain that nothing is at `path`; no where that cannot be found out.
[[nodiscard]] bool nothingIsAt(const std::string& path);

/// FileCopier::copy(), refused where something is at `destination` ("File exists") and where that
/// lies within `source` ("Invalid argument").
[[nodiscard]] CopyEnd copyItem(const std::string& source, const std::string& destination,
                               const FileCopier& copier, const FileCopier::Observer& observer,
                               std::string& error);

/// How a move ended. `copied`: the destination is whole on another file system, but the source, or
/// a part of it, could not be removed. `failedForAnybody`: CopyEnd::failedForAnybody.
enum class MoveEnd { moved, copied, failed, failedForAnybody };

/// Moves what is at `source` to `destination`, where nothing may be; to another file system by a
/// copy, and the source goes only when that is whole and on the disk. `error` is the reason for
/// anything but a move; a failed one has changed nothing.
[[nodiscard]] MoveEnd moveItem(const std::string& source, const std::string& destination,
                               const FileMover& mover, const FileCopier& copier,
                               std::string& error);

/// Removes what is at `path`, a folder with everything in it, a link and not its target. Returns 0
/// or errno's number; then what could not be removed, and what comes behind it, is still there.
/// The root folder and paths that end in "." or ".." are refused with EBUSY.
[[nodiscard]] int removeItem(const std::string& path);

} // namespace cutstack
