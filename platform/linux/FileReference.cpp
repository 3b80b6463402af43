#include "platform/FileReference.h"

#include "platform/SystemErrors.h"
#include "platform/linux/Descriptor.h"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace cutstack {

namespace {

/// What the bytes hold. They never leave the machine, so numbers stand as the machine has them.
struct Wire {
    std::array<char, 8> magic; ///< the last one is the version of this layout
    std::int32_t process;
    std::int32_t descriptor;
    std::uint64_t processStart; ///< an id is given to another process some day; id and start aren't
    std::uint64_t device;
    std::uint64_t inode;
    std::array<char, 40> unused; ///< zeros
};
static_assert(sizeof(Wire) == kFileReferenceBytes);

constexpr std::array<char, 8> kMagic = {'c', 'u', 't', 'f', 's', 'r', 'f', 1};

/// What the system puts behind the path of a file whose name is gone.
constexpr std::string_view kDeleted = " (deleted)";

/// How often a path is asked for again that changed while it was looked at.
constexpr int kAttempts = 8;

/// The folder in which the system describes a process: open, it stays that of this very process
/// even when the id is given to another one.
Descriptor folderOfProcess(std::int32_t process) {
    const std::string path =
        process == getpid() ? "/proc/self" : "/proc/" + std::to_string(process);
    return Descriptor(::open(path.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
}

std::string readShortFile(int folder, const char* name) {
    const Descriptor file(::openat(folder, name, O_RDONLY | O_CLOEXEC));
    std::array<char, 2048> buffer{};
    const ssize_t size =
        file.isOpen() ? ::read(file.number(), buffer.data(), buffer.size()) : ssize_t{-1};
    return size < 0 ? std::string() : std::string(buffer.data(), static_cast<std::size_t>(size));
}

/// When the process was started, in the system's ticks; nothing when it has gone. See proc(5),
/// /proc/PID/stat: the second field is a name in parentheses that may hold anything, this is the
/// 22nd.
std::optional<std::uint64_t> startOfProcess(int folder) {
    constexpr int kFieldsBetween = 20;
    const std::string fields = readShortFile(folder, "stat");
    std::size_t place = fields.rfind(')');
    for (int i = 0; i < kFieldsBetween && place != std::string::npos; ++i)
        place = fields.find(' ', place + 1);
    if (place == std::string::npos)
        return std::nullopt;
    return std::strtoull(fields.c_str() + place, nullptr, 10);
}

bool isFileOf(const struct stat& status, const Wire& wire) {
    return status.st_dev == wire.device && status.st_ino == wire.inode;
}

std::optional<Wire> wireOf(std::string_view bytes) {
    Wire wire{};
    if (bytes.size() != sizeof wire)
        return std::nullopt;
    std::memcpy(&wire, bytes.data(), sizeof wire);
    const bool isOne = wire.magic == kMagic && wire.process > 0 && wire.descriptor >= 0 &&
                       std::ranges::all_of(wire.unused, [](char byte) { return byte == 0; });
    return isOne ? std::optional(wire) : std::nullopt;
}

/// Whether the process is this one, or belongs to the same user and is what the bytes mean.
bool isMaker(int folder, const Wire& wire) {
    struct stat status {};
    const bool isOurs =
        wire.process == getpid() || (::fstat(folder, &status) == 0 && status.st_uid == geteuid());
    return isOurs && startOfProcess(folder) == wire.processStart;
}

/// The file that the maker holds, held here too, so that nothing that happens there matters any
/// more; not open when it is another one than the bytes name.
Descriptor fileHeldByMaker(const Wire& wire) {
    const Descriptor folder = folderOfProcess(wire.process);
    if (!folder.isOpen() || !isMaker(folder.number(), wire))
        return Descriptor();
    const std::string name = "fd/" + std::to_string(wire.descriptor);
    Descriptor file(::openat(folder.number(), name.c_str(), O_PATH | O_CLOEXEC));
    struct stat status {};
    const bool isNamed =
        file.isOpen() && ::fstat(file.number(), &status) == 0 && isFileOf(status, wire);
    return isNamed ? std::move(file) : Descriptor();
}

/// What the system says that an open file is called; empty for what has no name in a folder.
std::string nameOfOpenFile(int descriptor) {
    // The system itself gives up on paths that are longer than a page.
    std::array<char, 4096> buffer{};
    const std::string link = "/proc/self/fd/" + std::to_string(descriptor);
    const ssize_t size = ::readlink(link.c_str(), buffer.data(), buffer.size());
    if (size <= 0 || static_cast<std::size_t>(size) == buffer.size() || buffer[0] != '/')
        return "";
    return {buffer.data(), static_cast<std::size_t>(size)};
}

/// Where the file is that is called `name`, or the one that took its place.
std::optional<std::string> placeOf(const std::string& name, const Wire& wire) {
    struct stat status {};
    // First as it stands: a file may well be called "Promo (deleted)".
    if (::stat(name.c_str(), &status) == 0 && isFileOf(status, wire))
        return name;
    if (!name.ends_with(kDeleted))
        return std::nullopt;
    std::string former = name.substr(0, name.size() - kDeleted.size());
    return ::stat(former.c_str(), &status) == 0 ? std::optional(std::move(former)) : std::nullopt;
}

} // namespace

struct FileReference::Held {
    Descriptor file;
};

std::optional<FileReference> FileReference::toPath(const std::string& path, std::string& error) {
    // A name ends at a NUL for the system: another file than the one that was meant.
    if (path.find('\0') != std::string::npos) {
        error = wordingOf(ENOENT);
        return std::nullopt;
    }
    Descriptor file(::open(path.c_str(), O_PATH | O_CLOEXEC));
    struct stat status {};
    if (!file.isOpen() || ::fstat(file.number(), &status) != 0) {
        error = wordingOf(errno);
        return std::nullopt;
    }
    const Descriptor self = folderOfProcess(getpid());
    const auto start = self.isOpen() ? startOfProcess(self.number()) : std::nullopt;
    if (!start) {
        error = wordingOf(ESRCH);
        return std::nullopt;
    }
    const Wire wire{kMagic, getpid(), file.number(), *start, status.st_dev, status.st_ino, {}};
    std::array<char, kFileReferenceBytes> bytes{};
    std::memcpy(bytes.data(), &wire, sizeof wire);
    return FileReference(std::make_shared<const Held>(Held{std::move(file)}), bytes);
}

std::optional<std::string> FileReference::pathOf(std::string_view bytes) {
    const auto wire = wireOf(bytes);
    const Descriptor file = wire ? fileHeldByMaker(*wire) : Descriptor();
    if (!file.isOpen())
        return std::nullopt;
    std::string name = nameOfOpenFile(file.number());
    for (int i = 0; i < kAttempts && !name.empty(); ++i) {
        auto place = placeOf(name, *wire);
        // A file that was renamed meanwhile is looked for again under its new name.
        std::string nameNow = nameOfOpenFile(file.number());
        if (nameNow == name)
            return place;
        name = std::move(nameNow);
    }
    return std::nullopt;
}

} // namespace cutstack
