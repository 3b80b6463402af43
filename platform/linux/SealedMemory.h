#pragma once

// Bytes that go from process to process without being copied on the way: an anonymous memory file
// whose size and content are sealed (memfd_create(2), fcntl(2) F_ADD_SEALS), so that the receiver
// may map it and rely on it never changing, whatever the sender does. Any thread.

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "platform/SharedBytes.h"
#include "platform/linux/Descriptor.h"

namespace cutstack {

/// A sealed memory file that holds `bytes`. On failure nothing is open, and errno says why.
[[nodiscard]] Descriptor sealedMemoryOf(std::string_view bytes);

/// The content of the sealed memory file `number`, which stays the caller's and may be closed at
/// once: the bytes are mapped, not copied, and go with their last owner. Anything that is no memory
/// file, that somebody could still change or shorten, or that has more than `sizeLimit` bytes is
/// refused with the reason in `error`.
[[nodiscard]] std::optional<SharedBytes> mappedMemory(int number, std::size_t sizeLimit,
                                                      std::string& error);

} // namespace cutstack
