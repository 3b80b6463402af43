#include "tools/launchctl/UnitFolder.h"

#include <algorithm>
#include <filesystem>
#include <system_error>

#include "platform/SystemErrors.h"
#include "support/AtomicFile.h"
#include "support/FolderListing.h"
#include "tools/launchctl/UnitText.h"

namespace cutstack::launchctl {

namespace {

namespace fs = std::filesystem;

constexpr std::size_t kUnitSizeLimit = 16U << 20U;
constexpr std::string_view kServiceExtension = ".service";

bool isThere(const std::string& path) {
    std::error_code ignored;
    return fs::symlink_status(path, ignored).type() != fs::file_type::not_found;
}

/// Makes the folder of a file in the folder of the units, which may lie deeper.
bool makeFolderOf(const std::string& file, std::string& error) {
    const std::string folder = fs::path(file).parent_path().string();
    const int fault = makeFolders(folder);
    if (fault != 0)
        error = folder + ": " + wordingOf(fault);
    return fault == 0;
}

bool removeAt(const std::string& path, std::string& error) {
    std::error_code fault;
    fs::remove(path, fault);
    if (fault)
        error = path + ": " + wordingOf(fault.value());
    return !fault;
}

} // namespace

std::string unitContent(const std::string& path) {
    std::string error;
    return readFile(path, kUnitSizeLimit, error).value_or("");
}

std::string UnitFolder::foreignFile(const UnitNames& names) const {
    for (const std::string& file : names.files()) {
        if (isThere(pathOf(file)) && !isOwnUnit(unitContent(pathOf(file))))
            return pathOf(file);
    }
    return {};
}

std::vector<std::string> UnitFolder::filesOf(const UnitNames& names) const {
    std::vector<std::string> files = names.files();
    std::erase_if(
        files, [this](const std::string& file) { return !isOwnUnit(unitContent(pathOf(file))); });
    return files;
}

bool UnitFolder::put(const UnitNames& names, const std::map<std::string, std::string>& files,
                     const std::vector<std::string>& atLogin, std::string& error) const {
    for (const auto& [file, text] : files) {
        if (!makeFolderOf(pathOf(file), error))
            return false;
        if (!writeFileAtomically(pathOf(file), text, error)) {
            error.insert(0, pathOf(file) + ": ");
            return false;
        }
    }
    for (const std::string& file : filesOf(names)) {
        if (!files.contains(file) && !removeFile(file, error))
            return false;
    }
    for (const std::string& unit : names.starters()) {
        const bool isWanted = std::ranges::find(atLogin, unit) != atLogin.end();
        if (!(isWanted ? link(unit, error) : removeLink(unit, error)))
            return false;
    }
    return true;
}

bool UnitFolder::remove(const UnitNames& names, std::string& error) const {
    bool isDone = true;
    // Links first: one without a file would be a complaint of the manager at every login.
    for (const std::string& unit : names.starters())
        isDone = removeLink(unit, error) && isDone;
    for (const std::string& file : filesOf(names))
        isDone = removeFile(file, error) && isDone;
    return isDone;
}

std::vector<LoadedJob> UnitFolder::jobs() const {
    std::vector<LoadedJob> jobs;
    for (const std::string& name : namesInFolder(path_).value_or(std::vector<std::string>())) {
        const auto origin =
            name.ends_with(kServiceExtension) ? originOf(unitContent(pathOf(name))) : std::nullopt;
        if (!origin)
            continue;
        UnitNames names = UnitNames::ofJobFile(origin->file);
        if (names.service() == name)
            jobs.push_back({std::move(names), *origin});
    }
    return jobs;
}

std::string UnitFolder::loginLink(const std::string& unit) const {
    return pathOf("default.target.wants/" + unit);
}

bool UnitFolder::link(const std::string& unit, std::string& error) const {
    const std::string path = loginLink(unit);
    if (!makeFolderOf(path, error))
        return false;
    if (isThere(path))
        return true; // whatever it leads to, the manager goes by its name
    std::error_code fault;
    fs::create_symlink("../" + unit, path, fault);
    if (fault)
        error = path + ": " + wordingOf(fault.value());
    return !fault;
}

bool UnitFolder::removeFile(const std::string& file, std::string& error) const {
    const bool isDone = removeAt(pathOf(file), error);
    std::error_code ignored;
    if (file.find('/') != std::string::npos)
        fs::remove(fs::path(pathOf(file)).parent_path(), ignored); // if nothing else is in it
    return isDone;
}

/// Removes the link of a unit that is a job's own, or nobody's any more.
bool UnitFolder::removeLink(const std::string& unit, std::string& error) const {
    const std::string content = unitContent(pathOf(unit));
    return (!content.empty() && !isOwnUnit(content)) || removeAt(loginLink(unit), error);
}

} // namespace cutstack::launchctl
