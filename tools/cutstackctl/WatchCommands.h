#pragma once

// The commands about the watch list. Each prints what it did, and returns the exit status. Main
// thread.

#include "tools/cutstackctl/Options.h"
#include "tools/cutstackctl/Program.h"

namespace cutstack::cutstackctl {

/// Adds project files and writes the jobs anew. A file that cannot be added does not keep the
/// others back.
[[nodiscard]] int watch(Program& program, const Options& options);

/// Takes projects off the list and writes the jobs anew.
[[nodiscard]] int unwatch(Program& program, const Options& options);

/// Prints the watch list. As JSON, a project is
///
///     {"path": "/.../Promo.fcp", "sequence": {"name": "Main", "uuid": "..."}, "exists": true,
///      "versions": 12}
///
/// with null for "sequence" when the entire project is backed up.
[[nodiscard]] int list(Program& program, const Options& options);

} // namespace cutstack::cutstackctl
