#pragma once

// Making a version when a person wants one. Main thread.

#include "tools/cutstackctl/Options.h"
#include "tools/cutstackctl/Program.h"

namespace cutstack::cutstackctl {

/// Makes a version of a project file, watched or not, with an XML copy of what the watch list says;
/// starts the editor if need be. Prints which version it is, or else what the log has about it.
/// Returns the exit status.
[[nodiscard]] int snapshot(Program& program, const Options& options);

} // namespace cutstack::cutstackctl
