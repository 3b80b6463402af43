#pragma once

// Numbers as the files of this program hold them: decimal texts and 32-bit frame counts. Pure
// functions; any thread.

#include <cstdint>
#include <string_view>

namespace cutstack {

/// The integer that a text begins with: white space, a sign, ASCII digits, as many as there are;
/// 0 when there are none. Clamped to 32 bits.
[[nodiscard]] std::int32_t integerValue(std::string_view text);

/// Sum and difference of 32-bit frame counts; they wrap instead of overflowing.
[[nodiscard]] std::int32_t wrappingSum(std::int32_t a, std::int32_t b);
[[nodiscard]] std::int32_t wrappingDifference(std::int32_t a, std::int32_t b);

} // namespace cutstack
