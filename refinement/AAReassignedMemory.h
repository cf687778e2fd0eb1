#pragma once

#include <cstddef>
#include <cstdint>

#if defined(__linux__)
#include <sys/mman.h>
#endif

namespace qel::core {

// Asks the system to bring memory that is about to be filled from its start on in large pages: of
// kilobytes per frame, most of the time goes into the faults of small ones. It is still taken page
// by page, as it is touched. A wish only: nothing fails, and other systems do nothing.
inline void PreferLargePages([[maybe_unused]] const void* memory,
                             [[maybe_unused]] std::size_t bytes) {
#if defined(__linux__) && defined(MADV_HUGEPAGE)
    constexpr std::uintptr_t kLargePage = std::uintptr_t{1} << 21;
    const auto begin = reinterpret_cast<std::uintptr_t>(memory);
    const std::uintptr_t first = (begin + kLargePage - 1) / kLargePage * kLargePage;
    const std::uintptr_t end = (begin + bytes) / kLargePage * kLargePage;
    if (first < end) {
        auto* const start = const_cast<std::byte*>(static_cast<const std::byte*>(memory));
        (void)madvise(start + (first - begin), end - first, MADV_HUGEPAGE);
    }
#endif
}

} // namespace qel::core
