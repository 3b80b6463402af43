#pragma once

// The projects that the host has open, in the order of their opening, kept over restarts.
//
// A project is known by one path: that of its file with all links resolved, which is also what a
// reference to the file resolves to. So it is found again by whichever path it is asked for, and
// listed by a path that everybody agrees on. The path stays when the file is replaced by another
// one of its name, as many programs save; a project whose file is renamed or removed stays open,
// but is listed again only when there is a file under its path.
//
// One thread at a time.

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/FileReference.h"
#include "tools/projecthost/ProjectContent.h"
#include "tools/projecthost/ProjectListFile.h"

namespace cutstack::projecthost {

/// A project file with all links of its path resolved; nothing, with the reason in `error`, when
/// there is no regular file.
[[nodiscard]] std::optional<std::string> projectPath(const std::string& path, std::string& error);

class OpenProject {
public:
    OpenProject(std::string path, const ContentServices& services)
        : path_(std::move(path)), content_(path_, services) {}

    [[nodiscard]] const std::string& path() const { return path_; }
    [[nodiscard]] ProjectContent& content() { return content_; }

    /// A reference to the file that is there now; nothing when there is none. What was given out
    /// holds at least until the file has been replaced once more.
    [[nodiscard]] std::optional<FileReference> reference();

private:
    const std::string path_;
    ProjectContent content_;
    std::optional<FileReference> reference_;
    std::optional<FileReference> formerReference_;
    std::uint64_t device_ = 0; ///< and inode, of what reference_ refers to
    std::uint64_t inode_ = 0;
};

class OpenProjects {
public:
    /// `services` outlives this. `listChanged`, if given, is called with all paths whenever a
    /// project comes or goes.
    OpenProjects(ProjectListFile file, const ContentServices& services,
                 std::function<void(const std::vector<std::string>&)> listChanged);

    /// Opens what was open when the list was last written. Files that have gone are dropped, each
    /// with a line in the log.
    void restore();

    /// Opens the project at `path`, which must be whole XMEML; one that is open stays as it is. On
    /// failure returns false with the reason in `error`.
    [[nodiscard]] bool open(const std::string& path, std::string& error);

    /// The project at that path, links resolved; nullptr when it is not open.
    [[nodiscard]] OpenProject* find(const std::string& path);

    /// The only project; nullptr when there are none or several.
    [[nodiscard]] OpenProject* only();

    /// Closes a project, without saving it. `project` is gone then.
    void close(OpenProject& project);

    [[nodiscard]] const std::vector<std::unique_ptr<OpenProject>>& all() const { return projects_; }

    /// Something happened to the files at `paths`: what is kept of them is dropped.
    void noteChanged(const std::vector<std::string>& paths);

    /// Gives the memory of all served documents back.
    void forgetContents();

private:
    void listHasChanged();
    [[nodiscard]] std::vector<std::string> paths() const;

    const ProjectListFile file_;
    const ContentServices& services_;
    const std::function<void(const std::vector<std::string>&)> listChanged_;
    std::vector<std::unique_ptr<OpenProject>> projects_;
};

} // namespace cutstack::projecthost
