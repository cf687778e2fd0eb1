#pragma once

#include "support/runtime/CAAutoDisposer.h"

#include <algorithm>
#include <cstddef>

namespace qel::core {

// The newest samples of a stream that begins with some silence. They are in one piece wherever they
// are read from, and none is ever moved: each is kept twice, one length apart.
//
// One thread at a time. Only construction allocates.
class RecentSamples {
public:
    // The last `length` samples are kept, more than `silence`, which the stream begins with.
    // Raises std::bad_alloc.
    RecentSamples(std::size_t length, std::size_t silence)
        : mLength(length), mSilence(silence), mCount(silence), mSamples(2 * length, true) {}

    // `n` is at most the length.
    void Append(const float* samples, std::size_t n) {
        const std::size_t place = mCount % mLength;
        const std::size_t first = std::min(n, mLength - place);
        WriteTwice(samples, first, place);
        WriteTwice(samples + first, n - first, 0);
        mCount += n;
    }

    // Sample number `n` of the stream, one of the last `length`, and all that came after it.
    const float* From(std::size_t n) const { return mSamples + n % mLength; }

    // Back to the beginning of a stream.
    void Clear() {
        std::fill_n(mSamples.get(), 2 * mLength, 0.0f);
        mCount = mSilence;
    }

private:
    void WriteTwice(const float* samples, std::size_t n, std::size_t place) {
        std::copy_n(samples, n, mSamples + place);
        std::copy_n(samples, n, mSamples + mLength + place);
    }

    const std::size_t mLength;
    const std::size_t mSilence;
    std::size_t mCount;
    CAAutoFree<float> mSamples;
};

} // namespace qel::core
