#pragma once

#include <ebur128.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <vector>

namespace qel::readings {

// The true peak after ITU-R BS.1770-4, to the bit that of libebur128 for the whole stream, whose
// interpolator gets only those blocks that may raise it. Two bounds tell these, each at a fraction
// of the interpolator's cost: the greatest sample, and an estimate in single precision.
class TruePeakMeter {
public:
    // No value between samples is more than so many times the greatest sample near it: the sums of
    // the magnitudes of the library's coefficients are 1.865, and 2.307 from 96 kHz on.
    static constexpr float kMostGain = 2.31f;
    // By how much an estimate may be too low, by the greatest sample near it.
    static constexpr float kEstimateError = 1e-5f;

    // Raises std::bad_alloc.
    TruePeakMeter(std::uint32_t channels, double sampleRateHz);
    ~TruePeakMeter();

    // Finite samples, those of a frame next to each other.
    void add(std::span<const float> interleaved);
    // Takes what is still missing of a block into account.
    void end();
    void reset();

    // Of all channels; the true peak is at least the sample peak.
    double truePeak() const;
    double samplePeak() const { return mSamplePeak; }

    // For tests and benches: frames that the library was given.
    std::uint64_t interpolatedFrames() const { return mInterpolatedFrames; }

private:
    // Blocks that the interpolator gets follow at least as many frames as it remembers.
    static constexpr std::size_t kContextFrames = 32;
    static constexpr std::size_t kBlockFrames = 64;

    struct Destroy {
        void operator()(ebur128_state* state) const;
    };

    std::span<const float> block() const;
    void takeBlock();
    bool mayRaisePeak(float greatest) const;
    float estimate() const;
    void interpolate();
    void give(std::span<const float> samples);

    const std::size_t mChannels;
    const unsigned long mRateHz;
    std::unique_ptr<ebur128_state, Destroy> mState;
    std::vector<std::vector<float>> mPhases; // coefficients, by the distance back in frames
    std::vector<float> mSamples;             // the context, and a block as far as it is there
    std::size_t mFilled = 0;                 // samples of the block
    float mLastGreatest = 0;                 // of the block before, which has the context
    bool mIsContextGiven = false;            // to the interpolator
    float mSamplePeak = 0;
    double mTruePeak = 0;
    std::uint64_t mInterpolatedFrames = 0;
};

} // namespace qel::readings
