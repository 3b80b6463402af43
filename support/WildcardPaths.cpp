#include "support/WildcardPaths.h"

#include <algorithm>
#include <filesystem>
#include <system_error>

#include "support/FolderListing.h"
#include "support/ZTFileManager.h"

namespace cutstack {

namespace {

bool exists(const std::string& path) {
    std::error_code fault;
    return std::filesystem::exists(path, fault);
}

std::size_t lengthByLeadByte(unsigned char lead) {
    if (lead >= 0xF0 && lead <= 0xF4)
        return 4;
    if (lead >= 0xE0 && lead < 0xF0)
        return 3;
    return lead >= 0xC2 && lead < 0xE0 ? 2 : 1;
}

/// The number of bytes of the first character.
std::size_t characterLength(std::string_view text) {
    const std::size_t length = lengthByLeadByte(static_cast<unsigned char>(text.front()));
    const std::string_view rest = text.substr(1, length - 1);
    const bool isWhole = rest.size() == length - 1 && std::ranges::all_of(rest, [](char byte) {
                             return (static_cast<unsigned char>(byte) & 0xC0U) == 0x80U;
                         });
    return isWhole ? length : 1;
}

bool isPattern(std::string_view component) { return component.find('*') != std::string_view::npos; }

/// The components of a path, "/" first for an absolute one.
std::vector<std::string> pathComponents(std::string_view path) {
    std::vector<std::string> components;
    if (path.starts_with('/'))
        components.emplace_back("/");
    while (!path.empty()) {
        const std::size_t end = std::min(path.find('/'), path.size());
        if (end > 0)
            components.emplace_back(path.substr(0, end));
        path.remove_prefix(std::min(end + 1, path.size()));
    }
    return components;
}

/// `component` in `folder`, with one slash between them.
std::string appendingPathComponent(const std::string& folder, std::string_view component) {
    const std::size_t begin = component.find_first_not_of('/');
    std::string whole = withoutSlashAtEnd(folder);
    if (begin == std::string_view::npos)
        return whole;
    component.remove_prefix(begin);
    return pathInFolder(whole == "/" ? "" : whole, component);
}

std::string onBasePath(const std::string& pattern, const std::optional<std::string>& basePath) {
    return basePath ? appendingPathComponent(*basePath, pattern) : pattern;
}

/// Appends to `found` what matches in one folder.
void addMatches(const std::string& folder, const std::string& component,
                std::vector<std::string>& found) {
    if (!isPattern(component)) {
        std::string path = appendingPathComponent(folder, component);
        if (exists(path))
            found.push_back(std::move(path));
        return;
    }
    for (const std::string& name : namesInFolder(folder).value_or(std::vector<std::string>())) {
        if (!matchesWildcards(name, component))
            continue;
        std::string path = appendingPathComponent(folder, name);
        if (exists(path))
            found.push_back(std::move(path));
    }
}

} // namespace

bool matchesWildcards(std::string_view name, std::string_view pattern) {
    // Where the last "*" gave up what it matched so far: it can only take more, and no earlier "*"
    // has to be tried again.
    std::optional<std::string_view> behindStar;
    std::string_view nameAtStar;
    while (!name.empty()) {
        if (pattern.starts_with('*')) {
            pattern.remove_prefix(1);
            behindStar = pattern;
            nameAtStar = name;
        } else if (pattern.starts_with('?')) {
            pattern.remove_prefix(1);
            name.remove_prefix(characterLength(name));
        } else if (!pattern.empty() && pattern.front() == name.front()) {
            pattern.remove_prefix(1);
            name.remove_prefix(1);
        } else if (behindStar) {
            pattern = *behindStar;
            nameAtStar.remove_prefix(characterLength(nameAtStar));
            name = nameAtStar;
        } else {
            return false;
        }
    }
    return pattern.find_first_not_of('*') == std::string_view::npos;
}

std::vector<std::string>
ZTFileManager::filesMatchingWildcardPath(const std::string& pattern,
                                         const std::optional<std::string>& basePath) {
    if (!isPattern(pattern))
        return {onBasePath(pattern, basePath)};
    std::vector<std::string> candidates = {basePath.value_or("/")};
    for (const std::string& component : pathComponents(pattern)) {
        if (component == "/")
            continue; // the base path once more
        std::vector<std::string> found;
        for (const std::string& folder : candidates)
            addMatches(folder, component, found);
        candidates = std::move(found);
    }
    return candidates;
}

std::string ZTFileManager::decodeWildcardPath(const std::string& pattern,
                                              const std::optional<std::string>& basePath) {
    const std::vector<std::string> found = filesMatchingWildcardPath(pattern, basePath);
    return found.empty() ? onBasePath(pattern, basePath) : found.front();
}

} // namespace cutstack
