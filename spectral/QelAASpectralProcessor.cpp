#include "spectral/QelAASpectralProcessor.h"

#include "spectral/Magnitudes.h"
#include "spectral/VectorHelpers.h"

#include <algorithm>
#include <cstdio>
#include <new>

namespace qel::core {

namespace {

UInt32 RingSize(UInt32 transformLength, UInt32 maxFrames) {
    constexpr UInt64 kLargest = UInt64{1} << 31;
    if (UInt64{transformLength} + maxFrames > kLargest) {
        throw std::bad_alloc();
    }
    return NextPowerOfTwo(transformLength + maxFrames);
}

UInt32 InputCopyBytes(UInt32 transformLength, bool halfFrame) {
    constexpr UInt32 kLongest = UInt32{1} << 29; // its bytes are counted in 32 bits
    if (transformLength < 2 || transformLength > kLongest) {
        throw std::bad_alloc();
    }
    const UInt32 samples = halfFrame ? transformLength / 2 : transformLength;
    return samples * static_cast<UInt32>(sizeof(float));
}

} // namespace

QelAASpectralProcessor::QelAASpectralProcessor(UInt32 transformLength, UInt32 hop, UInt32 channels,
                                               UInt32 maxFrames, bool halfFrameInput,
                                               bool zeroShift)
    : mHalfFrameInput(halfFrameInput), mZeroShift(zeroShift), mFFTSize(transformLength),
      mHopSize(hop), mNumChannels(channels), mMaxFrames(maxFrames),
      mLog2FFTSize(Log2Ceil(transformLength)), mFFTMask(transformLength - 1),
      mInputCopyBytes(InputCopyBytes(transformLength, halfFrameInput)),
      mRingSize(RingSize(transformLength, maxFrames)), mRingMask(mRingSize - 1),
      mOutputReadPos((0u - transformLength) & mRingMask),
      mFFTSetup(vDSP_create_fftsetup(mLog2FFTSize, kFFTRadix2)) {
    if (mFFTSetup == nullptr) {
        throw std::bad_alloc();
    }
    AllocateChannels();
    SineWindow();
}

QelAASpectralProcessor::~QelAASpectralProcessor() = default;

void QelAASpectralProcessor::AllocateChannels() {
    // Both records have one entry in themselves; the others are their tails.
    const std::size_t tail = mNumChannels > 1 ? mNumChannels - std::size_t{1} : 0;
    mSpectralBufferList.allocBytes(
        sizeof(SpectralAndAudioBufferList) + tail * sizeof(DSPSplitComplex), true);
    mAudioBuffers.allocBytes(sizeof(AudioBufferList) + tail * sizeof(AudioBuffer), true);
    mAudioBuffers->mNumberBuffers = mNumChannels;
    mSpectralBufferList->mNumChannels = mNumChannels;
    mSpectralBufferList->mAudioBuffers = mAudioBuffers;

    // A transform of a length that is no power of two means nothing, but stays inside its memory.
    const std::size_t samples = std::size_t{1} << mLog2FFTSize;
    mChannels.alloc(mNumChannels);
    for (UInt32 c = 0; c < mNumChannels; ++c) {
        SpectralChannel& channel = mChannels[c];
        channel.mInputRing.alloc(mRingSize, true);
        channel.mOutputRing.alloc(mRingSize, true);
        channel.mFFTBuffer.alloc(samples, true);
        channel.mAudioFrame.alloc(samples, true);
        channel.mSplitData.alloc(samples, true);
        mAudioBuffers->mBuffers[c].mData = channel.mAudioFrame;
        mSpectralBufferList->mSpectra[c] = {channel.mSplitData, channel.mSplitData + mFFTSize / 2};
    }
}

void QelAASpectralProcessor::Reset() {
    mInputWritePos = 0;
    mInputReadPos = 0;
    mOutputWritePos = 0;
    mOutputReadPos = (0u - mFFTSize) & mRingMask;
    mInputToSkip = 0;
    for (UInt32 c = 0; c < mNumChannels; ++c) {
        SpectralChannel& channel = mChannels[c];
        std::fill_n(channel.mInputRing.get(), mRingSize, 0.0f);
        std::fill_n(channel.mOutputRing.get(), mRingSize, 0.0f);
        std::fill_n(channel.mFFTBuffer.get(), mFFTSize, 0.0f);
        std::fill_n(channel.mAudioFrame.get(), mFFTSize, 0.0f);
    }
}

void QelAASpectralProcessor::SetSpectralFunction(SpectralFunction function, void* refCon) {
    mSpectralFunction = function;
    mSpectralRefCon = refCon;
}

void QelAASpectralProcessor::SetKeepsAudioFrames(bool keeps) {
    mKeepsAudioFrames = keeps;
}

void QelAASpectralProcessor::SetWindow(const float* window) {
    mWindow.Copy(window, mFFTSize);
}

void QelAASpectralProcessor::SineWindow() {
    mWindow.SetShape({WindowShape::Sine, mFFTSize});
}

void QelAASpectralProcessor::HanningWindow() {
    mWindow.SetShape({WindowShape::Hanning, mFFTSize});
}

void QelAASpectralProcessor::HammingWindow() {
    mWindow.SetShape({WindowShape::Hamming, mFFTSize});
}

void QelAASpectralProcessor::GetMagnitude(AudioBufferList* out, float* mins, float* maxs) {
    const std::size_t bins = mFFTSize / 2;
    for (UInt32 c = 0; c < mNumChannels; ++c) {
        auto* const magnitudes = static_cast<float*>(out->mBuffers[c].mData);
        const MagnitudeRange range =
            MagnitudesAndRange(mSpectralBufferList->mSpectra[c], magnitudes, bins);
        mins[c] = range.least;
        maxs[c] = range.greatest;
    }
}

void QelAASpectralProcessor::FrequenciesOfBins(float* out, UInt32 transformLength,
                                               float sampleRate) {
    for (UInt32 k = 0; k < transformLength / 2; ++k) {
        out[k] = static_cast<float>(k) * sampleRate / static_cast<float>(transformLength);
    }
}

void QelAASpectralProcessor::GetFrequencies(float* out, float sampleRate) const {
    FrequenciesOfBins(out, mFFTSize, sampleRate);
}

void QelAASpectralProcessor::PrintSpectralBufferList() const {
    for (UInt32 c = 0; c < mNumChannels; ++c) {
        const DSPSplitComplex& spectrum = mSpectralBufferList->mSpectra[c];
        for (UInt32 k = 0; k < mFFTSize / 2; ++k) {
            std::printf(" bin[%d]: %lf + %lfi\n", static_cast<int>(k),
                        static_cast<double>(spectrum.realp[k]),
                        static_cast<double>(spectrum.imagp[k]));
        }
    }
}

} // namespace qel::core
