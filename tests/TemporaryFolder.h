#pragma once

// A folder of a test's own, gone when the test is over, and small helpers to look into files.

#include <filesystem>
#include <string>
#include <string_view>

namespace cutstack {

class TemporaryFolder {
public:
    /// Makes a fresh folder below the system's temporary folder.
    TemporaryFolder();
    ~TemporaryFolder();
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    [[nodiscard]] const std::filesystem::path& path() const { return path_; }
    [[nodiscard]] std::string operator/(std::string_view name) const {
        return (path_ / name).string();
    }

private:
    std::filesystem::path path_;
};

/// The whole content of a file; fails the running test when it cannot be read.
std::string contentOf(const std::string& path);

/// Writes `content` to `path`, making its folders; fails the running test when it cannot.
void writeContent(const std::string& path, std::string_view content);

} // namespace cutstack
