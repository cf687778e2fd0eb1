#pragma once

#include <cstdint>

#if defined(__linux__)
#include <malloc.h>
#include <sys/mman.h>
#endif

namespace qel::core {

// Asks the system to bring large memory from the malloc family in small pages, where it would bring
// large ones by itself: the push that first touches a large page waits until the system has cleared
// 2 MB. A wish only: nothing fails, and other systems do nothing.
//
// Such memory is a mapping of its own. All of it is asked for, since realloc copies a mapping of
// which only a part has small pages.
inline void PreferSmallPages([[maybe_unused]] void* memory) {
#if defined(__linux__) && defined(MADV_NOHUGEPAGE)
    constexpr std::uintptr_t kLargePage = std::uintptr_t{1} << 21;
    constexpr std::uintptr_t kPage = 4096;
    const auto begin = reinterpret_cast<std::uintptr_t>(memory);
    const std::uintptr_t end = begin + malloc_usable_size(memory);
    if (end - begin < kLargePage) {
        return;
    }
    const std::uintptr_t within = begin % kPage;
    void* const first = static_cast<char*>(memory) - within;
    (void)madvise(first, (end - (begin - within) + kPage - 1) / kPage * kPage, MADV_NOHUGEPAGE);
#endif
}

} // namespace qel::core
