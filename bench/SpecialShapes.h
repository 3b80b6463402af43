#pragma once

// Pairs of exports that have much of one thing: the shapes in which a search that looks harmless in
// an ordinary export would make the time grow with the square of the size. Each is made for a
// count, so that the time for twice the count can be laid beside the time for the count.
//
// Any thread; nothing is shared between calls.

#include "bench/ExportGenerator.h"

#include <cstddef>
#include <span>
#include <string_view>

namespace cutstack::bench {

struct SpecialShape {
    std::string_view name;
    std::size_t count; ///< of what the shape has much of, at its smaller size
    ExportPair (*make)(std::size_t count);
};

/// All shapes, a row each.
[[nodiscard]] std::span<const SpecialShape> specialShapes();

} // namespace cutstack::bench
