#pragma once

#include "descriptors/RoughnessCurves.h"

#include <QelAudioAnalysis.h>

#include <span>

namespace qel::core {

// The sums of roughness over all pairs of peaks, lower peak by lower peak. `peakBins` ascend.
//
// The other arrays are by bin and have whole blocks of RoughnessCurves::kBlock: after the last bin
// their values do not matter. They are fastest where they start at a cache line. Any thread; no
// allocation.

// The sum of FastFrom(bin, distance to the next peak) at the distances of all pairs. `indicators`
// holds 1 at the bins of peaks, 0 at others.
//
// The sum of a lower peak is formed in single precision in 32 partial sums, as vDSP_dotpr does, so
// that it is the same on all processors.
float SumOfFastPairs(const RoughnessCurves& curves, std::span<const unsigned int> peakBins,
                     const float* indicators);

// The sum of Slow(bin) at the distances of the pairs times the lesser amplitude of the two.
// `amplitudes` are numbers, not negative, and 0 at bins that are no peaks and from bin
// peakBins.size() on.
//
// The sum of a lower peak is formed in single precision in 8 partial sums, which are then added one
// after the other. What is after the last whole eight values of a curve goes to the first of them.
float SumOfSlowPairs(const RoughnessCurves& curves, std::span<const unsigned int> peakBins,
                     const float* amplitudes);

} // namespace qel::core
