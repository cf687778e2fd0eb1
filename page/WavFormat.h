#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

namespace qel::page {

// The longest file of WAVE, in bytes of samples: its sizes have 32 bits.
inline constexpr std::uint64_t kMostWavBytes = 0xFFFFFFFFu - 64;

// The 44 bytes before 16-bit samples (Multimedia Programming Interface and Data Specifications 1.0,
// IBM and Microsoft, 1991). sampleBytes is at most kMostWavBytes.
std::string WavHeader(int sampleRateHz, std::size_t channels, std::uint64_t sampleBytes);

// Samples as they stand in the file: interleaved, 16 bits, full scale is 1, what lies beyond is
// clipped.
std::string WavSamples(std::span<const float* const> channels, std::size_t frames);

} // namespace qel::page
