#pragma once

// What is mounted where, as the kernel tells it, and what a person may take off the machine. Pure
// functions but for isRemovableMedium(), which reads below a folder that it is given. Any thread.

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace cutstack {

/// A line of the table of mounts.
struct Mount {
    std::uint64_t id = 0;
    unsigned deviceMajor = 0;
    unsigned deviceMinor = 0;
    std::string mountPoint;
    std::string type;   ///< of the file system
    std::string source; ///< a device, a share, or any word
};

/// Reads a table in the form of /proc/PID/mountinfo (proc(5)). Lines that are not in that form are
/// left out.
[[nodiscard]] std::vector<Mount> mountsIn(std::string_view table);

/// The mount with this id; without one, the one that holds `path`, which is absolute and free of
/// links. Nothing when there is neither.
[[nodiscard]] const Mount* mountOf(const std::vector<Mount>& mounts, std::uint64_t id,
                                   const std::string& path);

/// Whether a person may unmount it: it is neither the system's own nor a view into the kernel, and
/// it is a share, or its medium can be taken out, or it is where people mount things.
[[nodiscard]] bool isUnmountable(const Mount& mount, bool isRemovable);

/// Whether the medium of a block device, or of the one that it is a part of, can be taken out.
/// `devices` is the folder with the block devices by number, on Linux /sys/dev/block.
[[nodiscard]] bool isRemovableMedium(const std::string& devices, unsigned deviceMajor,
                                     unsigned deviceMinor);

} // namespace cutstack
