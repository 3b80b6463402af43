#pragma once

// A line on the terminal that says how far long work is. It is written to standard error, only when
// that is a terminal, and gone when the object is. One thread.

#include <optional>
#include <string_view>

namespace cutstack {

class ProgressLine {
public:
    ProgressLine();
    ~ProgressLine();
    ProgressLine(const ProgressLine&) = delete;
    ProgressLine& operator=(const ProgressLine&) = delete;

    /// Replaces the line by "WHAT ... 45 %", without the number when it is not known yet.
    void show(std::string_view what, std::optional<unsigned> percent);

private:
    bool isTerminal_;
    bool isShown_ = false;
};

} // namespace cutstack
