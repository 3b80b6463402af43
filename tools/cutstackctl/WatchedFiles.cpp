#include "tools/cutstackctl/WatchedFiles.h"

#include "platform/SystemErrors.h"
#include "support/FolderListing.h"
#include "support/TildePaths.h"
#include "support/Unicode.h"

#include <algorithm>
#include <filesystem>

namespace cutstack::cutstackctl {

namespace {

namespace fs = std::filesystem;

constexpr std::string_view kProjectType = "FCPF";
constexpr std::string_view kProjectExtension = "fcp";

bool isCalled(std::string_view path, std::string_view name) {
    const std::string_view own = fileNameOf(path);
    return own == name || withoutPathExtension(own) == name;
}

} // namespace

std::string absolutePath(const std::string& given) {
    std::error_code fault;
    const fs::path path = fs::absolute(given, fault);
    const fs::path normal = path.lexically_normal();
    // ".." behind a link to a folder leads elsewhere than the words say.
    const bool isSame = !fs::exists(path, fault) || fs::equivalent(path, normal, fault);
    if (isSame)
        return normal.string();
    const fs::path folder = fs::canonical(path.parent_path(), fault);
    return fault ? normal.string() : (folder / path.filename()).string();
}

bool isProjectFile(const std::string& path, std::string& error) {
    std::error_code fault;
    const fs::file_status status = fs::status(path, fault);
    if (!fs::exists(status))
        error = path + ": " + wordingOf(fault.value());
    else if (!fs::is_regular_file(status))
        error = path + ": this is no file";
    else if (caseFolded(pathExtension(path)) != kProjectExtension &&
             finderMetadata().hfsTypeCode(path) != kProjectType)
        error = path + ": this is no Final Cut Pro project";
    else
        return true;
    return false;
}

std::vector<std::string> pathsOfRows(const WatchList& list) {
    std::vector<std::string> paths;
    std::ranges::transform(list.fileArray(), std::back_inserter(paths), [](const ZTProject& row) {
        return expandingTildeInPath(row.projectPath());
    });
    return paths;
}

std::optional<std::size_t> rowWithPath(const std::string& path, const WatchList& list) {
    const auto paths = pathsOfRows(list);
    const auto found = std::ranges::find(paths, path);
    if (found == paths.end())
        return std::nullopt;
    return static_cast<std::size_t>(found - paths.begin());
}

std::vector<std::size_t> rowsMeantBy(const std::string& given, const WatchList& list) {
    if (const auto row = rowWithPath(absolutePath(given), list))
        return {*row};
    const auto paths = pathsOfRows(list);
    std::vector<std::size_t> rows;
    for (std::size_t row = 0; row < paths.size(); ++row)
        if (isCalled(paths[row], given))
            rows.push_back(row);
    return rows;
}

std::optional<std::size_t> rowOf(const std::string& given, const WatchList& list,
                                 std::string& error) {
    const auto rows = rowsMeantBy(given, list);
    if (rows.size() == 1)
        return rows.front();
    error = rows.empty() ? given + ": this project is not watched"
                         : given + ": several watched projects are called so; give the path";
    return std::nullopt;
}

} // namespace cutstack::cutstackctl
