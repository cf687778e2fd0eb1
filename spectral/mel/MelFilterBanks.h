#pragma once

#include "spectral/mel/MelFilterBank.h"

#include <MacTypes.h>

#include <cstddef>
#include <memory>

namespace qel::core {

// Where the edges of the filters are; AAMelFrequencySpectralProcessor describes both.
enum class MelSpacing { Mel, LinearThenLog };

// What the weights of filters depend on.
struct MelDesign {
    MelSpacing spacing;
    UInt32 linearFilters; // at least 1 with LinearThenLog
    UInt32 filters;
    UInt32 frameSize; // samples
    double sampleRateHz;

    bool operator==(const MelDesign&) const = default;
};

// The banks of filters of the process: those in use, and those of the last few designs that were
// asked for, so that a reset makes none. Any thread.
class MelFilterBanks {
public:
    using Pointer = std::shared_ptr<const MelFilterBank>;

    // The designs whose banks stay when nobody uses them: both spacings of two sample rates, at
    // about 10 KB each for frames of 1024 samples. Larger designs than these are not shared.
    static constexpr std::size_t kHeld = 4;
    static constexpr UInt32 kMostShared = 256;      // filters
    static constexpr UInt32 kLongestShared = 32768; // samples

    // Both raise std::bad_alloc.
    static Pointer Find(const MelDesign& design);
    // Without filters.
    static Pointer Empty(UInt32 bins);
};

} // namespace qel::core
