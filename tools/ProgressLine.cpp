#include "tools/ProgressLine.h"

#include <iostream>
#include <unistd.h>

namespace cutstack {

namespace {
/// Back to the first column, and everything behind it deleted.
constexpr std::string_view kClearedLine = "\r\x1b[K";
} // namespace

ProgressLine::ProgressLine() : isTerminal_(isatty(STDERR_FILENO) == 1) {}

ProgressLine::~ProgressLine() {
    if (isShown_)
        std::cerr << kClearedLine << std::flush;
}

void ProgressLine::show(std::string_view what, std::optional<unsigned> percent) {
    if (!isTerminal_)
        return;
    isShown_ = true;
    std::cerr << kClearedLine << what << " ...";
    if (percent)
        std::cerr << ' ' << *percent << " %";
    std::cerr << std::flush;
}

} // namespace cutstack
