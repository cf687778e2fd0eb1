#include "rhythm/beats/MeterAudio.h"

#include "rhythm/math/ButterworthLowPass.h"

#include <algorithm>
#include <cmath>

namespace qel::core {

MeterAudio::MeterAudio(UInt32 channels, double sampleRateHz, UInt64 declaredFrames)
    : mChannels(channels), mSampleRateHz(sampleRateHz), mDeclaredFrames(declaredFrames),
      mTaps(MeterResampler::Taps(sampleRateHz)), mStates(channels),
      mPortion(MeterResampler::kMostFrames) {
    if (mTaps == 0) {
        return;
    }
    if (MeterResampler::Coefficients(sampleRateHz) <= kMostCoefficientsAtSetUp) {
        mResampler = std::make_unique<MeterResampler>(channels, sampleRateHz, declaredFrames);
    } else {
        for (UInt32 c = 0; c < channels; ++c) {
            mWaiting.emplace_back(1, UInt32{sizeof(float)});
        }
    }
}

void MeterAudio::Reset() {
    mFrames = 0;
    std::fill(mStates.begin(), mStates.end(), State{});
    if (mResampler != nullptr) {
        mResampler->Reset();
    }
    for (FrameStore& waiting : mWaiting) {
        waiting.Clear();
    }
}

void MeterAudio::WarmUp() {
    if (mResampler != nullptr) {
        mResampler->WarmUp();
    }
}

void MeterAudio::RectifyAndSmooth(const float* samples, std::size_t n, State& state, float* out) {
    auto [z0, z1, z2, z3, z4, z5] = state;
    for (std::size_t i = 0; i < n; ++i) {
        const float x = std::abs(samples[i]);
        const float y = z0 + butterB[0] * x;
        z0 = (butterB[1] * x + z1) - y * butterA[1];
        z1 = (butterB[2] * x + z2) - y * butterA[2];
        z2 = (butterB[3] * x + z3) - y * butterA[3];
        z3 = (butterB[4] * x + z4) - y * butterA[4];
        z4 = (butterB[5] * x + z5) - y * butterA[5];
        z5 = butterB[6] * x - y * butterA[6];
        out[i] = y;
    }
    state = {z0, z1, z2, z3, z4, z5};
}

void MeterAudio::Push(const AudioBufferList& list, UInt32 frames) {
    if (mTaps == 0) {
        return;
    }
    for (std::size_t first = 0; first < frames; first += mPortion.size()) {
        PushPortion(list, first, std::min<std::size_t>(mPortion.size(), frames - first));
    }
}

void MeterAudio::PushPortion(const AudioBufferList& list, std::size_t first, std::size_t frames) {
    for (UInt32 c = 0; c < mChannels; ++c) {
        if (c < list.mNumberBuffers) {
            RectifyAndSmooth(static_cast<const float*>(list.mBuffers[c].mData) + first, frames,
                             mStates[c], mPortion.data());
        } else {
            std::fill_n(mPortion.begin(), frames, 0.0f);
        }
        Keep(c, frames);
    }
    mFrames += frames;
    if (mResampler != nullptr) {
        mResampler->Advance(frames);
    } else if (mFrames >= mTaps - 1) {
        DesignResampler();
    }
}

void MeterAudio::Keep(UInt32 channel, std::size_t frames) {
    if (mResampler != nullptr) {
        mResampler->Append(channel, mPortion.data(), frames);
        return;
    }
    const auto bytes = static_cast<UInt32>(frames * sizeof(float));
    const AudioBufferList portion{1, {{1, bytes, mPortion.data()}}};
    mWaiting[channel].Append(portion, static_cast<UInt32>(frames));
}

// Hands over what has waited.
void MeterAudio::DesignResampler() {
    auto resampler = std::make_unique<MeterResampler>(mChannels, mSampleRateHz, mDeclaredFrames);
    for (std::size_t first = 0; first < mFrames; first += mPortion.size()) {
        const std::size_t frames = std::min(mPortion.size(), mFrames - first);
        for (UInt32 c = 0; c < mChannels; ++c) {
            mWaiting[c].Copy(0, first, frames, mPortion.data());
            resampler->Append(c, mPortion.data(), frames);
        }
        resampler->Advance(frames);
    }
    mResampler = std::move(resampler);
    mWaiting.clear();
}

std::vector<std::vector<float>> MeterAudio::Signals() {
    if (mResampler == nullptr || mFrames == 0 || mFrames < mTaps - 1) {
        return std::vector<std::vector<float>>(mChannels);
    }
    return mResampler->Signals();
}

} // namespace qel::core
