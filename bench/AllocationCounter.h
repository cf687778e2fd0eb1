#pragma once

#include <cstddef>

namespace qel::bench {

// Counts the heap allocations of the whole program, whichever library makes them: linking it puts
// functions of its own in front of the C library's. The program must have one thread.
class AllocationCounter {
public:
    // Since the program began. An allocation that grows in place counts too.
    static std::size_t Count();
};

} // namespace qel::bench
