#pragma once

#include <MacTypes.h>

#include <cstddef>
#include <functional>
#include <memory>
#include <vector>

namespace qel::core {

// How a signal at 100 values per second repeats: its products with itself at every lag up to 13.5
// seconds, gathered by phase within the lag, and the correlation of that matrix with itself under a
// shift of phase.
//
// A row of kLagCount phases for every lag; the lag l has l phases, the rest of its row is zero.
// Memory: a matrix of 7 MiB, and less for signals below 13.5 seconds, which have no products at
// lags beyond their length.
//
// Required by the contract: the matrix is kept from one channel to the next. A later one sums on
// top of the means of the earlier ones, and is divided by the counts of all. Clearing it can change
// the meter of the later channels.
class MeterMatrix {
public:
    static constexpr UInt32 kLagCount = 1350; // lags and phases, in steps of 10 ms

    // For channels of `frames` values each.
    explicit MeterMatrix(UInt32 frames);
    ~MeterMatrix();

    // Adds the products of a channel and divides each sum by its count.
    void Accumulate(const float* signal);

    // The phases of a lag, from 1 to kLagCount: kLagCount values.
    const float* Row(UInt32 lag) const;
    // The same under a box of three phases by three lags, with zeros around the matrix.
    void SmoothedRow(UInt32 lag, float* row) const;

    // The correlation at the shifts 0 to kLagCount - 1: for a shift d, the sum over all lags and
    // phases p of smoothed[p] * extended[p + d], where a lag's extended row repeats its first `lag`
    // smoothed values for ever.
    //
    // Formed by transforms, which agree with the direct sums within kRelativeError of the greatest
    // value. `goesOn` is asked with the shifts 0, 100, 200 and so on as the work advances; the
    // result is empty if it answers false.
    std::vector<float> Repetition(const std::function<bool(UInt32 shift)>& goesOn) const;
    static constexpr float kRelativeError = 1e-4f;

private:
    struct Smoothing;

    std::vector<float> mPhases; // by lag, then phase
    const std::unique_ptr<Smoothing> mSmoothing;
    const UInt32 mFrames;
    UInt32 mChannels = 0; // that have been added
};

} // namespace qel::core
