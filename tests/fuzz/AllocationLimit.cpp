#include "tests/fuzz/AllocationLimit.h"

#include <atomic>
#include <cstdlib>
#include <limits>
#include <malloc.h>
#include <new>
#include <utility>

// What ASAN_OPTIONS says comes on top. Ignored where there is no checker.
extern "C" [[gnu::visibility("default")]] const char* __asan_default_options();
extern "C" const char* __asan_default_options() {
    return "allocator_may_return_null=1:max_allocation_size_mb=128";
}
static_assert(qel::fuzz::kLargestBlock == std::size_t{128} << 20, "as the options say");

namespace {

constexpr std::size_t kNoFailure = std::numeric_limits<std::size_t>::max();

std::atomic<std::size_t> gSum = 0;
thread_local std::size_t gAllocationsLeft = kNoFailure;
thread_local bool gFailed = false;

bool MayAllocate(std::size_t size) {
    if (gAllocationsLeft != kNoFailure && gAllocationsLeft-- == 0) {
        gAllocationsLeft = kNoFailure;
        gFailed = true;
        return false;
    }
    return size <= qel::fuzz::kLargestBlock && gSum + size <= qel::fuzz::kLargestSum;
}

void* Allocate(std::size_t size, std::size_t alignment) {
    void* memory = nullptr;
    if (!MayAllocate(size) || posix_memalign(&memory, alignment, size != 0 ? size : 1) != 0) {
        throw std::bad_alloc();
    }
    gSum += malloc_usable_size(memory);
    return memory;
}

void* AllocateOrNull(std::size_t size, std::size_t alignment) noexcept {
    try {
        return Allocate(size, alignment);
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

// Not inlined: GCC would take a free for one of memory from another function than malloc.
[[gnu::noinline]] void Free(void* memory) noexcept {
    if (memory != nullptr) {
        gSum -= malloc_usable_size(memory);
        std::free(memory);
    }
}

constexpr std::size_t kUsual = alignof(std::max_align_t);

} // namespace

namespace qel::fuzz {

void FailAllocationAfter(std::size_t count) {
    gFailed = false;
    gAllocationsLeft = count;
}

bool EndAllocationFailures() {
    gAllocationsLeft = kNoFailure;
    return std::exchange(gFailed, false);
}

} // namespace qel::fuzz

void* operator new(std::size_t size) {
    return Allocate(size, kUsual);
}
void* operator new[](std::size_t size) {
    return Allocate(size, kUsual);
}
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    return AllocateOrNull(size, kUsual);
}
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
    return AllocateOrNull(size, kUsual);
}
void* operator new(std::size_t size, std::align_val_t alignment) {
    return Allocate(size, static_cast<std::size_t>(alignment));
}
void* operator new[](std::size_t size, std::align_val_t alignment) {
    return Allocate(size, static_cast<std::size_t>(alignment));
}
void* operator new(std::size_t size, std::align_val_t alignment, const std::nothrow_t&) noexcept {
    return AllocateOrNull(size, static_cast<std::size_t>(alignment));
}
void* operator new[](std::size_t size, std::align_val_t alignment, const std::nothrow_t&) noexcept {
    return AllocateOrNull(size, static_cast<std::size_t>(alignment));
}
void operator delete(void* memory) noexcept {
    Free(memory);
}
void operator delete[](void* memory) noexcept {
    Free(memory);
}
void operator delete(void* memory, std::size_t) noexcept {
    Free(memory);
}
void operator delete[](void* memory, std::size_t) noexcept {
    Free(memory);
}
void operator delete(void* memory, const std::nothrow_t&) noexcept {
    Free(memory);
}
void operator delete[](void* memory, const std::nothrow_t&) noexcept {
    Free(memory);
}
void operator delete(void* memory, std::align_val_t) noexcept {
    Free(memory);
}
void operator delete[](void* memory, std::align_val_t) noexcept {
    Free(memory);
}
void operator delete(void* memory, std::size_t, std::align_val_t) noexcept {
    Free(memory);
}
void operator delete[](void* memory, std::size_t, std::align_val_t) noexcept {
    Free(memory);
}
void operator delete(void* memory, std::align_val_t, const std::nothrow_t&) noexcept {
    Free(memory);
}
void operator delete[](void* memory, std::align_val_t, const std::nothrow_t&) noexcept {
    Free(memory);
}
