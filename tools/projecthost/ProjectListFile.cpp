#include "tools/projecthost/ProjectListFile.h"

#include <cerrno>
#include <filesystem>

#include "platform/SystemErrors.h"
#include "support/AtomicFile.h"
#include "support/FileLock.h"
#include "support/PropertyListReading.h"
#include "support/PropertyListWriting.h"

namespace cutstack::projecthost {

namespace {

constexpr auto kOpenProjects = "OpenProjects";

/// Far above any list that was written here.
constexpr std::size_t kSizeLimit = std::size_t{16} << 20U;

PropertyList entryFor(const std::string& path) {
    PropertyList entry(path);
    return xmlPropertyList(entry) ? entry : PropertyList(PropertyListData{path});
}

} // namespace

std::vector<std::string> ProjectListFile::read(std::string& error) const {
    int fault = 0;
    auto bytes = readFile(path_, kSizeLimit, fault);
    if (!bytes) {
        if (fault != ENOENT)
            error = wordingOf(fault);
        return {};
    }
    const auto list = readPropertyList(*std::move(bytes), error);
    const PropertyList* entries = list ? list->valueForKey(kOpenProjects) : nullptr;
    std::vector<std::string> paths;
    if (entries == nullptr || entries->asArray() == nullptr)
        return paths;
    for (const PropertyList& entry : *entries->asArray()) {
        if (const std::string* text = entry.asString())
            paths.push_back(*text);
        else if (const PropertyListData* data = entry.asData())
            paths.push_back(data->bytes);
    }
    return paths;
}

bool ProjectListFile::write(const std::vector<std::string>& paths, std::string& error) const {
    if (const int fault = makeFolders(std::filesystem::path(path_).parent_path().string());
        fault != 0) {
        error = wordingOf(fault);
        return false;
    }
    const FileLock lock(path_);
    if (lock.fault() != 0) {
        error = wordingOf(lock.fault());
        return false;
    }
    PropertyList::Array entries;
    for (const std::string& path : paths)
        entries.push_back(entryFor(path));
    const auto xml = xmlPropertyList(PropertyList::Dictionary{{kOpenProjects, std::move(entries)}});
    if (!xml) {
        error = "The list of open projects cannot be written down";
        return false;
    }
    return writeFileAtomically(path_, *xml, error);
}

} // namespace cutstack::projecthost
