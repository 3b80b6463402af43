#pragma once

// Where the command-line tools are that the program names by their places on a Mac. Any thread.

#include <string>
#include <string_view>
#include <vector>

namespace cutstack {

class ToolPaths {
public:
    virtual ~ToolPaths() = default;

    /// The program that does here what `tool` ("/bin/launchctl") does on a Mac; `tool` itself when
    /// nothing stands in for it. What is answered need not exist.
    [[nodiscard]] virtual std::string pathOfTool(std::string_view tool) const = 0;

    /// What that program is to be told where `tool` is told `arguments`, if that differs.
    [[nodiscard]] virtual std::vector<std::string>
    argumentsOfTool(std::string_view /*tool*/, std::vector<std::string> arguments) const {
        return arguments;
    }
};

/// Those of this machine and of the program's own bundle. Lives as long as the process.
[[nodiscard]] const ToolPaths& toolPaths();

} // namespace cutstack
