#include "tests/fcp/AllocationFailures.h"

#include <cstdlib>
#include <new>

namespace {
thread_local int allocationsUntilFailure = 0;
} // namespace

void* operator new(std::size_t size) {
    if (allocationsUntilFailure > 0 && --allocationsUntilFailure == 0)
        throw std::bad_alloc();
    if (void* memory = std::malloc(size == 0 ? 1 : size))
        return memory;
    throw std::bad_alloc();
}
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }

namespace cutstack {

void failAllocation(int nth) { allocationsUntilFailure = nth; }

bool endAllocationFailure() {
    const bool hasFailed = allocationsUntilFailure == 0;
    allocationsUntilFailure = 0;
    return hasFailed;
}

} // namespace cutstack
