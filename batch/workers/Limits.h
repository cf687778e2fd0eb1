#pragma once

#include <cstdint>

namespace qel::batch {

// What one file may take.
struct Limits {
    double seconds = 900;
    std::uint64_t memoryBytes = std::uint64_t{4096} << 20; // of its worker
};

} // namespace qel::batch
