#pragma once

// The file of an archive while it is written: a hidden one in the folder of the archive, which
// takes the archive's name when it is whole. It goes away when it does not come to that, also when
// the process is asked to end. One at a time in a process; main thread.

#include <string>

struct stat;

namespace cutstack::ditto {

class ArchiveFile {
public:
    explicit ArchiveFile(std::string destination);
    ~ArchiveFile();
    ArchiveFile(const ArchiveFile&) = delete;
    ArchiveFile& operator=(const ArchiveFile&) = delete;

    /// Makes the hidden file; false with errno set when that fails.
    [[nodiscard]] bool create();

    /// Open for writing once it was created.
    [[nodiscard]] int descriptor() const { return descriptor_; }

    /// Whether that is the status of this very file.
    [[nodiscard]] bool isMeantBy(const struct stat& status) const;

    /// Brings what was written to the disk and gives it the archive's name, replacing a file of
    /// that name. False with errno set when that fails; what had the name still has it.
    [[nodiscard]] bool putInPlace();

private:
    const std::string destination_;
    std::string folder_;
    int descriptor_ = -1;
};

} // namespace cutstack::ditto
