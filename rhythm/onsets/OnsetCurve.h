#pragma once

#include <MacTypes.h>

namespace qel::core {

// Of the low-pass of the detection curve: exp(-x), a time constant of 20 ms at 44.1 kHz. The next
// term of the series is 7e-14, far below a unit of a float.
inline constexpr double kOnsetSmoothingStep = 1.0 / (0.02 * 44100.0);
inline constexpr auto kOnsetSmoothingPole =
    static_cast<float>(1.0 - kOnsetSmoothingStep * (1.0 - kOnsetSmoothingStep / 2.0 *
                                                              (1.0 - kOnsetSmoothingStep / 3.0)));

// The sum of the bands becomes the detection curve of onsets by four steps:
//
//   1. ComputeWeightedDifference with a weight of 0.9
//   2. HalfWaveRectify
//   3. MuLawCompress with a factor of 10
//   4. a first-order low-pass with a time constant of 882 samples from the last value to the first,
//      so that its ringing stands in front of an event and the peak stays at the event's onset
//
// FormOnsetInputs makes what the low-pass adds to its state, and a LowPassRun the curve. The values
// are those of the four steps to the last bit. In front of an infinite one they are infinite too,
// where `filter` has something that is no number. The last value of a stream, which nothing
// follows, is 0 and has no input.
//
// sum     n + 1 values: the difference of the last one needs the value after it
// inputs  receives n values; may be the same as `sum`
//
// Keeps no state, allocates nothing, runs in any thread.
void FormOnsetInputs(const float* sum, float* inputs, UInt32 n);

// Two values between which the value of a curve lies. A curve is never negative.
//
// Each step of the low-pass is monotonic, rounding included, and shrinks what lies between bounds
// by the pole. They are the same after some 20,000 values of music: that is the curve's value,
// whatever comes later. Where they stay apart, as in exactly periodic sums, they still are bounds.
struct OnsetCurveBounds {
    // Bounds every value of a curve without an infinite one: the compressed values stay below 38,
    // since 10 FLT_MAX is exp(91), and the low-pass does not exceed them but for its rounding.
    static constexpr float kGreatest = 64.0f;

    float least = 0.0f;
    float greatest = kGreatest;
};

} // namespace qel::core
