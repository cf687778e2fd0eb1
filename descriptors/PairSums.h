#pragma once

#include "descriptors/RoughnessCurves.h"

#include <QelAudioAnalysis.h>

#include <span>

namespace qel::core {

// The sum of FastFrom(bin, distance to the next peak) at the distances of all pairs of peaks, lower
// peak by lower peak. `peakBins` ascend. `indicators` holds 1 at the bins of peaks, 0 at others,
// and RoughnessCurves::kReadable floats more than there are bins.
//
// The sum of a lower peak is formed in single precision in 32 partial sums, as vDSP_dotpr does, so
// that it is the same on all processors. Any thread; no allocation.
float SumOfFastPairs(const RoughnessCurves& curves, std::span<const unsigned int> peakBins,
                     const float* indicators);

} // namespace qel::core
