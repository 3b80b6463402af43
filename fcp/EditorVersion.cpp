#include "fcp/EditorVersion.h"

#include <algorithm>
#include <array>
#include <filesystem>
#include <system_error>

#include "fcp/EventCodes.h"
#include "support/Bundle.h"
#include "support/FolderListing.h"
#include "support/Numbers.h"

namespace cutstack {

namespace {

constexpr std::string_view kVersionOfUnknownEditor = "7.0";
constexpr int kMajorVersionOfUnknownEditor = 7;

bool isThere(const std::string& path) {
    std::error_code error;
    return std::filesystem::exists(path, error);
}

/// Where the editor is, or would be; nothing on a machine without an Applications folder.
std::optional<std::string> editorBundle(Workspace& workspace, const Locations& locations) {
    auto known = workspace.absolutePathForAppBundleWithIdentifier(kEditorIdentifier);
    const auto applications = ZTLocalPaths::applicationDirectory(false, locations);
    if (!known && applications)
        known = pathInFolder(*applications, "Final Cut Studio/Final Cut Pro.app");
    if (applications && !isThere(*known))
        known = pathInFolder(*applications, "Final Cut Pro.app");
    return known;
}

/// The first three components of a version; those that it lacks are 0.
std::array<int, 3> componentsOf(std::string_view version) {
    std::array<int, 3> components{};
    for (int& component : components) {
        const std::size_t end = std::min(version.find('.'), version.size());
        component = integerValue(version.substr(0, end));
        version.remove_prefix(std::min(end + 1, version.size()));
    }
    return components;
}

} // namespace

std::optional<std::string> installedEditorVersion(Workspace& workspace,
                                                  const Locations& locations) {
    const auto path = editorBundle(workspace, locations);
    const auto bundle = path ? Bundle::atPath(*path) : std::nullopt;
    return bundle ? bundle->infoString("CFBundleShortVersionString")
                  : std::string(kVersionOfUnknownEditor);
}

int majorVersionOf(const std::optional<std::string>& version) {
    if (!version || version->empty())
        return kMajorVersionOfUnknownEditor;
    return integerValue(std::string_view(*version).substr(0, 1));
}

int maximumXMEMLVersionOf(const std::optional<std::string>& version) {
    const auto [major, minor, patch] = componentsOf(version ? *version : std::string_view());
    if (major <= 4)
        return 1;
    if (major == 5)
        return minor == 1 && (patch == 0 || patch == 1) ? 2 : 3;
    return major == 6 ? 4 : 5;
}

} // namespace cutstack
