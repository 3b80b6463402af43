#pragma once

// Bundles that a test makes.

#include <string>
#include <string_view>

#include "tests/TemporaryFolder.h"

namespace cutstack {

/// An Info.plist with these entries.
inline std::string infoWith(std::string_view content) {
    return R"(<?xml version="1.0"?><plist version="1.0"><dict>)" + std::string(content) +
           "</dict></plist>";
}

/// Makes the folder `path` a bundle with that identifier, and with `more` in its Info.plist;
/// returns `path`.
inline std::string makeBundle(const std::string& path, std::string_view identifier,
                              std::string_view more = "") {
    writeContent(path + "/Contents/Info.plist",
                 infoWith("<key>CFBundleIdentifier</key><string>" + std::string(identifier) +
                          "</string>" + std::string(more)));
    return path;
}

} // namespace cutstack
