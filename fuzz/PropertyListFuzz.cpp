// Property lists from anywhere: whatever is read must be writable or refused, and what was written
// must be read as the same list. Lists are compared as they are written, where NaN equals NaN.

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "support/PropertyListReading.h"
#include "support/PropertyListWriting.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    using namespace cutstack;
    std::string error;
    const auto list = readPropertyList({reinterpret_cast<const char*>(bytes), size}, error);
    if (list.has_value() != error.empty())
        std::abort();
    const auto xml = list ? xmlPropertyList(*list) : std::nullopt;
    if (!xml)
        return 0;
    const auto again = readPropertyList(*xml, error);
    if (!again || xmlPropertyList(*again) != xml)
        std::abort();
    return 0;
}
