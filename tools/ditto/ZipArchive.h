#pragma once

// Zip archives as every other program reads them: names in UTF-8, permissions, times, links as
// links. Main thread.

#include <string>

namespace cutstack::ditto {

/// Makes the zip archive `destination` of what is at `source`, a file, a folder with everything in
/// it, or a link itself. With `keepsParent` a folder's own name stands above its content. Items
/// that vanish meanwhile are left out.
///
/// On success the archive is on the disk; one that was there before was replaced. On failure
/// returns false with the reason in `error`, the path of the item first; what was at `destination`
/// is there unchanged and nothing else is left. Refused are names that are not UTF-8, which no
/// reader could be told how to read, and sockets, pipes and devices.
[[nodiscard]] bool makeZipArchive(const std::string& source, const std::string& destination,
                                  bool keepsParent, std::string& error);

} // namespace cutstack::ditto
