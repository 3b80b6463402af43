#pragma once

// The command line of the bundle's helper ditto.

#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace cutstack::ditto {

struct Options {
    std::string source;
    std::string destination;
    bool keepsParent = false; ///< the source's own name stands above its content
    bool wantsHelp = false;
};

/// Reads the arguments behind the program's name. On a mistake returns nothing and says in `error`
/// what is wrong. Making zip archives is all that is known here, so that "-c" and "-k" must both be
/// given.
[[nodiscard]] std::optional<Options> parseOptions(std::span<const char* const> arguments,
                                                  std::string& error);

[[nodiscard]] std::string_view helpText();

} // namespace cutstack::ditto
