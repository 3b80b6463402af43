#include "platform/linux/SealedMemory.h"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <memory>
#include <sys/mman.h>
#include <sys/stat.h>

#include "platform/SystemErrors.h"

namespace cutstack {

namespace {

constexpr int kAllSeals = F_SEAL_SEAL | F_SEAL_SHRINK | F_SEAL_GROW | F_SEAL_WRITE;
/// What a reader needs: without the first one, touching a page that is gone ends the process.
constexpr int kNeededSeals = F_SEAL_SHRINK | F_SEAL_WRITE;

/// One write takes no more than about 2 GiB, and may take less.
bool writeAll(const Descriptor& file, std::string_view bytes) {
    constexpr std::size_t chunk = std::size_t{64} << 20U;
    for (std::size_t offset = 0; offset < bytes.size();) {
        const ssize_t count =
            ::pwrite(file.number(), bytes.data() + offset, std::min(chunk, bytes.size() - offset),
                     static_cast<off_t>(offset));
        if (count < 0 && errno != EINTR)
            return false;
        offset += count < 0 ? 0 : static_cast<std::size_t>(count);
    }
    return true;
}

/// The size of a memory file that may be mapped.
std::optional<std::size_t> sealedSize(int number, std::string& error) {
    struct stat status {};
    if (::fstat(number, &status) != 0) {
        error = wordingOf(errno);
        return std::nullopt;
    }
    // Only memory files know seals: a pipe, a device or a file on a disk answers EINVAL.
    const int seals = S_ISREG(status.st_mode) ? ::fcntl(number, F_GET_SEALS) : -1;
    if (seals < 0) {
        error = "not a memory file";
        return std::nullopt;
    }
    if ((seals & kNeededSeals) != kNeededSeals) {
        error = "a memory file that is not sealed";
        return std::nullopt;
    }
    return static_cast<std::size_t>(status.st_size);
}

} // namespace

Descriptor sealedMemoryOf(std::string_view bytes) {
    Descriptor file(::memfd_create("event", MFD_CLOEXEC | MFD_ALLOW_SEALING));
    if (!file.isOpen() || !writeAll(file, bytes) ||
        ::fcntl(file.number(), F_ADD_SEALS, kAllSeals) != 0)
        return Descriptor();
    return file;
}

std::optional<SharedBytes> mappedMemory(int number, std::size_t sizeLimit, std::string& error) {
    const auto size = sealedSize(number, error);
    if (!size)
        return std::nullopt;
    if (*size > sizeLimit) {
        error = wordingOf(EFBIG);
        return std::nullopt;
    }
    if (*size == 0)
        return SharedBytes();
    void* const memory = ::mmap(nullptr, *size, PROT_READ, MAP_PRIVATE, number, 0);
    if (memory == MAP_FAILED) {
        error = wordingOf(errno);
        return std::nullopt;
    }
    std::shared_ptr<const void> owner(memory,
                                      [size = *size](void* mapped) { ::munmap(mapped, size); });
    return SharedBytes(std::move(owner), {static_cast<const char*>(memory), *size});
}

} // namespace cutstack
