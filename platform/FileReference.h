#pragma once

// A reference to a file that follows it when it is renamed or moved, in 80 bytes that another
// process of the same user can resolve while the maker holds the reference. Values; any thread.

#include <array>
#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace cutstack {

inline constexpr std::size_t kFileReferenceBytes = 80;

class FileReference {
public:
    /// A reference to the file or folder at `path`, links followed. On failure, as for a path that
    /// leads nowhere, returns nothing with the system's wording in `error`.
    [[nodiscard]] static std::optional<FileReference> toPath(const std::string& path,
                                                             std::string& error);

    /// The bytes, which resolve while this reference or a copy of it lives.
    [[nodiscard]] std::string_view bytes() const { return {bytes_.data(), bytes_.size()}; }

    /// Where the file is now. A file that was replaced by another one of its name (a save by
    /// rename) is found under that name; one that was removed is nowhere.
    [[nodiscard]] std::optional<std::string> path() const { return pathOf(bytes()); }

    /// The same for bytes that came from any process. Bytes of another size, of a process that has
    /// gone, of another user, or that were never a reference, resolve to nothing; they cannot make
    /// this answer a path that does not lead to the file that they name.
    [[nodiscard]] static std::optional<std::string> pathOf(std::string_view bytes);

private:
    struct Held; ///< keeps the file known to the system
    FileReference(std::shared_ptr<const Held> held, const std::array<char, kFileReferenceBytes>& b)
        : held_(std::move(held)), bytes_(b) {}

    std::shared_ptr<const Held> held_;
    std::array<char, kFileReferenceBytes> bytes_;
};

} // namespace cutstack
