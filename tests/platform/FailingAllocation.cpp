#include "tests/platform/FailingAllocation.h"

#include <cstdlib>
#include <new>

namespace qel::testing {

thread_local int gAllocationsLeft = -1;
thread_local bool gOnlyOneFails = false;

} // namespace qel::testing

using qel::testing::gAllocationsLeft;
using qel::testing::gOnlyOneFails;

// Not inlined: GCC would take a free for one of memory from another function than malloc.
[[gnu::noinline]] void* operator new(std::size_t size) {
    if (gAllocationsLeft == 0) {
        gAllocationsLeft = gOnlyOneFails ? -1 : 0;
        throw std::bad_alloc();
    }
    if (gAllocationsLeft > 0) {
        --gAllocationsLeft;
    }
    if (void* memory = std::malloc(size == 0 ? 1 : size)) {
        return memory;
    }
    throw std::bad_alloc();
}

[[gnu::noinline]] void operator delete(void* memory) noexcept {
    std::free(memory);
}
[[gnu::noinline]] void operator delete(void* memory, std::size_t) noexcept {
    std::free(memory);
}
