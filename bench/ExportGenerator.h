#pragma once

// Exports to measure with: projects as editors write them, made up from a seed. The same seed
// and size give the same bytes on every machine.
//
// What makes them like real ones: bins within bins, clips that share their media and their names,
// ids formed from a name and a counter in the order of first mention (so that an inserted clip
// shifts the ids behind it), media described at their first mention and referred to afterwards,
// UUIDs in item histories, links from every clip to all of its group, blank leaves, indentation by
// tabs; about 25 elements and 18 texts a kilobyte.
//
// Any thread; nothing is shared between calls.

#include "bench/ExportModel.h"

#include <cstddef>
#include <cstdint>
#include <string>

namespace cutstack::bench {

/// An export and a later one of the same project.
struct ExportPair {
    std::string base;
    std::string next;
    [[nodiscard]] std::size_t bytes() const { return base.size() + next.size(); }
};

/// An export of about `sizeInBytes` bytes (it ends with the bin that reaches the size), and one
/// after so many edits, spread over the project.
[[nodiscard]] ExportPair generateExports(std::uint64_t seed, std::size_t sizeInBytes,
                                         std::size_t editCount, Edits edits);

} // namespace cutstack::bench
