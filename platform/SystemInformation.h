#pragma once

// What the machine is, for the head of a log. Any thread.

#include <cstdint>
#include <string>

namespace cutstack {

struct SystemInformation {
    std::string version;             ///< the operating system's full name for people
    int processorCount = 0;          ///< those that are online
    std::uint64_t memoryInBytes = 0; ///< physical memory; 0 when unknown
};

[[nodiscard]] SystemInformation systemInformation();

} // namespace cutstack
