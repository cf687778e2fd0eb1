// For test programs in which memory runs out on demand: linked in, FailingAllocation.cpp replaces
// operator new and delete of the whole program, its libraries included.
#pragma once

namespace qel::testing {

// Allocations of this thread that still succeed; negative while there is no limit.
extern thread_local int gAllocationsLeft;

// Whether there is memory again after the first failure.
extern thread_local bool gOnlyOneFails;

} // namespace qel::testing
