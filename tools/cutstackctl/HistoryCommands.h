#pragma once

// The commands that only read the version store. They print on standard output and return the exit
// status. Main thread.

#include "tools/cutstackctl/Options.h"

namespace cutstack::cutstackctl {

/// Prints the versions of a project with what changed in them.
[[nodiscard]] int history(const Options& options);

/// Prints the projects that have versions.
[[nodiscard]] int projects(const Options& options);

} // namespace cutstack::cutstackctl
