#pragma once

// Parts of the program that are loaded only by runs that need them. Any thread.

#include <string>

namespace cutstack {

class ModuleLoader {
public:
    virtual ~ModuleLoader() = default;

    /// The address of the function `name` of the module at `path`, which is loaded now and stays
    /// loaded. On failure returns nullptr and `error` is the loader's wording, which names the
    /// module.
    [[nodiscard]] virtual void* functionInModule(const std::string& path, const std::string& name,
                                                 std::string& error) = 0;
};

/// The system's loader. Lives as long as the process.
[[nodiscard]] ModuleLoader& moduleLoader();

} // namespace cutstack
