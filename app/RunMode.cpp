#include "app/RunMode.h"

#include <algorithm>

namespace cutstack {

std::optional<RunModeRule> runModeForArgument(std::string_view firstArgument) {
    const auto found = std::ranges::find(kRunModes, firstArgument, &RunModeRule::argument);
    return found == kRunModes.end() ? std::nullopt : std::optional(*found);
}

} // namespace cutstack
