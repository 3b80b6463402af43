#pragma once

// The command line of cutstackctl: a subcommand with its operands and options.

#include "changes/ChangeFilter.h"

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace cutstack::cutstackctl {

enum class Command : unsigned char {
    help,
    version,
    history,
    projects,
    watch,
    unwatch,
    list,
    sequence,
    snapshot,
    backups,
    autosave,
    prune,
    status
};

enum class Colour : unsigned char { onTerminals, always, never };

struct Options {
    Command command = Command::help;
    std::vector<std::string> operands; ///< behind the command, as many as it takes
    std::optional<std::string> storeFolder;
    std::optional<std::string> searchText;
    FilterSettings hidden{};
    Colour colour = Colour::onTerminals;
    bool json = false;
    bool entireProject = false;
    std::optional<bool> isOn;            ///< what backups and autosave are to be
    std::optional<std::int32_t> minutes; ///< of autosave's interval, 1 or more
};

/// Reads the arguments behind the program's name. On a mistake returns nothing and says in `error`
/// what is wrong.
[[nodiscard]] std::optional<Options> parseOptions(std::span<const char* const> arguments,
                                                  std::string& error);

[[nodiscard]] std::string_view helpText();

} // namespace cutstack::cutstackctl
