#pragma once

// The folder that keeps the versions of all watched projects (VersionNames.h tells how it is laid
// out). VersionStore looks into it; it changes nothing. Any thread.

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace cutstack {

/// A project that has versions in the store.
struct StoredProject {
    std::string name;   ///< the project file's name: "Promo.fcp"
    std::string folder; ///< the full path of its project folder

    bool operator==(const StoredProject&) const = default;
};

class VersionStore {
public:
    /// The store in the folder `root`, an absolute path, which need not exist.
    explicit VersionStore(std::string root) : root_(std::move(root)) {}

    [[nodiscard]] const std::string& root() const { return root_; }

    /// The folders that hold a project copy or an XML copy, in listing order. A store that cannot
    /// be listed has none.
    [[nodiscard]] std::vector<StoredProject> projects() const;

    /// The project that a person means: the path of a project folder, or the name of one in the
    /// store, with or without its extension, without regard to case where nothing fits exactly.
    [[nodiscard]] std::optional<StoredProject> find(std::string_view nameOrFolder) const;

private:
    [[nodiscard]] std::optional<StoredProject> inFolder(const std::filesystem::path& given) const;

    std::string root_;
};

} // namespace cutstack
