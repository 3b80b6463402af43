#include "tools/projecthost/OpenProjects.h"

#include <algorithm>
#include <filesystem>
#include <system_error>
#include <utility>

#include "support/Format.h"

namespace cutstack::projecthost {

std::optional<std::string> projectPath(const std::string& path, std::string& error) {
    std::error_code fault;
    const auto resolved = path.find('\0') == std::string::npos
                              ? std::filesystem::canonical(path, fault)
                              : std::filesystem::path();
    if (resolved.empty()) {
        error = fault ? fault.message() : "No such file or directory";
        return std::nullopt;
    }
    const auto status = std::filesystem::status(resolved, fault);
    if (std::filesystem::is_regular_file(status))
        return resolved.string();
    error = std::filesystem::is_directory(status) ? "Is a directory" : "Not a regular file";
    return std::nullopt;
}

std::optional<FileReference> OpenProject::reference() {
    std::string error;
    const auto stamp = fileStamp(path_, error);
    if (!stamp)
        return std::nullopt;
    if (!reference_ || stamp->device != device_ || stamp->inode != inode_) {
        auto renewed = FileReference::toPath(path_, error);
        if (!renewed)
            return std::nullopt;
        formerReference_ = std::exchange(reference_, std::move(renewed));
        device_ = stamp->device;
        inode_ = stamp->inode;
    }
    return reference_;
}

OpenProjects::OpenProjects(ProjectListFile file, const ContentServices& services,
                           std::function<void(const std::vector<std::string>&)> listChanged)
    : file_(std::move(file)), services_(services), listChanged_(std::move(listChanged)) {}

void OpenProjects::restore() {
    std::string error;
    const std::vector<std::string> listed = file_.read(error);
    if (!error.empty())
        services_.log(formatString("The list of open projects cannot be read: %@", {error}));
    for (const std::string& path : listed) {
        const auto resolved = projectPath(path, error);
        if (!resolved)
            services_.log(formatString("%@ is not open any more: %@", {path, error}));
        else if (find(*resolved) == nullptr)
            projects_.push_back(std::make_unique<OpenProject>(*resolved, services_));
    }
    if (paths() != listed)
        listHasChanged();
    else if (listChanged_)
        listChanged_(listed);
}

bool OpenProjects::open(const std::string& path, std::string& error) {
    const auto resolved = projectPath(path, error);
    if (!resolved)
        return false;
    if (find(*resolved) != nullptr)
        return true;
    auto project = std::make_unique<OpenProject>(*resolved, services_);
    if (!project->content().document(error) || !project->reference()) {
        if (error.empty())
            error = "The file is gone";
        return false;
    }
    projects_.push_back(std::move(project));
    listHasChanged();
    return true;
}

OpenProject* OpenProjects::find(const std::string& path) {
    std::string error;
    const auto resolved = projectPath(path, error);
    // A file that is gone is still open by the path that it had.
    const std::string& wanted = resolved ? *resolved : path;
    const auto found = std::ranges::find_if(
        projects_, [&](const auto& project) { return project->path() == wanted; });
    return found == projects_.end() ? nullptr : found->get();
}

OpenProject* OpenProjects::only() {
    return projects_.size() == 1 ? projects_.front().get() : nullptr;
}

void OpenProjects::close(OpenProject& project) {
    std::erase_if(projects_, [&](const auto& open) { return open.get() == &project; });
    listHasChanged();
}

void OpenProjects::noteChanged(const std::vector<std::string>& paths) {
    for (const auto& project : projects_) {
        if (std::ranges::find(paths, project->path()) == paths.end())
            continue;
        project->content().forgetUnlessCurrent();
        static_cast<void>(project->reference());
    }
}

void OpenProjects::forgetContents() {
    for (const auto& project : projects_)
        project->content().forget();
}

std::vector<std::string> OpenProjects::paths() const {
    std::vector<std::string> all;
    all.reserve(projects_.size());
    for (const auto& project : projects_)
        all.push_back(project->path());
    return all;
}

void OpenProjects::listHasChanged() {
    const std::vector<std::string> all = paths();
    std::string error;
    if (!file_.write(all, error))
        services_.log(formatString("The list of open projects cannot be kept: %@", {error}));
    if (listChanged_)
        listChanged_(all);
}

} // namespace cutstack::projecthost
