#pragma once

#include <CoreFoundation/CFBase.h>

#include <cstdint>
#include <string_view>

namespace qel::platform {

// Spreads every bit of a value over the whole word (the finalizer of SplitMix64: Steele, Lea and
// Flood, "Fast splittable pseudorandom number generators", 2014).
constexpr CFHashCode HashMix(std::uint64_t value) noexcept {
    value += 0x9E3779B97F4A7C15u;
    value = (value ^ (value >> 30)) * 0xBF58476D1CE4E5B9u;
    value = (value ^ (value >> 27)) * 0x94D049BB133111EBu;
    return static_cast<CFHashCode>(value ^ (value >> 31));
}

// The hash of a run of bytes (64-bit FNV-1a, mixed).
constexpr CFHashCode HashBytes(std::string_view bytes) noexcept {
    std::uint64_t hash = 0xCBF29CE484222325u;
    for (const char byte : bytes) {
        hash = (hash ^ static_cast<unsigned char>(byte)) * 0x100000001B3u;
    }
    return HashMix(hash);
}

} // namespace qel::platform
