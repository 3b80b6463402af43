#pragma once

// The rule behind toolPaths(), for an executable and a file system that are told. Stateless.

#include <string>
#include <string_view>

#include "platform/ProcessEnvironment.h"

namespace cutstack {

/// What ToolPaths::pathOfTool() answers to the process in `environment` on a machine where
/// `exists` tells which files there are.
[[nodiscard]] std::string placeOfTool(std::string_view tool, const ProcessEnvironment& environment,
                                      bool (*exists)(const std::string& path));

} // namespace cutstack
