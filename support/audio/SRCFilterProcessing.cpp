// The three ways in which an SRCFilter runs. In all of them a call works on the last d inputs of
// the previous call with the new ones after, where d is one less than the taps of a branch.
// Outputs that begin before the new inputs are computed in the history, which the first d new
// inputs complete; the others are computed in place.

#include "support/audio/SRCFilter.h"

#include <Accelerate/Accelerate.h>

#include <algorithm>

namespace qel::core {
namespace {

// Puts the first d inputs after what is kept in the history.
void Complete(std::vector<float>& history, const float* input, UInt32 d) {
    std::copy_n(input, d, history.begin() + d);
}

// Keeps the last d of the inputs.
void Keep(std::vector<float>& history, const float* input, UInt32 frames, UInt32 d) {
    std::copy_n(input + (frames - d), d, history.begin());
}

} // namespace

OSStatus SRCFilter::ComputeDeinterleaved(const float* const* input, float* const* output,
                                         UInt32 inputFrames) {
    if (mChannels.empty() || inputFrames < mTapsPerPhase - 1) {
        return kSRCErr;
    }
    if (mUpFactor == mDownFactor) {
        RunAtSameRate(input, output, inputFrames);
    } else if (mUpFactor != 1) {
        RunInGeneral(input, output, inputFrames);
    } else {
        RunDecimating(input, output, inputFrames);
    }
    return kSRCOK;
}

void SRCFilter::RunAtSameRate(const float* const* input, float* const* output, UInt32 frames) {
    const UInt32 d = mTapsPerPhase - 1;
    for (std::size_t c = 0; c < mChannels.size(); ++c) {
        if (mChannels[c].filter == kRemoved) {
            continue;
        }
        std::vector<float>& history = mChannels[c].history;
        const float* const taps = CoefficientsOf(mChannels[c]);
        if (taps == nullptr) {
            Delay(history, input[c], output[c], frames);
            continue;
        }
        Complete(history, input[c], d);
        vDSP_conv(history.data(), 1, taps, 1, output[c], 1, d, mTapsPerPhase);
        vDSP_conv(input[c], 1, taps, 1, output[c] + d, 1, frames - d, mTapsPerPhase);
        Keep(history, input[c], frames, d);
    }
}

// Passes the input on d / 2 frames later.
void SRCFilter::Delay(std::vector<float>& history, const float* input, float* output,
                      UInt32 frames) const {
    const UInt32 delay = (mTapsPerPhase - 1) / 2;
    std::copy_n(history.begin(), delay, output);
    std::copy_n(input, frames - delay, output + delay);
    std::copy_n(input + (frames - delay), delay, history.begin());
}

void SRCFilter::RunInGeneral(const float* const* input, float* const* output, UInt32 frames) {
    const UInt32 d = mTapsPerPhase - 1;
    const UInt32 tail = frames - d;
    UInt64 position = mHistoryIndex;
    UInt32 phase = mPolyphaseIndex;
    bool ran = false;
    for (std::size_t c = 0; c < mChannels.size(); ++c) {
        const float* const taps = CoefficientsOf(mChannels[c]);
        if (taps == nullptr) {
            continue;
        }
        ran = true;
        std::vector<float>& history = mChannels[c].history;
        Complete(history, input[c], d);
        position = mHistoryIndex;
        phase = mPolyphaseIndex;
        float* out = output[c];
        const auto step = [&](const float* source) {
            vDSP_dotpr(source + position, 1, taps + std::size_t{phase} * mPhaseStride, 1, out++,
                       mTapsPerPhase);
            position += mInputStepWhole;
            phase += mInputStepFraction;
            if (phase >= mUpFactor) {
                phase -= mUpFactor;
                ++position;
            }
        };
        // Required by the contract: the first output of a call is taken from the history even if it
        // begins d frames in, though its last input has no place there and counts as 0. Taking that
        // input from the call changes the output. Farther on the history has ended.
        if (position <= d) {
            do {
                step(history.data());
            } while (position < d);
        }
        position -= d;
        while (position < tail) {
            step(input[c]);
        }
        Keep(history, input[c], frames, d);
    }
    if (ran) {
        mPolyphaseIndex = phase;
        mHistoryIndex = static_cast<UInt32>(position - tail);
    }
}

void SRCFilter::RunDecimating(const float* const* input, float* const* output, UInt32 frames) {
    const UInt32 d = mTapsPerPhase - 1;
    const UInt64 tail = frames - d;
    const UInt64 step = mDownFactor;
    // Outputs that begin in the history, inputs passed over then, outputs that begin after.
    const UInt64 position = mPolyphaseIndex;
    const UInt64 headCount = position < d ? (d - position - 1) / step + 1 : 0;
    const UInt64 skip = position + step * headCount - d;
    const UInt64 tailCount = skip < tail ? (tail - skip - 1) / step + 1 : 0;
    for (std::size_t c = 0; c < mChannels.size(); ++c) {
        const float* const taps = CoefficientsOf(mChannels[c]);
        if (taps == nullptr) {
            continue;
        }
        std::vector<float>& history = mChannels[c].history;
        Complete(history, input[c], d);
        if (headCount > 0) {
            vDSP_desamp(history.data() + position, mDownFactor, taps, output[c], headCount,
                        mTapsPerPhase);
        }
        if (tailCount > 0) {
            vDSP_desamp(input[c] + skip, mDownFactor, taps, output[c] + headCount, tailCount,
                        mTapsPerPhase);
        }
        Keep(history, input[c], frames, d);
    }
    mPolyphaseIndex = static_cast<UInt32>(skip + step * tailCount - tail);
}

} // namespace qel::core
