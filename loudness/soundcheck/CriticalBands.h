#pragma once

#include <MacTypes.h>

#include <array>
#include <cstddef>

namespace qel::core {

// Bins of a 1024-point spectrum that belong to one critical band of hearing, and what a unit of
// energy in them counts.
struct CriticalBand {
    UInt16 startBin;
    UInt16 endBin; // the bin after the last
    float weight;  // the inverse of the threshold of hearing, as a ratio of powers
};

inline constexpr std::size_t kNumCriticalBands = 25;
using CriticalBands = std::array<CriticalBand, kNumCriticalBands>;

// Fills in the bands for a sample rate in Hz. They tile the spectrum from bin 0 up to 22050 Hz; a
// band whose upper edge lies above half the rate has no bins and the weight 0. No band reaches
// beyond bin 512. Any rate is allowed: at 0 Hz there is no band.
void ComputeCriticalBands(UInt32 sampleRate, CriticalBands& bands);

} // namespace qel::core
