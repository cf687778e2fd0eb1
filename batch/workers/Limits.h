#pragma once

#include <cstdint>
#include <string>

namespace qel::batch {

// What one file may take.
struct Limits {
    double seconds = 900;
    std::uint64_t memoryBytes = std::uint64_t{4096} << 20; // of its worker
};

// The error of a file that needs more.
inline std::string MemoryText(const Limits& limits) {
    return "needs more than " + std::to_string(limits.memoryBytes >> 20) + " MiB of memory";
}

} // namespace qel::batch
