#pragma once

// Choosing what of a watched project is backed up. Main thread.

#include "app/ZTProject.h"
#include "tools/cutstackctl/Options.h"
#include "tools/cutstackctl/Program.h"

#include <optional>

namespace cutstack::cutstackctl {

/// The sequence of which alone the XML copies are made; nothing for the entire project.
[[nodiscard]] std::optional<ProjectSequence> chosenSequence(const ZTProject& row);

/// With a name or identifier chooses that sequence, with --all the entire project. With neither
/// prints the sequences that the editor finds in the project, which is started if need be; as JSON
///
///     {"name": "Main", "uuid": "...", "chosen": true}
///
/// Returns the exit status.
[[nodiscard]] int sequence(Program& program, const Options& options);

} // namespace cutstack::cutstackctl
