#pragma once

#include "rhythm/beats/MeterResampler.h"
#include "support/audio/FrameStore.h"

#include <CoreAudio/CoreAudioTypes.h>

#include <array>
#include <cstddef>
#include <memory>
#include <vector>

namespace qel::core {

// The signal that the meter is found in: audio rectified, low-passed, and resampled to 100 values
// per second, while the audio streams. No samples are kept but those that the resampling filter
// reaches back to and the ones that wait for it, about 1.4 seconds.
//
// One thread at a time. Within the declared length a push allocates nothing; at rates for which the
// filter would be large, it is designed in the push with which it is first filled.
class MeterAudio {
public:
    static constexpr UInt32 kRateHz = MeterResampler::kRateHz; // of the signal
    static constexpr std::size_t kOrder = 6;
    using State = std::array<float, kOrder>; // of the low-pass, zero at the beginning

    // A filter of more coefficients than this is not designed before there is audio for it: more
    // than any rate up to 55 kHz and any multiple of 100 Hz up to 5 MHz has.
    static constexpr UInt64 kMostCoefficientsAtSetUp = UInt64{1} << 22;

    // Sample rates below 100 Hz or not below 2^32 Hz, and one that is no number, give no signal.
    // Raises std::bad_alloc.
    MeterAudio(UInt32 channels, double sampleRateHz, UInt64 declaredFrames = 0);

    // Takes `frames` frames of deinterleaved floats. Channels that the list does not have are
    // silent. Raises std::bad_alloc.
    void Push(const AudioBufferList& list, UInt32 frames);

    // What has been pushed at 100 values per second, by channel. Empty until the audio is as long
    // as the resampling filter, about 0.75 s at 44.1 kHz; pushing may continue.
    // Raises std::bad_alloc.
    std::vector<std::vector<float>> Signals();

    // Begins another stream, and keeps the resampling filter.
    void Reset();

    // Before the first Push: see MeterResampler.
    void WarmUp();

    // The magnitudes of `n` samples after the low-pass, step by step as `filter` does it.
    static void RectifyAndSmooth(const float* samples, std::size_t n, State& state, float* out);

private:
    void PushPortion(const AudioBufferList& list, std::size_t first, std::size_t frames);
    void Keep(UInt32 channel, std::size_t frames);
    void DesignResampler();

    const UInt32 mChannels;
    const double mSampleRateHz;
    const UInt64 mDeclaredFrames;
    const UInt32 mTaps;      // of the resampling filter; 0 where there is none
    std::size_t mFrames = 0; // that were pushed
    std::vector<State> mStates;
    std::vector<float> mPortion; // rectified and smoothed
    std::unique_ptr<MeterResampler> mResampler;
    std::deque<FrameStore> mWaiting; // by channel, for a filter that is not designed yet
};

} // namespace qel::core
