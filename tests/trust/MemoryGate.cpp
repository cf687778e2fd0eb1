#include "tests/trust/MemoryGate.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstddef>
#include <new>
#include <utility>

// What stands behind the gate: the C library's own functions, or a sanitizer's in their place.
#if defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define QEL_TRUST_SANITIZED
#endif
#endif
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define QEL_TRUST_SANITIZED
#endif
#if defined(QEL_TRUST_SANITIZED)
#define QEL_TRUST_BEHIND(name) __interceptor_##name
#else
#define QEL_TRUST_BEHIND(name) __libc_##name
#endif

extern "C" {
void* QEL_TRUST_BEHIND(malloc)(std::size_t size);
void* QEL_TRUST_BEHIND(calloc)(std::size_t count, std::size_t size);
void* QEL_TRUST_BEHIND(realloc)(void* memory, std::size_t size);
void* QEL_TRUST_BEHIND(memalign)(std::size_t alignment, std::size_t size);
void QEL_TRUST_BEHIND(free)(void* memory);
}

namespace qel::trust {
namespace {

constexpr long kNoLimit = -1;

constinit thread_local long gGranted = kNoLimit;
constinit thread_local bool gOnce = true;
constinit thread_local bool gRefused = false;
constinit thread_local bool gRefusedFFTW = false;
constinit thread_local long gRequests = 0;
constinit thread_local std::size_t gLargestRequest = 0;
constinit std::atomic<long> gLive = 0;

bool IsRefused(std::size_t size) {
    ++gRequests;
    gLargestRequest = std::max(gLargestRequest, size);
    if (gGranted < 0) {
        return false;
    }
    if (gGranted > 0) {
        --gGranted;
        return false;
    }
    gRefused = true;
    gGranted = gOnce ? kNoLimit : 0;
    return true;
}

void* Counted(void* memory) {
    if (memory != nullptr) {
        gLive.fetch_add(1, std::memory_order_relaxed);
    }
    return memory;
}

void* NoMemory() {
    errno = ENOMEM;
    return nullptr;
}

void* Allocate(std::size_t size) {
    return IsRefused(size) ? NoMemory() : Counted(QEL_TRUST_BEHIND(malloc)(size));
}

void* AllocateAligned(std::size_t alignment, std::size_t size) {
    return IsRefused(size) ? NoMemory() : Counted(QEL_TRUST_BEHIND(memalign)(alignment, size));
}

void GiveBack(void* memory) {
    if (memory != nullptr) {
        gLive.fetch_sub(1, std::memory_order_relaxed);
        QEL_TRUST_BEHIND(free)(memory);
    }
}

void* OrThrow(void* memory) {
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    return memory;
}

} // namespace

void MemoryGate::Close(long granted, Refuse refuse) {
    gOnce = refuse == Refuse::kOnce;
    gRefused = false;
    gRefusedFFTW = false;
    gGranted = granted;
}

bool MemoryGate::HasRefused() {
    return gRefused;
}

bool MemoryGate::HasRefusedFFTW() {
    return gRefusedFFTW;
}

bool MemoryGate::Open() {
    gGranted = kNoLimit;
    return gRefused;
}

long MemoryGate::Requests() {
    return gRequests;
}

std::size_t MemoryGate::TakeLargestRequest() {
    return std::exchange(gLargestRequest, 0);
}

long MemoryGate::Live() {
    return gLive.load(std::memory_order_relaxed);
}

} // namespace qel::trust

using qel::trust::Allocate;
using qel::trust::AllocateAligned;
using qel::trust::Counted;
using qel::trust::GiveBack;
using qel::trust::gRefused;
using qel::trust::gRefusedFFTW;
using qel::trust::IsRefused;
using qel::trust::NoMemory;
using qel::trust::OrThrow;

// Seen by the libraries, which else would go past the gate.
#pragma GCC visibility push(default)

