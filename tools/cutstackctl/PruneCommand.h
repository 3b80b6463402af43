#pragma once

// What retention would remove. Main thread.

#include "tools/cutstackctl/Options.h"
#include "tools/cutstackctl/Program.h"

namespace cutstack::cutstackctl {

/// Prints the files that the end of the next backup would remove, and by which rule; removes
/// nothing. As JSON, a file is
///
///     {"project": "Promo.fcp", "file": "/.../Promo.00001.fcp", "rule": "older than 90 days",
///      "bytes": 1234}
///
/// Returns the exit status.
[[nodiscard]] int prune(Program& program, const Options& options);

} // namespace cutstack::cutstackctl
