#pragma once

// What a Mac notes about a file beside its content and its name: the four-letter codes of its type
// and of the program that made it, and flags, among them the colour of its label. Any thread.

#include <cstdint>
#include <string>
#include <string_view>

namespace cutstack {

class FinderMetadata {
public:
    virtual ~FinderMetadata() = default;

    /// The four letters of the file's type, such as "FCPF"; empty for a file without a type, a file
    /// that is not there, and on file systems that cannot keep one. A link tells of its target.
    [[nodiscard]] virtual std::string hfsTypeCode(const std::string& path) const = 0;

    /// The four letters of the program that made the file, as hfsTypeCode().
    [[nodiscard]] virtual std::string hfsCreatorCode(const std::string& path) const = 0;

    /// Notes type and creator, four letters each; everything else that is noted stays. Returns
    /// false, with nothing changed, for other lengths and where the file system refuses, or keeps
    /// something else under the name.
    virtual bool setHfsCodes(const std::string& path, std::string_view type,
                             std::string_view creator) const = 0;

    /// The flags; 0 for a file without any.
    [[nodiscard]] virtual std::uint16_t finderFlags(const std::string& path) const = 0;

    /// Notes the flags; everything else that is noted stays. Returns false, with nothing changed,
    /// where the file system refuses.
    virtual bool setFinderFlags(const std::string& path, std::uint16_t flags) const = 0;
};

/// What the file system keeps. Lives as long as the process.
[[nodiscard]] const FinderMetadata& finderMetadata();

} // namespace cutstack
