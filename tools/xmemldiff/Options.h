#pragma once

// The command line of xmemldiff.

#include "changes/ChangeFilter.h"

#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace cutstack::xmemldiff {

struct Options {
    std::string baseFile; ///< "-" for standard input
    std::string newFile;
    FilterSettings hidden{};
    std::optional<std::string> logFile;
    bool quiet = false;
    bool wantsHelp = false;
    bool wantsVersion = false;
};

/// Reads the arguments behind the program's name. Options may stand anywhere; behind "--" all
/// arguments are files. On a mistake returns nothing and says in `error` what is wrong. With
/// "--help" or "--version" the files may be missing.
[[nodiscard]] std::optional<Options> parseOptions(std::span<const char* const> arguments,
                                                  std::string& error);

[[nodiscard]] std::string_view helpText();

} // namespace cutstack::xmemldiff
