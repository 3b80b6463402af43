#include "platform/FileSystemInformation.h"

#include "platform/SystemErrors.h"

#include "platform/linux/MountTable.h"

#include <cerrno>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <sys/sysmacros.h>
#include <system_error>

namespace cutstack {

namespace {

constexpr const char* kBlockDevices = "/sys/dev/block";

std::vector<Mount> currentMounts() {
    const std::ifstream file("/proc/self/mountinfo");
    std::ostringstream table;
    table << file.rdbuf();
    return mountsIn(table.str());
}

/// The id of the mount that holds `path`; none is 0.
std::uint64_t mountIdOf(const std::string& path) {
    struct statx status {};
    const bool isKnown = ::statx(AT_FDCWD, path.c_str(), 0, STATX_MNT_ID, &status) == 0 &&
                         (status.stx_mask & STATX_MNT_ID) != 0;
    return isKnown ? status.stx_mnt_id : 0;
}

/// Some file systems go by a number that is no device's; then the device tells itself.
bool isRemovableMount(const Mount& mount) {
    struct stat device {};
    if (mount.source.starts_with('/') && ::stat(mount.source.c_str(), &device) == 0 &&
        S_ISBLK(device.st_mode))
        return isRemovableMedium(kBlockDevices, major(device.st_rdev), minor(device.st_rdev));
    return isRemovableMedium(kBlockDevices, mount.deviceMajor, mount.deviceMinor);
}

} // namespace

std::optional<FileSystemInformation> fileSystemInformation(const std::string& path,
                                                           std::string& error) {
    struct statvfs status {};
    std::error_code fault;
    if (::statvfs(path.c_str(), &status) != 0)
        fault = {errno, std::generic_category()};
    const std::string wholePath = fault ? "" : std::filesystem::canonical(path, fault).string();
    if (fault) {
        error = wordingOf(fault.value());
        return std::nullopt;
    }
    const auto mounts = currentMounts();
    const Mount* mount = mountOf(mounts, mountIdOf(path), wholePath);
    FileSystemInformation information;
    information.isWritable = (status.f_flag & ST_RDONLY) == 0;
    information.freeBytes = std::uint64_t{status.f_bavail} * status.f_frsize;
    information.mountPoint = mount == nullptr ? "/" : mount->mountPoint;
    // Below a changed root the table does not have what holds the root: nobody can take that away.
    if (mount == nullptr)
        return information;
    information.isRemovable = isRemovableMount(*mount);
    information.isUnmountable = isUnmountable(*mount, information.isRemovable);
    information.description = mount->source;
    information.type = mount->type;
    return information;
}

} // namespace cutstack
