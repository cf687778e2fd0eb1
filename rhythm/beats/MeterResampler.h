#pragma once

#include "rhythm/beats/DecimatingFilter.h"
#include "rhythm/beats/RecentSamples.h"
#include "support/audio/FrameStore.h"
#include "support/audio/SRCFilter.h"

#include <MacTypes.h>

#include <cstddef>
#include <deque>
#include <vector>

namespace qel::core {

// Brings a stream down to 100 values per second while it comes. The values are those that an
// SRCFilter of the same design makes of the whole stream.
//
// The filter reaches over three quarters of a second, and values are formed many at a time, so that
// they share its taps. The work of such a run is spread over the samples of the next one: no part
// of the stream waits for much more of it than any other.
//
//   1. Construct: this designs the filter.
//   2. Per portion of the stream, Append to every channel, then Advance.
//   3. Signals, at any time; the stream may go on afterwards.
//   4. Reset to begin another stream.
//
// One thread at a time. Within the declared length neither Append nor Advance allocates.
class MeterResampler {
public:
    static constexpr UInt32 kRateHz = 100;           // of the values
    static constexpr std::size_t kMostFrames = 1024; // of a portion

    // The taps of one value, and the coefficients that are designed for all. 0 for sample rates
    // below 100 Hz or not below 2^32 Hz, and for one that is no number: there is no filter.
    static UInt32 Taps(double sampleRateHz);
    static UInt64 Coefficients(double sampleRateHz);

    // For a rate with taps. Raises std::bad_alloc.
    MeterResampler(UInt32 channels, double sampleRateHz, UInt64 declaredFrames);

    // Up to kMostFrames samples of a channel.
    void Append(UInt32 channel, const float* samples, std::size_t frames) {
        mChannels[channel].samples.Append(samples, frames);
    }
    // Does the work that is due after `frames` frames more. Raises std::bad_alloc.
    void Advance(std::size_t frames);

    // The values of all that came, by channel, as many as the filter gives for so many frames.
    // Raises std::bad_alloc.
    std::vector<std::vector<float>> Signals();

    void Reset();

    // Works on a slice of silence and forgets it, so that the first one finds its code and taps in
    // the caches. Before the first Append.
    void WarmUp();

private:
    struct Channel {
        Channel(std::size_t length, const DecimatingRun& firstRun, UInt32 taps, UInt32 channels)
            : samples(length, taps - 1),
              signal(1, sizeof(float), FrameStore::kBlockBytes / channels), run(firstRun) {}

        RecentSamples samples; // with the silence before the first
        FrameStore signal;     // values of whole runs
        DecimatingRun run;     // the next values
    };

    std::size_t PlaceOf(std::size_t value) const;
    std::size_t FramesUntil(std::size_t value) const;
    const float* BranchOf(std::size_t value) const;
    std::size_t DueTaps() const;
    void FormDueValues(bool all);
    void FinishRun();
    DecimatingRun NewRun() const { return {mTaps, mDown, mRunLength}; }

    const UInt32 mTaps;
    SRCFilter mFilter;
    const std::size_t mUp;
    const std::size_t mDown;
    const std::size_t mRunLength;
    std::size_t mFrames = 0; // that came
    std::size_t mValues = 0; // in the signals; the first of the run
    std::deque<Channel> mChannels;
};

} // namespace qel::core
