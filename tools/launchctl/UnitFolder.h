#pragma once

// The folder in which the systemd user manager looks for units, as far as jobs put theirs there.
// Files of others are neither replaced nor removed. The caller keeps two processes from changing it
// at once. Any thread.

#include <map>
#include <string>
#include <vector>

#include "tools/launchctl/UnitFiles.h"

namespace cutstack::launchctl {

struct LoadedJob {
    UnitNames names;
    JobOrigin origin;
};

class UnitFolder {
public:
    explicit UnitFolder(std::string path) : path_(std::move(path)) {}

    [[nodiscard]] std::string pathOf(const std::string& file) const { return path_ + "/" + file; }

    /// The file that stands where the job would put one of its own, and is none; empty when there
    /// is none.
    [[nodiscard]] std::string foreignFile(const UnitNames& names) const;

    /// The job's files that are there.
    [[nodiscard]] std::vector<std::string> filesOf(const UnitNames& names) const;

    /// Makes `files` the job's files, and `atLogin` what is started at every login; what the job
    /// had before and no longer needs is removed. On failure returns false with the reason in
    /// `error`; remove() clears away what is half done.
    [[nodiscard]] bool put(const UnitNames& names, const std::map<std::string, std::string>& files,
                           const std::vector<std::string>& atLogin, std::string& error) const;

    /// Removes the job's files. On failure returns false with the reason for the first one that
    /// stays in `error`.
    [[nodiscard]] bool remove(const UnitNames& names, std::string& error) const;

    /// All jobs, in the order of their names.
    [[nodiscard]] std::vector<LoadedJob> jobs() const;

private:
    [[nodiscard]] std::string loginLink(const std::string& unit) const;
    [[nodiscard]] bool link(const std::string& unit, std::string& error) const;
    [[nodiscard]] bool removeFile(const std::string& file, std::string& error) const;
    [[nodiscard]] bool removeLink(const std::string& unit, std::string& error) const;

    std::string path_;
};

/// The content of the unit file at `path`; empty when it cannot be read.
[[nodiscard]] std::string unitContent(const std::string& path);

} // namespace cutstack::launchctl
