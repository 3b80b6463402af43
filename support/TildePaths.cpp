#include "support/TildePaths.h"

#include <algorithm>
#include <optional>

namespace cutstack {

namespace {

/// A home folder without slashes at its end, so that "/" is empty.
std::optional<std::string> withoutSlashes(std::optional<std::string> home) {
    if (home)
        home->erase(home->find_last_not_of('/') + 1);
    return home;
}

std::optional<std::string> homeOf(const std::string& user, const Locations& at) {
    return withoutSlashes(user.empty() ? ZTLocalPaths::userDirectory(at)
                                       : at.console.homeFolderOf(user));
}

} // namespace

std::string expandingTildeInPath(std::string_view path, const Locations& at) {
    if (!path.starts_with('~'))
        return std::string(path);
    const std::size_t end = std::min(path.find('/'), path.size());
    auto home = homeOf(std::string(path.substr(1, end - 1)), at);
    if (!home)
        return std::string(path);
    home->append(path.substr(end));
    return home->empty() ? "/" : *home;
}

std::string abbreviatingWithTildeInPath(std::string_view path, const Locations& at) {
    const auto home = homeOf("", at);
    const bool isInHome = home && !home->empty() && path.starts_with(*home) &&
                          (path.size() == home->size() || path[home->size()] == '/');
    return isInHome ? std::string("~").append(path.substr(home->size())) : std::string(path);
}

} // namespace cutstack
