#include "bench/AllocationCounter.h"

#include <cerrno>
#include <cstdlib>

// The C library's own functions under their second names, glibc's offer to whoever replaces the
// first ones.
extern "C" {
void* __libc_malloc(std::size_t size) noexcept;
void* __libc_calloc(std::size_t count, std::size_t size) noexcept;
void* __libc_realloc(void* memory, std::size_t size) noexcept;
void* __libc_memalign(std::size_t alignment, std::size_t size) noexcept;
}

namespace {

std::size_t gCount = 0;

} // namespace

namespace qel::bench {

std::size_t AllocationCounter::Count() {
    return gCount;
}

} // namespace qel::bench

#define QEL_BENCH_IN_FRONT extern "C" __attribute__((visibility("default")))

QEL_BENCH_IN_FRONT void* malloc(std::size_t size) noexcept {
    ++gCount;
    return __libc_malloc(size);
}

QEL_BENCH_IN_FRONT void* calloc(std::size_t count, std::size_t size) noexcept {
    ++gCount;
    return __libc_calloc(count, size);
}

QEL_BENCH_IN_FRONT void* realloc(void* memory, std::size_t size) noexcept {
    ++gCount;
    return __libc_realloc(memory, size);
}

QEL_BENCH_IN_FRONT void* memalign(std::size_t alignment, std::size_t size) noexcept {
    ++gCount;
    return __libc_memalign(alignment, size);
}

QEL_BENCH_IN_FRONT void* aligned_alloc(std::size_t alignment, std::size_t size) noexcept {
    return memalign(alignment, size);
}

QEL_BENCH_IN_FRONT int posix_memalign(void** memory, std::size_t alignment,
                                      std::size_t size) noexcept {
    *memory = memalign(alignment, size);
    return *memory != nullptr ? 0 : ENOMEM;
}
