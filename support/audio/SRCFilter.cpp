#include "support/audio/SRCFilter.h"

#include "support/audio/FilterDesign.h"

#include <algorithm>
#include <limits>
#include <new>
#include <utility>

namespace qel::core {
namespace {

// The gain at 0 Hz, in single precision.
constexpr float kGain = 0.99f;

// Has the next push_back succeed.
template <class T>
void MakeRoomForOne(std::vector<T>& list) {
    if (list.size() == list.capacity()) {
        list.reserve(2 * list.size() + 1);
    }
}

} // namespace

SRCFilter::SRCFilter(UInt32 inputRate, UInt32 outputRate) {
    const UInt32 divisor = GCD(inputRate, outputRate);
    if (divisor == 0) {
        return;
    }
    mUpFactor = outputRate / divisor;
    mDownFactor = inputRate / divisor;
    if (mUpFactor != 0) {
        mInputStepWhole = mDownFactor / mUpFactor;
        mInputStepFraction = mDownFactor % mUpFactor;
    }
}

SRCFilter::SRCFilter(UInt32 channels, UInt32 inputRate, UInt32 outputRate,
                     const KaiserBesselFilterParameters& parameters)
    : SRCFilter(inputRate, outputRate) {
    mChannels.reserve(channels);
    for (UInt32 c = 0; c < channels; ++c) {
        AddChannel(parameters);
    }
}

OSStatus SRCFilter::AddChannel(const KaiserBesselFilterParameters& parameters) {
    return AddChannel(parameters, std::size_t{2} * parameters.filterLength - 1);
}

OSStatus SRCFilter::AddDelayedChannel(UInt32 filterLength) {
    KaiserBesselFilterParameters parameters(0.0, 0.0, filterLength, 0);
    parameters.stopBandAttenuation_dB = 0.0;
    parameters.transitionBandwidth = 0.0;
    parameters.alpha = 0.0;
    return AddChannel(parameters, filterLength / 2);
}

OSStatus SRCFilter::AddChannel(const KaiserBesselFilterParameters& parameters,
                               std::size_t historyLength) {
    if (!HasRates()) {
        return kSRCErr;
    }
    const UInt32 length = parameters.filterLength;
    if (length == 0 || (!mChannels.empty() && length != mTapsPerPhase)) {
        return kSRCLengthMismatch;
    }
    // What can fail comes first: a design that is listed without a channel would meet the strides
    // of others.
    if (parameters.cutoff != 0.0) {
        PrototypeTaps(length); // Throws before anybody asks for a history as long.
    }
    std::vector<float> history(historyLength);
    MakeRoomForOne(mChannels);
    mChannels.push_back({AddFilter(parameters), std::move(history)});
    mTapsPerPhase = length;
    return kSRCOK;
}

OSStatus SRCFilter::RemoveChannel(UInt32 channel) {
    if (channel >= ChannelCount()) {
        return kSRCNoSuchChannel;
    }
    mChannels[channel] = {kRemoved, {}};
    return kSRCOK;
}

// The place of the design in the list; it is made unless it is there.
std::size_t SRCFilter::AddFilter(const KaiserBesselFilterParameters& parameters) {
    const auto known = std::find_if(mFilterList.begin(), mFilterList.end(), [&](const auto& entry) {
        return entry.parameters == parameters;
    });
    if (known != mFilterList.end()) {
        return static_cast<std::size_t>(known - mFilterList.begin());
    }
    MakeRoomForOne(mFilterList);
    CAAutoFree<float> coefficients;
    if (parameters.cutoff != 0.0) {
        coefficients = Design(parameters);
    }
    mFilterList.push_back({parameters, std::move(coefficients)});
    return mFilterList.size() - 1;
}

// L * taps, of which there is no filter beyond 32 bits.
UInt64 SRCFilter::PrototypeTaps(UInt32 taps) const {
    const UInt64 length = UInt64{mUpFactor} * taps;
    if (length > std::numeric_limits<UInt32>::max() - 3) {
        throw std::bad_alloc();
    }
    return length;
}

CAAutoFree<float> SRCFilter::Design(const KaiserBesselFilterParameters& parameters) {
    const UInt32 taps = parameters.filterLength;
    const UInt64 length = PrototypeTaps(taps);
    // Branches begin at multiples of 4 floats.
    const UInt32 stride = (taps + 3) & ~UInt32{3};
    CAAutoFree<float> coefficients(std::size_t{mUpFactor} * stride, true);

    // An odd length, so that the centre is a tap.
    mPrototypeLength = static_cast<UInt32>(length % 2 == 0 ? length - 1 : length);
    mPhaseStride = stride;
    const auto up = static_cast<float>(mUpFactor);
    const bool highPass = parameters.filterType == KaiserBesselFilterParameters::kHighPass;
    const float gain = highPass ? -(kGain * up) : kGain * up;
    const double cyclesPerSample = parameters.cutoff / static_cast<double>(up + up);
    const KaiserSinc prototype(mPrototypeLength, cyclesPerSample, parameters.alpha);
    UInt32 delay = 0;
    GetFilterDelay(nullptr, &delay);
    for (UInt32 p = 0; p < mUpFactor; ++p) {
        float* const branch = coefficients + std::size_t{p} * stride;
        SInt64 i = static_cast<SInt32>(delay + p);
        for (UInt32 k = 0; k < taps; ++k, i += mUpFactor) {
            branch[taps - 1 - k] = static_cast<float>(prototype.Tap(i)) * gain;
        }
    }
    const UInt32 centre = (mPrototypeLength - 1) / 2;
    mStartPolyphaseIndex = (centre - delay + mUpFactor) % mUpFactor;
    if (highPass) {
        // An impulse less the low-pass. Required by the contract: the impulse stands where the
        // centre tap would be without the delay. Moving it changes all values of delayed
        // high-passes.
        float* const branch = coefficients + std::size_t{centre % mUpFactor} * stride;
        branch[taps - centre / mUpFactor - 1] -= gain;
    }
    return coefficients;
}

const float* SRCFilter::CoefficientsOf(const Channel& channel) const {
    return channel.filter == kRemoved ? nullptr : mFilterList[channel.filter].coefficients.get();
}

const float* SRCFilter::Branch(UInt32 channel, UInt32 phase) const {
    const float* const first =
        channel < ChannelCount() ? CoefficientsOf(mChannels[channel]) : nullptr;
    return first != nullptr && phase < mUpFactor ? first + std::size_t{phase} * mPhaseStride
                                                 : nullptr;
}

void SRCFilter::Reset() {
    mPolyphaseIndex = 0;
    mHistoryIndex = 0;
    for (Channel& channel : mChannels) {
        std::fill(channel.history.begin(), channel.history.end(), 0.0f);
    }
}

OSStatus SRCFilter::GetFilterDelay(UInt32* wholeDelay, UInt32* polyphaseDelay) const {
    UInt32 whole = 0;
    UInt32 rest = 0;
    if (mPrototypeLength != 0) {
        const auto span = static_cast<float>(mPrototypeLength - 1);
        whole = static_cast<UInt32>(0.5f + span * 0.5f / static_cast<float>(mDownFactor));
        rest = (mPrototypeLength - 1) / 2 - mDownFactor * whole;
    }
    if (wholeDelay != nullptr) {
        *wholeDelay = whole;
    }
    if (polyphaseDelay != nullptr) {
        *polyphaseDelay = rest;
    }
    return kSRCOK;
}

OSStatus SRCFilter::GetNumberOfInputFrames(UInt32* inputFrames, UInt32 outputFrames) const {
    if (inputFrames == nullptr || !HasRates()) {
        return kSRCErr;
    }
    const UInt64 frames = UInt64{outputFrames} * mInputStepWhole +
                          (UInt64{outputFrames} * mInputStepFraction + mPolyphaseIndex) / mUpFactor;
    *inputFrames = static_cast<UInt32>(frames);
    return kSRCOK;
}

OSStatus SRCFilter::GetNumberOfOutFrames(UInt32* outputFrames, UInt32 inputFrames) const {
    if (outputFrames == nullptr) {
        return kSRCErr;
    }
    if (mInputStepWhole == 0) {
        *outputFrames = 0;
        return kSRCErr;
    }
    const UInt32 steps = inputFrames / mInputStepWhole;
    const UInt64 surplus = (UInt64{steps} * mInputStepFraction + mPolyphaseIndex) / mDownFactor;
    *outputFrames = static_cast<UInt32>(steps - surplus);
    return kSRCOK;
}

OSStatus SRCFilter::AdjustSrcStartPolyphaseIndex(UInt32 inputFrames) {
    if (mUpFactor == mDownFactor || mUpFactor == 0) {
        return kSRCOK;
    }
    const auto moved = static_cast<UInt32>(UInt64{mInputStepFraction} * inputFrames % mUpFactor);
    mPolyphaseIndex =
        static_cast<UInt32>((UInt64{mStartPolyphaseIndex} + (mUpFactor - moved)) % mUpFactor);
    return kSRCOK;
}

} // namespace qel::core
