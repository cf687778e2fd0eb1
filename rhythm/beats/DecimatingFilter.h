#pragma once

#include <cstddef>

namespace qel::core {

// Where in a filter a run of values goes on.
struct FilterPlace {
    std::size_t tapsDone = 0;
    std::size_t firstTap = 0; // of the blocks that are worked on
    std::size_t column = 0;   // within each of them
    std::size_t row = 0;      // the first value that the open slice has not been added to
    std::size_t openTaps = 0; // of that slice
};

// Some values of a decimating filter, formed slice by slice, so that the work can be spread over
// time: out[r] = sum over n below `taps` of filter[n] * samples[r * step + n], for r below `count`.
//
// Made for long filters and steps: a filter is cut into blocks of `step` taps, so that samples
// which are loaded serve several blocks and values at once.
//
// A value is formed in single precision in an order that depends on `taps` and `step` alone.
//
//   1. Construct.
//   2. AddSlice until IsDone, always with the same samples and taps, which may have moved.
//   3. Finish.
//
// One thread at a time; no allocation.
class DecimatingRun {
public:
    static constexpr std::size_t kMostValues = 32;
    // Partial sums of a value, which are added up at the end.
    static constexpr std::size_t kPartialSums = 8;

    // `step` of 1 or more, `count` up to kMostValues.
    DecimatingRun(std::size_t taps, std::size_t step, std::size_t count)
        : mTaps(taps), mStep(step), mCount(count) {}

    bool IsDone() const { return mPlace.tapsDone >= mTaps; }
    // Taps whose products are in, on average over the values.
    std::size_t TapsDone() const { return mPlace.tapsDone + mPlace.openTaps * mPlace.row / mCount; }

    // Adds the products of up to 2048 taps, those of wide slices to 8 values only, the next ones in
    // turn: 0.4 us, where all values would take a multiple of a short push. `samples` holds (count
    // - 1) * step + taps values and `filter` `taps`. Not after the last one.
    void AddSlice(const float* filter, const float* samples);

    // Writes the `count` values.
    void Finish(float* out) const;

private:
    std::size_t mTaps;
    std::size_t mStep;
    std::size_t mCount;
    FilterPlace mPlace;
    alignas(64) float mPartials[kMostValues * kPartialSums] = {};
};

// All values of such a filter at once, in any number: the same to the last bit. `out` overlaps
// nothing. Any thread; no allocation.
void DecimatingFilter(const float* filter, std::size_t taps, const float* samples, std::size_t step,
                      std::size_t count, float* out);

} // namespace qel::core
