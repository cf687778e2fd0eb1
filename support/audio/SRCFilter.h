#pragma once

#include "support/audio/KaiserBesselFilterParameters.h"
#include "support/runtime/CAAutoDisposer.h"

#include <MacTypes.h>

#include <cstddef>
#include <limits>
#include <vector>

namespace qel::core {

// Converts deinterleaved float audio from one whole-number sample rate to another, with a rational
// polyphase filter whose prototype is a sinc under a Kaiser window. With L / M = output rate /
// input rate in lowest terms, branch p of L serves the outputs whose place between two inputs is p
// / L. Required by the contract: the gain at 0 Hz is 0.99, not 1. A gain of 1 changes all values.
//
//   1. Construct, add channels. All channels must have filters of one length per branch; those
//      of one design share one set of coefficients.
//   2. ComputeDeinterleaved any number of times: each call goes on where the last ended.
//   3. Reset to begin another stream.
//
// One thread at a time. Only construction and adding of channels allocate.
// An object with a rate of 0 has no filter: everything that needs one returns kSRCErr.
class SRCFilter {
public:
    enum : OSStatus {
        kSRCOK = 0,
        kSRCErr = -1, // a null pointer for a result, too little input, no filter
        kSRCLengthMismatch =
            0x6E746170, // 'ntap': not the branch length of the channels there are, or 0
        kSRCNoSuchChannel = 0x6368616E, // 'chan'
    };

    // Without channels. Rates in Hz.
    SRCFilter(UInt32 inputRate, UInt32 outputRate);

    // With `channels` channels of one design, if that has a length (ChannelCount tells).
    SRCFilter(UInt32 channels, UInt32 inputRate, UInt32 outputRate,
              const KaiserBesselFilterParameters& parameters);

    SRCFilter(const SRCFilter&) = delete;
    SRCFilter& operator=(const SRCFilter&) = delete;
    ~SRCFilter() = default;

    // Adds a channel with that design. Returns kSRCOK; kSRCLengthMismatch; or kSRCErr. Raises
    // std::bad_alloc, with no channel added, also if L * filterLength needs more than 32 bits.
    OSStatus AddChannel(const KaiserBesselFilterParameters& parameters);

    // Adds a channel that is delayed by (filterLength - 1) / 2 frames as a filtered one is, but not
    // filtered. It runs where the rates are equal; elsewhere its output is left alone. Returns as
    // AddChannel does.
    OSStatus AddDelayedChannel(UInt32 filterLength);

    // The channel is not run any more: its input is not read nor its output written. The others
    // keep their numbers, and its coefficients stay for sharing. Returns kSRCOK or
    // kSRCNoSuchChannel.
    OSStatus RemoveChannel(UInt32 channel);

    UInt32 ChannelCount() const { return static_cast<UInt32>(mChannels.size()); }

    // Converts `inputFrames` frames of every channel; `input` and `output` have one pointer per
    // channel, and no output may overlap an input. With equal rates there are as many output
    // frames as input frames. At the beginning of a stream that is decimated by a whole M there are
    // (inputFrames - 1) / M + 1, one more than GetNumberOfOutFrames tells unless M divides
    // inputFrames: the output needs the room. In other ratios, leave room for one more as well.
    //
    // Cutting a stream into calls changes nothing, but in ratios that are not whole, with steps
    // from output to output longer than filterLength - 1 frames.
    // Required by the contract: there a call whose first output begins filterLength - 1 frames in
    // takes the last input of that output for 0. Taking it from the call changes that output.
    //
    // Returns kSRCOK; or kSRCErr, with no change, for fewer than filterLength - 1 frames or
    // without channels.
    OSStatus ComputeDeinterleaved(const float* const* input, float* const* output,
                                  UInt32 inputFrames);

    // Returns to silence. The next output is that of phase 0, not of the phase that centres the
    // filter's delay.
    void Reset();

    // The delay of the filter: `wholeDelay` frames of output (rounded, in single precision) and
    // `polyphaseDelay` samples at the rate L * input rate, which is to be read as signed. Either
    // may be null. 0 and 0 before there is a filter. Returns kSRCOK.
    OSStatus GetFilterDelay(UInt32* wholeDelay, UInt32* polyphaseDelay) const;

    // Input frames that `outputFrames` frames take, cut to 32 bits. Returns kSRCOK or kSRCErr.
    OSStatus GetNumberOfInputFrames(UInt32* inputFrames, UInt32 outputFrames) const;

    // Output frames that `inputFrames` frames give. This serves decimating ratios: if the output
    // rate is above the input rate it tells 0 and returns kSRCErr. Otherwise kSRCOK.
    OSStatus GetNumberOfOutFrames(UInt32* outputFrames, UInt32 inputFrames) const;

    // Sets the phase that centres the filter's delay, as it stands after `inputFrames` frames.
    // Nothing with equal rates. Returns kSRCOK.
    OSStatus AdjustSrcStartPolyphaseIndex(UInt32 inputFrames);

    UInt32 UpFactor() const { return mUpFactor; }
    UInt32 DownFactor() const { return mDownFactor; }
    UInt32 PrototypeLength() const { return mPrototypeLength; }
    std::size_t DesignCount() const { return mFilterList.size(); }

    // The `filterLength` coefficients of a branch below L for a channel, reversed in time as they
    // are applied. Null for delayed, removed and missing channels. They live as long as the object.
    const float* Branch(UInt32 channel, UInt32 phase) const;

private:
    struct FilterEntry {
        KaiserBesselFilterParameters parameters;
        CAAutoFree<float> coefficients; // none for a delay
    };
    struct Channel {
        std::size_t filter;         // its place in mFilterList, or kRemoved
        std::vector<float> history; // the last mTapsPerPhase - 1 inputs first
    };
    static constexpr std::size_t kRemoved = std::numeric_limits<std::size_t>::max();

    bool HasRates() const { return mUpFactor != 0 && mDownFactor != 0; }
    OSStatus AddChannel(const KaiserBesselFilterParameters& parameters, std::size_t historyLength);
    UInt64 PrototypeTaps(UInt32 taps) const;
    std::size_t AddFilter(const KaiserBesselFilterParameters& parameters);
    CAAutoFree<float> Design(const KaiserBesselFilterParameters& parameters);
    const float* CoefficientsOf(const Channel& channel) const;
    void RunAtSameRate(const float* const* input, float* const* output, UInt32 frames);
    void RunInGeneral(const float* const* input, float* const* output, UInt32 frames);
    void RunDecimating(const float* const* input, float* const* output, UInt32 frames);
    void Delay(std::vector<float>& history, const float* input, float* output, UInt32 frames) const;

    std::vector<FilterEntry> mFilterList; // every design once, in order of first use
    std::vector<Channel> mChannels;
    UInt32 mUpFactor = 0;            // L
    UInt32 mDownFactor = 0;          // M
    UInt32 mInputStepWhole = 0;      // M / L
    UInt32 mInputStepFraction = 0;   // M mod L
    UInt32 mPrototypeLength = 0;     // taps at the rate L * input rate; odd
    UInt32 mTapsPerPhase = 0;        // taps of a branch; 0 without channels
    UInt32 mPhaseStride = 0;         // floats from branch to branch
    UInt32 mPolyphaseIndex = 0;      // phase; when decimating, place in the history
    UInt32 mStartPolyphaseIndex = 0; // phase that centres the delay
    UInt32 mHistoryIndex = 0;        // place in the history in general ratios
};

} // namespace qel::core
