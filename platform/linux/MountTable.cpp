#include "platform/linux/MountTable.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <fstream>

namespace cutstack {

namespace {

constexpr std::size_t kEscapeSize = 4; ///< a backslash and three octal digits

/// Blanks and the like are written as octal numbers.
std::string unescaped(std::string_view field) {
    const auto isOctal = [](char c) { return c >= '0' && c <= '7'; };
    std::string text;
    for (std::size_t at = 0; at < field.size(); ++at) {
        const std::string_view digits = field.substr(at, kEscapeSize).substr(1);
        if (field[at] == '\\' && digits.size() + 1 == kEscapeSize &&
            std::all_of(digits.begin(), digits.end(), isOctal)) {
            unsigned value = 0;
            std::from_chars(digits.data(), digits.data() + digits.size(), value, 8);
            text += static_cast<char>(value);
            at += digits.size();
        } else {
            text += field[at];
        }
    }
    return text;
}

std::vector<std::string_view> split(std::string_view text, char separator) {
    std::vector<std::string_view> parts;
    while (!text.empty()) {
        const std::size_t end = std::min(text.find(separator), text.size());
        parts.push_back(text.substr(0, end));
        text.remove_prefix(std::min(end + 1, text.size()));
    }
    return parts;
}

template <typename Number>
bool isNumber(std::string_view text, Number& number) {
    const char* end = text.data() + text.size();
    const auto [stop, fault] = std::from_chars(text.data(), end, number);
    return fault == std::errc() && stop == end;
}

/// id parent major:minor root mount-point options [tags...] - type source options
std::optional<Mount> mountIn(std::string_view line) {
    const auto fields = split(line, ' ');
    const auto dash = std::find(fields.begin() + std::min<std::ptrdiff_t>(6, std::ssize(fields)),
                                fields.end(), "-");
    if (fields.end() - dash < 3)
        return std::nullopt;
    Mount mount;
    const auto device = split(fields[2], ':');
    if (!isNumber(fields[0], mount.id) || device.size() != 2 ||
        !isNumber(device[0], mount.deviceMajor) || !isNumber(device[1], mount.deviceMinor))
        return std::nullopt;
    mount.mountPoint = unescaped(fields[4]);
    mount.type = unescaped(dash[1]);
    mount.source = unescaped(dash[2]);
    return mount;
}

bool isAtOrBelow(std::string_view path, std::string_view folder) {
    return folder == "/" || (path.starts_with(folder) &&
                             (path.size() == folder.size() || path[folder.size()] == '/'));
}

template <std::size_t count>
bool isOneOf(const std::array<std::string_view, count>& words, std::string_view word) {
    return std::find(words.begin(), words.end(), word) != words.end();
}

template <std::size_t count>
bool isAtOrBelowOneOf(const std::array<std::string_view, count>& folders, std::string_view path) {
    return std::any_of(folders.begin(), folders.end(),
                       [&](std::string_view folder) { return isAtOrBelow(path, folder); });
}

/// Where people and their file managers mount things.
constexpr std::array<std::string_view, 4> kPeoplesFolders = {"/media", "/run/media", "/mnt",
                                                             "/Volumes"};
/// What is mounted in them or below keeps the system going.
constexpr std::array<std::string_view, 13> kSystemFolders = {
    "/bin", "/boot", "/dev", "/etc", "/lib",  "/nix", "/proc",
    "/run", "/sbin", "/sys", "/usr", "/snap", "/var"};
constexpr std::array<std::string_view, 6> kSystemMountPoints = {"/",    "/home", "/opt",
                                                                "/srv", "/root", "/tmp"};
/// They hold no files but what the kernel makes up.
constexpr std::array<std::string_view, 20> kKernelTypes = {
    "autofs", "binfmt_misc", "bpf",        "cgroup",     "cgroup2",   "configfs", "debugfs",
    "devpts", "devtmpfs",    "efivarfs",   "fusectl",    "hugetlbfs", "mqueue",   "nsfs",
    "proc",   "pstore",      "rpc_pipefs", "securityfs", "sysfs",     "tracefs"};
constexpr std::array<std::string_view, 14> kNetworkTypes = {
    "9p",   "afs",    "beegfs", "ceph", "cifs", "coda", "davfs",
    "gfs2", "lustre", "ncpfs",  "nfs",  "nfs4", "smb3", "smbfs"};

/// A home of its own, such as one that comes over the network when its user logs in.
bool isHome(std::string_view mountPoint) {
    constexpr std::string_view homes = "/home/";
    return mountPoint.starts_with(homes) &&
           mountPoint.find('/', homes.size()) == std::string_view::npos;
}

} // namespace

std::vector<Mount> mountsIn(std::string_view table) {
    std::vector<Mount> mounts;
    for (const std::string_view line : split(table, '\n'))
        if (auto mount = mountIn(line))
            mounts.push_back(std::move(*mount));
    return mounts;
}

const Mount* mountOf(const std::vector<Mount>& mounts, std::uint64_t id, const std::string& path) {
    const Mount* found = nullptr;
    for (const Mount& mount : mounts) {
        if (mount.id == id)
            return &mount;
        // Of several at one place the last one hides the others.
        if (isAtOrBelow(path, mount.mountPoint) &&
            (found == nullptr || mount.mountPoint.size() >= found->mountPoint.size()))
            found = &mount;
    }
    return found;
}

bool isUnmountable(const Mount& mount, bool isRemovable) {
    if (isOneOf(kKernelTypes, mount.type))
        return false;
    const bool isPeoples = isAtOrBelowOneOf(kPeoplesFolders, mount.mountPoint);
    if (!isPeoples && (isOneOf(kSystemMountPoints, mount.mountPoint) || isHome(mount.mountPoint) ||
                       isAtOrBelowOneOf(kSystemFolders, mount.mountPoint)))
        return false;
    return isPeoples || isRemovable || isOneOf(kNetworkTypes, mount.type) || mount.type == "fuse" ||
           mount.type == "fuseblk" || mount.type.starts_with("fuse.");
}

bool isRemovableMedium(const std::string& devices, unsigned deviceMajor, unsigned deviceMinor) {
    const std::string device =
        devices + "/" + std::to_string(deviceMajor) + ":" + std::to_string(deviceMinor);
    // A partition has no such file, but the disk that it lies in. The entry is a link to it.
    for (const char* file : {"/removable", "/../removable"}) {
        std::ifstream stream(device + file);
        if (char answer = '0'; stream >> answer)
            return answer == '1';
    }
    return false;
}

} // namespace cutstack
