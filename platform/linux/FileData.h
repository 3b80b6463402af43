#pragma once

// The bytes of a file into another file, as the file systems do it fastest: the new file shares the
// blocks of the old one, or the kernel copies them, or they go through memory. Holes stay holes.
// Each copy belongs to one thread.

#include <cstdint>
#include <functional>

#include <sys/stat.h>

#include "platform/linux/Descriptor.h"

namespace cutstack {

enum class DataEnd {
    copied,
    stopped,    ///< by the observer
    unreadable, ///< errno is why
    unwritable, ///< errno is why
};

/// Is told how many bytes of the file have come; answers whether to go on.
using DataObserver = std::function<bool(std::uint64_t)>;

/// Copies the regular file that is open for reading as `source` into the empty one that is open for
/// writing as `target`; `status` is the source's. The observer is told after each
/// `bytesAtOnce` bytes; between them the copy does not react.
///
/// A source that is written to meanwhile gives any mixture of its states, which the caller finds
/// out by looking at its status again. Whatever the end, the bytes need not be on the disk yet, and
/// unless they are copied, `target` has some of them.
[[nodiscard]] DataEnd copyData(const Descriptor& source, const struct stat& status,
                               const Descriptor& target, std::uint64_t bytesAtOnce,
                               const DataObserver& observer);

} // namespace cutstack
