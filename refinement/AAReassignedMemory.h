#pragma once

#include <cstddef>
#include <cstdint>

#if defined(__linux__)
#include <sys/mman.h>
#endif

namespace qel::core {

// Asks the system to bring memory that is filled from its start on in small pages, where it would
// bring large ones by itself: the push that first touches a large page waits until the system has
// cleared 2 MB. A wish only: nothing fails, and other systems do nothing.
inline void PreferSmallPages([[maybe_unused]] const void* memory,
                             [[maybe_unused]] std::size_t bytes) {
#if defined(__linux__) && defined(MADV_NOHUGEPAGE)
    constexpr std::uintptr_t kLargePage = std::uintptr_t{1} << 21;
    constexpr std::uintptr_t kPage = 4096;
    if (bytes < kLargePage) {
        return;
    }
    // The pages at both ends belong to others, too.
    const auto begin = reinterpret_cast<std::uintptr_t>(memory);
    const std::uintptr_t first = (begin + kPage - 1) / kPage * kPage;
    const std::uintptr_t end = (begin + bytes) / kPage * kPage;
    auto* const start = const_cast<std::byte*>(static_cast<const std::byte*>(memory));
    (void)madvise(start + (first - begin), end - first, MADV_NOHUGEPAGE);
#endif
}

} // namespace qel::core
