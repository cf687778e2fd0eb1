#pragma once

#include <cstddef>
#include <span>

namespace qel::readings {

// Measures of a curve over the frames of "spectrum".

// The value below which a share of all values lies; 0 for no values.
float quantile(std::span<const float> curve, double share);

// The mean of the greatest values, which are a share of all, one at least; 0 for no values.
double meanOfGreatest(std::span<const float> curve, double share);

// The greatest value from 2 frames before to 3 frames after a frame: what begins at a beat there. 0
// outside of the curve.
double greatestAround(std::span<const float> curve, double frame);

// The sum of the same values: that of an onset does not depend on where between two frames it is.
double sumAround(std::span<const float> curve, double frame);

// The autocorrelation at a lag in frames, 1 at the lag 0: the greatest of the three whole lags next
// to it. 0 for a constant curve, and for lags below 2 or beyond the curve.
double autocorrelation(std::span<const float> curve, double lag);

} // namespace qel::readings
