#pragma once

// How the version store names things, and reads its names back. Each watched project has a folder
// in the store, named like the project file:
//
//      Versions/Promo.fcp/Promo.00007.fcp      the project copy of version 7
//      Versions/Promo.fcp/Promo.00007.xml      its XML copy
//
// Because numbers are padded, names sort as versions do, and a version's project copy comes before
// its XML copy. Pure functions; any thread.

#include <cstdint>
#include <string>
#include <string_view>

namespace cutstack {

/// A version number with leading zeros to five digits; longer ones as they are. A negative number
/// keeps its sign behind the zeros ("0000-1").
[[nodiscard]] std::string padNumber(std::int32_t number);

/// A size for people: "980 B", "1.50 KB", "12.00 MB", "2.10 GB", by 1024.
[[nodiscard]] std::string formatFileSize(std::uint64_t sizeInBytes);

/// What the copies of a project are called before their number: the project's file name without
/// its extension, taken away twice ("Promo.final.fcp" gives "Promo").
[[nodiscard]] std::string stemOfProject(std::string_view projectPath);

[[nodiscard]] std::string projectCopyName(std::string_view stem, std::int32_t number);
[[nodiscard]] std::string xmlCopyName(std::string_view stem, std::int32_t number);

/// The number in the name of a copy as it is written, "00012" for Promo.00012.xml; empty when the
/// name has none.
[[nodiscard]] std::string versionOfFile(std::string_view path);

/// The same as a number; 0 when it is none.
[[nodiscard]] std::int32_t versionNumberOfFile(std::string_view path);

/// How many versions directly below `desiredNumber` have no XML copy in the project folder
/// `destination`; 0 for a desired number below 2. Looks at the file system.
[[nodiscard]] std::int32_t backupGapForProject(std::string_view projectPath,
                                               const std::string& destination,
                                               std::int32_t desiredNumber);

} // namespace cutstack
