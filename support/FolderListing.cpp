#include "support/FolderListing.h"

#include "support/Unicode.h"

#include <algorithm>
#include <filesystem>
#include <system_error>
#include <utility>

namespace cutstack {

namespace fs = std::filesystem;

namespace {

/// Where the dot before the extension is, or the length of the path when there is none.
std::size_t extensionDot(std::string_view path) {
    const std::string_view name = fileNameOf(path);
    const std::size_t dot = name.rfind('.');
    if (dot == std::string_view::npos || dot == 0 || dot + 1 == name.size())
        return path.size();
    return path.size() - name.size() + dot;
}

} // namespace

void sortAsListed(std::vector<std::string>& names) {
    std::vector<std::pair<std::string, std::string>> keyed;
    keyed.reserve(names.size());
    for (std::string& name : names) {
        std::string key = caseFolded(name);
        keyed.emplace_back(std::move(key), std::move(name));
    }
    std::ranges::sort(keyed);
    std::ranges::transform(keyed, names.begin(),
                           [](auto& entry) { return std::move(entry.second); });
}

std::optional<std::vector<std::string>> namesInFolder(const std::string& path) {
    if (path.find('\0') != std::string::npos)
        return std::nullopt; // the system would list another folder
    std::error_code error;
    fs::directory_iterator entry(path, error);
    std::vector<std::string> names;
    for (; !error && entry != fs::directory_iterator(); entry.increment(error))
        names.push_back(entry->path().filename().string());
    if (error)
        return std::nullopt;
    sortAsListed(names);
    return names;
}

std::string_view pathExtension(std::string_view path) {
    const std::size_t dot = extensionDot(path);
    return dot == path.size() ? std::string_view() : path.substr(dot + 1);
}

std::string_view withoutPathExtension(std::string_view path) {
    return path.substr(0, extensionDot(path));
}

std::string pathInFolder(std::string_view folder, std::string_view name) {
    std::string path(folder);
    return path.append("/").append(name);
}

std::string asOperand(const std::string& path) {
    return path.starts_with('-') ? "./" + path : path;
}

std::string withoutSlashAtEnd(std::string_view path) {
    const std::size_t last = path.find_last_not_of('/');
    return std::string(path.substr(0, last == std::string_view::npos ? 1 : last + 1));
}

std::string_view fileNameOf(std::string_view path) {
    return path.substr(path.find_last_of('/') + 1);
}

} // namespace cutstack
