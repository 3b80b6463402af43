#include "tools/FilterOptions.h"

namespace cutstack {

std::optional<FilterSettings> hiddenKinds(const CommandLine& line, std::string& error) {
    FilterSettings settings{};
    for (const GivenOption& option : line.options) {
        if (option.name != "hide")
            continue;
        std::string unknown;
        const auto more = hidingKinds(option.value, settings, unknown);
        if (!more) {
            error = "unknown kind of change '" + unknown + "' (see --help)";
            return std::nullopt;
        }
        settings = *more;
    }
    return settings;
}

} // namespace cutstack
