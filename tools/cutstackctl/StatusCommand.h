#pragma once

// How everything stands. Main thread.

#include "tools/cutstackctl/Options.h"
#include "tools/cutstackctl/Program.h"

namespace cutstack::cutstackctl {

/// Prints watch list, settings, editor, version store, jobs, and the last runs of Cutstack with the
/// ends of their logs; with --json as one object. Returns the exit status.
[[nodiscard]] int status(Program& program, const Options& options);

} // namespace cutstack::cutstackctl
