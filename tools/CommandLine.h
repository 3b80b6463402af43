#pragma once

// Command lines in the usual form: options anywhere, "--name=value" or "--name value", "--" before
// operands that begin with a dash. Uses the C library's parser, which has global state: main thread
// only.

#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace cutstack {

struct OptionRule {
    const char* name; ///< without the dashes
    char letter;      ///< the one-letter form, 0 when there is none
    bool takesValue;
};

struct GivenOption {
    std::string_view name;
    std::string value;
};

struct CommandLine {
    std::vector<GivenOption> options;
    std::vector<std::string> operands;

    [[nodiscard]] bool has(std::string_view name) const;
    /// The value of the last option of that name.
    [[nodiscard]] std::optional<std::string> valueOf(std::string_view name) const;
};

/// Sorts the arguments behind the program's name. On a mistake returns nothing and says in `error`
/// what is wrong.
[[nodiscard]] std::optional<CommandLine> parseCommandLine(std::span<const char* const> arguments,
                                                          std::span<const OptionRule> rules,
                                                          std::string& error);

} // namespace cutstack
