#pragma once

// Which application bundles the machine has. A bundle is looked up by its identifier in the bundle
// of the running executable, then among those that the user has registered, then among the folders
// "*.app" of the user's and the machine's Applications folders. Stateless but for the register,
// which is a file of the user's; any thread.

#include <optional>
#include <string>
#include <string_view>

#include "support/Bundle.h"
#include "support/ZTLocalPaths.h"

namespace cutstack {

class ApplicationBundles {
public:
    /// `ownBundle` may be nullptr. Both outlive this.
    ApplicationBundles(const Locations& locations, const Bundle* ownBundle)
        : locations_(locations), ownBundle_(ownBundle) {}

    /// The bundles of this process's user. Lives as long as the process.
    [[nodiscard]] static const ApplicationBundles& ofProcess();

    /// The path of the bundle with that identifier; nothing when the machine has none.
    /// Identifiers are compared without regard to case. Bundles that cannot be read are passed
    /// over.
    [[nodiscard]] std::optional<std::string>
    absolutePathForAppBundleWithIdentifier(std::string_view identifier) const;

    /// Remembers the bundle at `bundlePath`, which is absolute, for this user; one of the same
    /// identifier that was registered before gives way. It is found for as long as it is there and
    /// keeps its identifier. On failure, as for what is no bundle with an identifier, returns false
    /// with the reason in `error`, and the register is as it was.
    [[nodiscard]] bool registerBundle(const std::string& bundlePath, std::string& error) const;

    /// Whether a file or folder of that name would be an application.
    [[nodiscard]] static bool isApplication(std::string_view path);

    /// Whether a person sees the folder at `path`, links followed, as one thing. Its extension says
    /// so, that of an application, a document that is a folder, a plug-in ("app", "rtfd",
    /// "bundle", ...), or else the information inside: "Contents/PkgInfo", or an
    /// "Contents/Info.plist" with a CFBundlePackageType.
    [[nodiscard]] static bool isFilePackage(const std::string& path);

private:
    [[nodiscard]] std::optional<std::string> registeredBundle(std::string_view identifier) const;

    const Locations& locations_;
    const Bundle* ownBundle_;
};

} // namespace cutstack
