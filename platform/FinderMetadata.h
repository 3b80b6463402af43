#pragma once

// What a Mac notes about a file beside its content and its name: the four-letter type. Any thread.

#include <string>

namespace cutstack {

class FinderMetadata {
public:
    virtual ~FinderMetadata() = default;

    /// The four letters of the file's type, such as "FCPF"; empty for a file without a type, a file
    /// that is not there, and on file systems that cannot keep one. A link tells of its target.
    [[nodiscard]] virtual std::string hfsTypeCode(const std::string& path) const = 0;
};

/// What the file system keeps. Lives as long as the process.
[[nodiscard]] const FinderMetadata& finderMetadata();

} // namespace cutstack
