#pragma once

// Numbers that are random and yet the same on every machine: integer arithmetic only, and none of
// the standard distributions, whose results differ between libraries. One thread.

#include <cstdint>
#include <random>
#include <string>

namespace cutstack::bench {

class Random {
public:
    explicit Random(std::uint64_t seed) : engine_(seed) {}

    /// 0 to `limit` - 1. REQUIRES: `limit` is above 0.
    [[nodiscard]] std::size_t below(std::size_t limit) { return engine_() % limit; }
    [[nodiscard]] int between(int least, int most) {
        return least + static_cast<int>(below(static_cast<std::size_t>(most - least) + 1));
    }
    [[nodiscard]] bool oneIn(std::size_t limit) { return below(limit) == 0; }

    /// A UUID in capitals, as editors write it.
    [[nodiscard]] std::string uuid() {
        std::string text;
        for (const int digits : {8, 4, 4, 4, 12}) {
            if (!text.empty())
                text += '-';
            for (std::uint64_t bits = engine_(), i = 0; i < static_cast<std::uint64_t>(digits);
                 bits >>= 4U, ++i)
                text += "0123456789ABCDEF"[bits & 0xFU];
        }
        return text;
    }

private:
    std::mt19937_64 engine_;
};

} // namespace cutstack::bench
