#include "support/Workspace.h"

#include "support/Bundle.h"
#include "support/FolderListing.h"
#include "support/Format.h"

namespace cutstack {

bool Workspace::failed(std::string_view what, const std::string& path, const std::string& error) {
    console_.log(formatString("Unable to %@ %@: %@", {what, path, error}));
    return false;
}

std::optional<std::string>
Workspace::absolutePathForAppBundleWithIdentifier(std::string_view identifier) {
    return bundles_.absolutePathForAppBundleWithIdentifier(identifier);
}

bool Workspace::isRunning(const std::string& identifier) { return desktop_.isRunning(identifier); }

bool Workspace::openFile(const std::string& path, const std::string& identifier,
                         LaunchOptions options) {
    const auto bundlePath = absolutePathForAppBundleWithIdentifier(identifier);
    const auto bundle = bundlePath ? Bundle::atPath(*bundlePath) : std::nullopt;
    const std::string executable = bundle ? bundle->executablePath() : "";
    std::string error;
    return desktop_.open(path, identifier, executable, options, error) ||
           failed("open", path, error);
}

bool Workspace::openFile(const std::string& path) {
    const std::string folder = withoutSlashAtEnd(path);
    const auto bundle = ApplicationBundles::isApplication(folder) ? Bundle::atPath(folder)
                                                                  : std::optional<Bundle>();
    std::string error;
    const bool isAsked =
        bundle ? desktop_.open("", bundle->bundleIdentifier().value_or(""),
                               bundle->executablePath(), LaunchOptions::launchDefault, error)
               : desktop_.openWithPreferred(path, error);
    return isAsked || failed("open", path, error);
}

bool Workspace::selectFile(const std::string& path) {
    std::string error;
    return desktop_.reveal(path, error) || failed("show", path, error);
}

bool Workspace::isFilePackageAtPath(const std::string& path) {
    return ApplicationBundles::isFilePackage(path);
}

bool Workspace::registerApplication(const std::string& bundlePath) {
    std::string error;
    return bundles_.registerBundle(bundlePath, error) || failed("register", bundlePath, error);
}

} // namespace cutstack
