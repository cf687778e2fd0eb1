#pragma once

#include "spectral/QelAASpectralProcessor.h"

#include <algorithm>
#include <cmath>
#include <complex>
#include <cstddef>
#include <numbers>
#include <random>
#include <vector>

namespace qel::core::test {

using Signal = std::vector<float>;

inline Signal Noise(std::size_t length, unsigned int seed) {
    std::mt19937 random(seed);
    std::uniform_real_distribution<float> uniform(-1, 1);
    Signal signal(length);
    std::generate(signal.begin(), signal.end(), [&] { return uniform(random); });
    return signal;
}

// A list that points at one vector per channel, from a given sample on.
class ListOf {
public:
    explicit ListOf(std::vector<Signal>& channels, std::size_t start = 0)
        : mMemory(sizeof(AudioBufferList) + channels.size() * sizeof(AudioBuffer)) {
        mList = reinterpret_cast<AudioBufferList*>(mMemory.data());
        mList->mNumberBuffers = static_cast<UInt32>(channels.size());
        for (std::size_t c = 0; c < channels.size(); ++c) {
            const std::size_t bytes = (channels[c].size() - start) * sizeof(float);
            mList->mBuffers[c] = {1, static_cast<UInt32>(bytes), channels[c].data() + start};
        }
    }
    AudioBufferList* Get() { return mList; }

private:
    std::vector<std::byte> mMemory;
    AudioBufferList* mList;
};

// One frame as the spectral function saw it.
struct Frame {
    std::vector<Signal> mReal;
    std::vector<Signal> mImag;
    std::vector<Signal> mAudio;
    bool operator==(const Frame&) const = default;
};

// A processor whose inside can be looked at, and which keeps every frame.
class TestProcessor : public QelAASpectralProcessor {
public:
    TestProcessor(UInt32 length, UInt32 hop, UInt32 channels, UInt32 maxFrames,
                  bool halfFrame = false, bool zeroShift = false)
        : QelAASpectralProcessor(length, hop, channels, maxFrames, halfFrame, zeroShift) {
        SetSpectralFunction(&TestProcessor::Keep, this);
    }

    using QelAASpectralProcessor::CopyOutput;
    using QelAASpectralProcessor::mChannels;
    using QelAASpectralProcessor::mFFTMask;
    using QelAASpectralProcessor::mFFTSize;
    using QelAASpectralProcessor::mInputAvailable;
    using QelAASpectralProcessor::mInputCopyBytes;
    using QelAASpectralProcessor::mInputReadPos;
    using QelAASpectralProcessor::mInputWritePos;
    using QelAASpectralProcessor::mLog2FFTSize;
    using QelAASpectralProcessor::mNumChannels;
    using QelAASpectralProcessor::mOutputReadPos;
    using QelAASpectralProcessor::mOutputWritePos;
    using QelAASpectralProcessor::mRingMask;
    using QelAASpectralProcessor::mRingSize;
    using QelAASpectralProcessor::mSpectralBufferList;
    using QelAASpectralProcessor::mWindow;

    std::vector<Frame> mFrames;

    // Pushes all of `channels` in blocks of `block`; how many calls had a frame.
    int Push(std::vector<Signal>& channels, std::size_t block) {
        int calls = 0;
        for (std::size_t at = 0; at < channels[0].size(); at += block) {
            const std::size_t frames = std::min(block, channels[0].size() - at);
            ListOf list(channels, at);
            calls += ProcessForwards(static_cast<UInt32>(frames), list.Get());
        }
        return calls;
    }

private:
    static void Keep(SpectralAndAudioBufferList* list, void* refCon) {
        auto* const self = static_cast<TestProcessor*>(refCon);
        const std::size_t size = self->mFFTSize;
        Frame frame;
        for (UInt32 c = 0; c < list->mNumChannels; ++c) {
            const DSPSplitComplex& spectrum = list->mSpectra[c];
            const auto* const audio =
                static_cast<const float*>(list->mAudioBuffers->mBuffers[c].mData);
            frame.mReal.emplace_back(spectrum.realp, spectrum.realp + size / 2);
            frame.mImag.emplace_back(spectrum.imagp, spectrum.imagp + size / 2);
            frame.mAudio.emplace_back(audio, audio + size);
        }
        self->mFrames.push_back(std::move(frame));
    }
};

// The plain transform, term by term in double precision: X[k] for 0 <= k <= N/2.
inline std::vector<std::complex<double>> PlainTransform(const std::vector<double>& x) {
    const std::size_t size = x.size();
    std::vector<std::complex<double>> result(size / 2 + 1);
    for (std::size_t k = 0; k < result.size(); ++k) {
        for (std::size_t n = 0; n < size; ++n) {
            // The angle from the exact remainder, so that it does not lose digits with k n.
            const auto turns = static_cast<double>(k * n % size) / static_cast<double>(size);
            result[k] += x[n] * std::polar(1.0, -2.0 * std::numbers::pi * turns);
        }
    }
    return result;
}

} // namespace qel::core::test
