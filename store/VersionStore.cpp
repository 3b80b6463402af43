#include "store/VersionStore.h"

#include "support/FolderListing.h"
#include "support/Unicode.h"

#include <algorithm>
#include <array>
#include <filesystem>
#include <functional>
#include <system_error>

namespace cutstack {

namespace fs = std::filesystem;

namespace {

/// What copies and what older programs left beside them are called, without regard to case.
constexpr std::array<std::string_view, 3> kVersionSuffixes = {".fcp", ".xml", ".motn"};

bool isVersion(const std::string& name) {
    const std::string folded = caseFolded(name);
    return std::ranges::any_of(kVersionSuffixes,
                               [&](std::string_view suffix) { return folded.ends_with(suffix); });
}

bool holdsVersions(const std::string& folder) {
    return std::ranges::any_of(namesInFolder(folder).value_or(std::vector<std::string>()),
                               isVersion);
}

} // namespace

/// The project in a folder, called as the store calls it when it is one of the store's.
std::optional<StoredProject> VersionStore::inFolder(const fs::path& given) const {
    std::error_code error;
    const fs::path folder = fs::canonical(given, error);
    if (error || !holdsVersions(folder.string()))
        return std::nullopt;
    const bool isInStore = fs::equivalent(folder.parent_path(), root_, error);
    return StoredProject{folder.filename().string(),
                         isInStore ? root_ + "/" + folder.filename().string() : folder.string()};
}

std::vector<StoredProject> VersionStore::projects() const {
    std::vector<StoredProject> projects;
    for (std::string& name : namesInFolder(root_).value_or(std::vector<std::string>()))
        if (std::string folder = root_ + "/" + name; holdsVersions(folder))
            projects.push_back({std::move(name), std::move(folder)});
    return projects;
}

std::optional<StoredProject> VersionStore::find(std::string_view nameOrFolder) const {
    if (nameOrFolder.find('/') != std::string_view::npos)
        return inFolder(fs::path(nameOrFolder));
    const auto known = projects();
    const std::string wanted = caseFolded(nameOrFolder);
    // The closest understanding comes first.
    const std::array<std::function<bool(const StoredProject&)>, 4> understandings = {
        [&](const auto& project) { return project.name == nameOrFolder; },
        [&](const auto& project) { return withoutPathExtension(project.name) == nameOrFolder; },
        [&](const auto& project) { return caseFolded(project.name) == wanted; },
        [&](const auto& project) {
            return caseFolded(withoutPathExtension(project.name)) == wanted;
        }};
    for (const auto& understands : understandings)
        if (const auto found = std::ranges::find_if(known, understands); found != known.end())
            return *found;
    return std::nullopt;
}

} // namespace cutstack
