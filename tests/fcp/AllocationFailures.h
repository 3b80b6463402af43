#pragma once

// Lets a test see what becomes of code that runs out of memory: an allocation of its choice fails.

namespace cutstack {

/// Lets the n-th allocation of this thread from now on fail, once.
void failAllocation(int nth);

/// Takes that back; returns whether the allocation has failed meanwhile.
bool endAllocationFailure();

} // namespace cutstack
