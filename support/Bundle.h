#pragma once

// The bundle that holds an executable: a folder "X.app" with "Contents/MacOS/X", and beside it
// "Contents/Info.plist", which says what the bundle is. A Bundle is read once and never changes;
// any thread.

#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "support/PropertyList.h"

namespace cutstack {

class Bundle {
public:
    /// The bundle that holds the executable at `executablePath`; nothing when that path does not
    /// end like "/X.app/Contents/MacOS/X". A bundle without a readable Info.plist has no values.
    [[nodiscard]] static std::optional<Bundle> ofExecutable(const std::string& executablePath);

    /// The bundle in the folder at `bundlePath`; nothing unless that has a readable Info.plist.
    [[nodiscard]] static std::optional<Bundle> atPath(const std::string& bundlePath);

    /// The bundle of the running executable, read at the first call; nullptr when it runs outside
    /// of one. Lives as long as the process.
    [[nodiscard]] static const Bundle* mainBundle();

    [[nodiscard]] const std::string& bundlePath() const { return bundlePath_; }

    /// The executable that Info.plist names, else the one that the bundle was found by or, where it
    /// was found by its path, the one that is called like the bundle. A name that leads out of the
    /// folder of executables is no name.
    [[nodiscard]] std::string executablePath() const;

    /// The identifier, by which the system tells applications apart.
    [[nodiscard]] std::optional<std::string> bundleIdentifier() const;

    /// A text of Info.plist; nothing when it is absent or no text.
    [[nodiscard]] std::optional<std::string> infoString(std::string_view key) const;

    /// The path of the loadable module `fileName`, whether or not the bundle has it.
    [[nodiscard]] std::string plugInPath(std::string_view fileName) const;

private:
    Bundle(std::string bundlePath, std::string executablePath, PropertyList info)
        : bundlePath_(std::move(bundlePath)),
          foundBy_(std::move(executablePath)),
          info_(std::move(info)) {}

    std::string bundlePath_;
    std::string foundBy_;
    PropertyList info_;
};

} // namespace cutstack
