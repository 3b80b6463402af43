#pragma once

// The command line of projecthost.

#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace cutstack::projecthost {

enum class Command { serve, open, list, close, help, version };

struct Options {
    Command command = Command::serve;
    std::vector<std::string> files; ///< absolute paths
    bool discardsChanges = false;
};

/// Reads the arguments behind the program's name. On a mistake returns nothing and says in `error`
/// what is wrong.
[[nodiscard]] std::optional<Options> parseOptions(std::span<const char* const> arguments,
                                                  std::string& error);

[[nodiscard]] std::string_view helpText();

} // namespace cutstack::projecthost
