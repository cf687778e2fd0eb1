#pragma once

#include <array>
#include <cstddef>
#include <memory>
#include <vector>

#include <CoreAudio/CoreAudioTypes.h>

namespace qel::core {

class SRCFilter;

// The signal that the meter is found in: audio rectified, low-passed, and resampled to 100 values
// per second, while the audio streams. No samples are kept but those that the resampling filter
// reaches back to, three quarters of a second, and the ones that wait for it.
//
// One thread at a time. A push may allocate.
class MeterAudio {
public:
    static constexpr UInt32 kRateHz = 100; // of the signal
    static constexpr std::size_t kOrder = 6;
    using State = std::array<float, kOrder>; // of the low-pass, zero at the beginning

    // Sample rates below 100 Hz or not below 2^32 Hz, and one that is no number, give no signal.
    MeterAudio(UInt32 channels, double sampleRateHz);
    ~MeterAudio();

    // Takes `frames` frames of deinterleaved floats. Channels that the list does not have are
    // silent. Raises std::bad_alloc.
    void Push(const AudioBufferList& list, UInt32 frames);

    // What has been pushed at 100 values per second, by channel. As long as that is shorter than
    // the resampling filter, about 0.75 s at 44.1 kHz, it is nothing. Pushing may go on behind.
    // Raises std::bad_alloc.
    std::vector<std::vector<float>> Signals();

    // The magnitudes of `n` samples behind the low-pass, step by step as `filter` does it.
    static void RectifyAndSmooth(const float* samples, std::size_t n, State& state, float* out);

private:
    struct Channel {
        State state{};
        std::vector<float> samples; // the newest, rectified and smoothed
        std::size_t dropped = 0;    // samples that were in front of those
        std::vector<float> signal;
    };

    void MakeRoom(std::size_t frames);
    void DesignResampler();
    std::size_t PlaceOf(std::size_t n) const;
    void Resample(std::size_t runLength);
    void AppendRun(Channel& channel, std::size_t first, std::size_t end) const;

    const double mSampleRateHz;
    UInt32 mTaps = 0;                      // of the resampling filter; 0 where there is none
    std::size_t mFrames = 0;               // that were pushed
    std::unique_ptr<SRCFilter> mResampler; // designed when there is audio for it
    std::vector<Channel> mChannels;
};

} // namespace qel::core
