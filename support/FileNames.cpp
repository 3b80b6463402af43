// The names of files, and how their sizes are written: what ZTFileManager decides without touching
// a file.

#include <array>
#include <string>

#include "support/FolderListing.h"
#include "support/Format.h"
#include "support/PlainFiles.h"
#include "support/WhiteSpace.h"
#include "support/ZTFileManager.h"

namespace cutstack {

std::string ZTFileManager::uniqueFilename(const std::string& path) {
    if (!somethingIsAt(path))
        return path;
    constexpr int kFirstNumber = 2;
    const std::string taken = withoutSlashAtEnd(path);
    const std::string stem(withoutPathExtension(taken));
    const std::string extension(std::string_view(taken).substr(stem.size()));
    std::string candidate;
    for (int number = kFirstNumber; candidate.empty() || somethingIsAt(candidate); ++number)
        candidate = formatString("%@ %i%@", {stem, number, extension});
    return candidate;
}

std::string ZTFileManager::validateFilename(std::string_view name) {
    if (name == ".")
        return "";
    if (name.starts_with('.'))
        name.remove_prefix(1);
    std::string valid(trimmed(name));
    std::erase_if(valid, [](char c) { return c == '/' || c == ':'; });
    return valid;
}

std::string ZTFileManager::formatFileSize(double bytes) {
    constexpr double kStep = 1024;
    if (bytes < kStep)
        return formatString("%0.0f B", {bytes});
    if (bytes < kStep * kStep)
        return formatString("%0.2f KB", {bytes / kStep});
    if (bytes < kStep * kStep * kStep)
        return formatString("%0.2f MB", {bytes / kStep / kStep});
    return formatString("%0.2f GB", {bytes / kStep / kStep / kStep});
}

} // namespace cutstack
