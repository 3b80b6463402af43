#include "platform/SystemInformation.h"

#include "platform/linux/OsRelease.h"

#include <fstream>
#include <iterator>

#include <unistd.h>

namespace cutstack {

namespace {

std::string systemVersion() {
    for (const char* path : {"/etc/os-release", "/usr/lib/os-release"}) {
        std::ifstream file(path);
        const std::string content{std::istreambuf_iterator<char>(file), {}};
        if (auto name = osReleaseValue(content, "PRETTY_NAME"))
            return *name;
    }
    return "Linux";
}

std::uint64_t physicalMemory() {
    const long pages = sysconf(_SC_PHYS_PAGES);
    const long pageSize = sysconf(_SC_PAGESIZE);
    if (pages < 0 || pageSize < 0)
        return 0;
    return static_cast<std::uint64_t>(pages) * static_cast<std::uint64_t>(pageSize);
}

} // namespace

SystemInformation systemInformation() {
    return {systemVersion(), static_cast<int>(sysconf(_SC_NPROCESSORS_ONLN)), physicalMemory()};
}

} // namespace cutstack
