#pragma once

// The command line of cutstackctl: a subcommand with its options.

#include "changes/ChangeFilter.h"

#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace cutstack::cutstackctl {

enum class Command : unsigned char { help, version, history, projects };

enum class Colour : unsigned char { onTerminals, always, never };

struct Options {
    Command command = Command::help;
    std::string project; ///< a name or a folder, for history
    std::optional<std::string> storeFolder;
    std::optional<std::string> searchText;
    FilterSettings hidden{};
    Colour colour = Colour::onTerminals;
    bool json = false;
};

/// Reads the arguments behind the program's name. On a mistake returns nothing and says in `error`
/// what is wrong.
[[nodiscard]] std::optional<Options> parseOptions(std::span<const char* const> arguments,
                                                  std::string& error);

[[nodiscard]] std::string_view helpText();

} // namespace cutstack::cutstackctl
