#pragma once

// The list of open projects on the disk, so that it outlasts the host: a property list with the
// key "OpenProjects", an array of paths in the order of their opening. A path that is no text is
// kept as data. Written as a whole, under a lock; any thread, any process.

#include <string>
#include <vector>

namespace cutstack::projecthost {

class ProjectListFile {
public:
    /// `path` is the file's; it is made, with its folders, when it is first written.
    explicit ProjectListFile(std::string path) : path_(std::move(path)) {}

    /// The paths; none when there is no file yet. A file that cannot be read counts as empty, with
    /// the reason in `error`.
    [[nodiscard]] std::vector<std::string> read(std::string& error) const;

    /// Makes `paths` the list. On failure returns false with the reason in `error`, and the list is
    /// the old one.
    [[nodiscard]] bool write(const std::vector<std::string>& paths, std::string& error) const;

private:
    std::string path_;
};

} // namespace cutstack::projecthost