extern "C" {

void* malloc(std::size_t size) noexcept {
    return Allocate(size);
}

void* calloc(std::size_t count, std::size_t size) noexcept {
    return IsRefused(count * size) ? NoMemory() : Counted(QEL_TRUST_BEHIND(calloc)(count, size));
}

void* realloc(void* memory, std::size_t size) noexcept {
    if (memory == nullptr) {
        return Allocate(size);
    }
    if (size == 0) {
        GiveBack(memory);
        return nullptr;
    }
    return IsRefused(size) ? NoMemory() : QEL_TRUST_BEHIND(realloc)(memory, size);
}

void* memalign(std::size_t alignment, std::size_t size) noexcept {
    return AllocateAligned(alignment, size);
}

void* aligned_alloc(std::size_t alignment, std::size_t size) noexcept {
    const bool hadRefused = gRefused;
    void* const memory = AllocateAligned(alignment, size);
    gRefusedFFTW |= gRefused && !hadRefused;
    return memory;
}

int posix_memalign(void** memory, std::size_t alignment, std::size_t size) noexcept {
    const int before = errno;
    void* const made = AllocateAligned(alignment, size);
    errno = before;
    if (made == nullptr) {
        return ENOMEM;
    }
    *memory = made;
    return 0;
}

void free(void* memory) noexcept {
    GiveBack(memory);
}

} // extern "C"

// Not inlined: GCC would take a free for one of memory from another function than malloc.
[[gnu::noinline]] void* operator new(std::size_t size) {
    return OrThrow(Allocate(size));
}
[[gnu::noinline]] void* operator new[](std::size_t size) {
    return OrThrow(Allocate(size));
}
[[gnu::noinline]] void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    return Allocate(size);
}
[[gnu::noinline]] void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
    return Allocate(size);
}
[[gnu::noinline]] void* operator new(std::size_t size, std::align_val_t alignment) {
    return OrThrow(AllocateAligned(static_cast<std::size_t>(alignment), size));
}
[[gnu::noinline]] void* operator new[](std::size_t size, std::align_val_t alignment) {
    return OrThrow(AllocateAligned(static_cast<std::size_t>(alignment), size));
}
[[gnu::noinline]] void* operator new(std::size_t size, std::align_val_t alignment,
                                     const std::nothrow_t&) noexcept {
    return AllocateAligned(static_cast<std::size_t>(alignment), size);
}
[[gnu::noinline]] void* operator new[](std::size_t size, std::align_val_t alignment,
                                       const std::nothrow_t&) noexcept {
    return AllocateAligned(static_cast<std::size_t>(alignment), size);
}
[[gnu::noinline]] void operator delete(void* memory) noexcept {
    GiveBack(memory);
}
[[gnu::noinline]] void operator delete[](void* memory) noexcept {
    GiveBack(memory);
}
[[gnu::noinline]] void operator delete(void* memory, std::size_t) noexcept {
    GiveBack(memory);
}
[[gnu::noinline]] void operator delete[](void* memory, std::size_t) noexcept {
    GiveBack(memory);
}
[[gnu::noinline]] void operator delete(void* memory, const std::nothrow_t&) noexcept {
    GiveBack(memory);
}
[[gnu::noinline]] void operator delete[](void* memory, const std::nothrow_t&) noexcept {
    GiveBack(memory);
}
[[gnu::noinline]] void operator delete(void* memory, std::align_val_t) noexcept {
    GiveBack(memory);
}
[[gnu::noinline]] void operator delete[](void* memory, std::align_val_t) noexcept {
    GiveBack(memory);
}
[[gnu::noinline]] void operator delete(void* memory, std::size_t, std::align_val_t) noexcept {
    GiveBack(memory);
}
[[gnu::noinline]] void operator delete[](void* memory, std::size_t, std::align_val_t) noexcept {
    GiveBack(memory);
}
[[gnu::noinline]] void operator delete(void* memory, std::align_val_t,
                                       const std::nothrow_t&) noexcept {
    GiveBack(memory);
}
[[gnu::noinline]] void operator delete[](void* memory, std::align_val_t,
                                         const std::nothrow_t&) noexcept {
    GiveBack(memory);
}

#pragma GCC visibility pop
