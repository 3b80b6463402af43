#include "platform/linux/privileged/Caller.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <string_view>

#include <grp.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/SystemErrors.h"
#include "platform/linux/UserDatabase.h"

namespace cutstack {

namespace {

/// The folders that hold the system (Filesystem Hierarchy Standard 3.0), and those in which the
/// program expects a Mac's.
constexpr std::array kSystemFolders = {
    "/",
    "/Applications",
    "/Library",
    "/System",
    "/System/Library",
    "/Users",
    "/Users/Shared",
    "/Volumes",
    "/bin",
    "/boot",
    "/dev",
    "/etc",
    "/home",
    "/lib",
    "/lib32",
    "/lib64",
    "/libx32",
    "/media",
    "/mnt",
    "/opt",
    "/proc",
    "/root",
    "/run",
    "/sbin",
    "/srv",
    "/sys",
    "/tmp",
    "/usr",
    "/usr/bin",
    "/usr/games",
    "/usr/include",
    "/usr/lib",
    "/usr/lib32",
    "/usr/lib64",
    "/usr/libexec",
    "/usr/libx32",
    "/usr/local",
    "/usr/sbin",
    "/usr/share",
    "/usr/src",
    "/var",
    "/var/cache",
    "/var/lib",
    "/var/lock",
    "/var/log",
    "/var/mail",
    "/var/opt",
    "/var/run",
    "/var/spool",
    "/var/tmp",
};

/// Root with the user and groups of the caller for as long as it lives.
class AsCaller {
public:
    explicit AsCaller(const Caller& caller) {
        // Without these there is no telling what is done with whose rights.
        if (setgroups(caller.groups.size(), caller.groups.data()) != 0 ||
            setegid(caller.group) != 0 || seteuid(caller.user) != 0)
            std::abort();
    }
    ~AsCaller() {
        if (seteuid(0) != 0 || setegid(0) != 0 || setgroups(0, nullptr) != 0)
            std::abort();
    }
    AsCaller(const AsCaller&) = delete;
    AsCaller& operator=(const AsCaller&) = delete;
};

/// What keeps the caller from finding `path`, as errno; 0 for a path that is there or free.
int faultOfFinding(const std::string& path, const Caller& caller) {
    const AsCaller rights(caller);
    struct stat found {};
    if (lstat(path.c_str(), &found) == 0 || errno == ENOENT || errno == ENOTDIR)
        return 0;
    return errno;
}

bool isSameFolder(const struct stat& entry, const std::string& folder) {
    struct stat other {};
    return stat(folder.c_str(), &other) == 0 && other.st_dev == entry.st_dev &&
           other.st_ino == entry.st_ino;
}

/// Compared by identity, so that links, mounts and spellings make no difference.
bool isProtected(const std::string& path, const Caller& caller) {
    struct stat entry {};
    if (stat(path.c_str(), &entry) != 0)
        return false;
    if (std::ranges::any_of(kSystemFolders,
                            [&](const char* folder) { return isSameFolder(entry, folder); }))
        return true;
    for (std::filesystem::path folder = caller.home; folder.has_relative_path();
         folder = folder.parent_path()) {
        if (isSameFolder(entry, folder.string()))
            return true;
    }
    return false;
}

std::vector<gid_t> groupsBehind(int socket) {
    std::vector<gid_t> groups(64);
    for (;;) {
        auto size = static_cast<socklen_t>(groups.size() * sizeof(gid_t));
        const int result = getsockopt(socket, SOL_SOCKET, SO_PEERGROUPS, groups.data(), &size);
        if (result != 0 && errno != ERANGE)
            return {}; // fewer groups see less
        const bool isWhole = result == 0;
        groups.resize(size / sizeof(gid_t));
        if (isWhole)
            return groups;
    }
}

} // namespace

std::optional<Caller> callerBehind(int socket, std::optional<uid_t> user, std::string& error) {
    ucred peer{};
    socklen_t size = sizeof peer;
    if (getsockopt(socket, SOL_SOCKET, SO_PEERCRED, &peer, &size) != 0) {
        error =
            "standard input is not the program that wants the rights (" + wordingOf(errno) + ")";
        return std::nullopt;
    }
    if (peer.uid == 0 || peer.pid <= 0 || user != peer.uid) {
        error = "the rights were given to another user than the one who wants them";
        return std::nullopt;
    }
    const auto record = userWithId(peer.uid);
    return Caller{peer.pid, peer.uid, peer.gid, groupsBehind(socket), record ? record->home : ""};
}

std::optional<std::string> refusalFor(const PrivilegedCommand& command, const Caller& caller) {
    for (const std::string& path : command.operands) {
        if (const int fault = faultOfFinding(path, caller); fault != 0)
            return path + ": " + wordingOf(fault);
    }
    for (std::size_t i = 0; i < command.changedOperands; ++i) {
        if (isProtected(command.operands[i], caller))
            return command.operands[i] + ": this is a folder of the system";
    }
    return std::nullopt;
}

} // namespace cutstack
