#pragma once

// The option "--hide KIND[,KIND...]" that every tool for reading changes has.

#include "changes/ChangeFilter.h"
#include "tools/CommandLine.h"

#include <optional>
#include <string>

namespace cutstack {

/// The settings that hide the kinds that all "--hide" options of a command line name together.
/// Nothing, with the reason in `error`, when one names what is no kind.
[[nodiscard]] std::optional<FilterSettings> hiddenKinds(const CommandLine& line,
                                                        std::string& error);

} // namespace cutstack
