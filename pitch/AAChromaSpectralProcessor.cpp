#include "pitch/AAChromaSpectralProcessor.h"

#include "pitch/CenterAndWindow.h"
#include "spectral/Magnitudes.h"
#include "support/audio/CAStreamBasicDescription.h"

#include <Accelerate/Accelerate.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <new>

namespace qel::core {

namespace {

constexpr float kSemitonesPerOctave = 12.0f;

} // namespace

AAChromaSpectralProcessor::AAChromaSpectralProcessor(UInt32 transformLength, UInt32 hop,
                                                     UInt32 channels, UInt32 maxFrames,
                                                     bool halfFrameInput, bool zeroShift,
                                                     double sampleRateHz, UInt32 chromaBinCount)
    : QelAASpectralProcessor(transformLength, hop, channels, maxFrames, halfFrameInput, zeroShift),
      mSampleRate(sampleRateHz), mChromaBinCount(chromaBinCount), mNumBins(mFFTSize / 2 - 1) {
    HammingWindow();
    NullPointers();
    AllocateBuffers();
}

AAChromaSpectralProcessor::~AAChromaSpectralProcessor() {
    CleanUp();
}

void AAChromaSpectralProcessor::NullPointers() {
    mSpectrumBuffer.forget();
    mChromaList.forget();
}

void AAChromaSpectralProcessor::CleanUp() {
    mSpectrumBuffer.free();
    mChromaList.free();
    NullPointers();
}

CAAutoDelete<CABufferList> AAChromaSpectralProcessor::NewBuffer(const char* name,
                                                                UInt32 valuesPerChannel) const {
    if (valuesPerChannel > std::numeric_limits<UInt32>::max() / sizeof(float)) {
        throw std::bad_alloc();
    }
    CAStreamBasicDescription format;
    format.SetCanonical(mNumChannels, false);
    format.mSampleRate = mSampleRate;
    CAAutoDelete<CABufferList> buffer = CABufferList::New(name, format);
    buffer->AllocateBuffers(valuesPerChannel * static_cast<UInt32>(sizeof(float)));
    return buffer;
}

void AAChromaSpectralProcessor::AllocateBuffers() {
    mSpectrumBuffer = NewBuffer("spectrum buffer", mFFTSize / 2);
    mChromaList = NewBuffer("chroma buffer", mChromaBinCount);

    std::vector<float> binsHz(mNumBins);
    GetFrequencies(binsHz.data(), static_cast<float>(mSampleRate));
    mSemitones.Design(binsHz.data(), mNumBins);
    mWeightedMagnitudes.assign(mSemitones.NumSemitones(), 0.0f);
    mWrappedChroma.resize(mSemitones.NumSemitones());
    for (UInt32 j = 0; j < mWrappedChroma.size(); ++j) {
        const float semitone = mSemitones.Semitone(j);
        const float octave = std::floor(semitone / kSemitonesPerOctave);
        mWrappedChroma[j] = static_cast<UInt32>(semitone - kSemitonesPerOctave * octave);
    }
}

void AAChromaSpectralProcessor::GetFrequencies(float* out, float sampleRate) const {
    for (UInt32 i = 0; i < mNumBins; ++i) {
        out[i] = static_cast<float>(i + 1) * sampleRate / static_cast<float>(mFFTSize);
    }
}

void AAChromaSpectralProcessor::DoWindowing() {
    if (mWindow == nullptr) {
        return;
    }
    for (UInt32 c = 0; c < mNumChannels; ++c) {
        CenterAndWindow(mChannels[c].mFFTBuffer, mWindow, mFFTSize);
    }
}

void AAChromaSpectralProcessor::ComputeMagnitudes(UInt32 channel, float* magnitudes) {
    MoveDownWithMagnitudes(mSpectralBufferList->mSpectra[channel], magnitudes, mNumBins);
}

void AAChromaSpectralProcessor::GetMagnitude(AudioBufferList* out, float* mins, float* maxs) {
    for (UInt32 c = 0; c < mNumChannels; ++c) {
        auto* const magnitudes = static_cast<float*>(out->mBuffers[c].mData);
        ComputeMagnitudes(c, magnitudes);
        vDSP_maxmgv(magnitudes, 1, &maxs[c], mNumBins);
        vDSP_minmgv(magnitudes, 1, &mins[c], mNumBins);
    }
}

void AAChromaSpectralProcessor::WrapWeightedMags(float* out) const {
    std::fill_n(out, mChromaBinCount, 0.0f);
    for (std::size_t j = 0; j < mWrappedChroma.size(); ++j) {
        if (mWrappedChroma[j] < mChromaBinCount) {
            out[mWrappedChroma[j]] += mWeightedMagnitudes[j];
        }
    }
}

void AAChromaSpectralProcessor::ComputeChroma() {
    AudioBufferList& spectra = mSpectrumBuffer->GetModifiableBufferList();
    AudioBufferList& chroma = mChromaList->GetModifiableBufferList();
    for (UInt32 c = 0; c < mNumChannels; ++c) {
        auto* const magnitudes = static_cast<float*>(spectra.mBuffers[c].mData);
        ComputeMagnitudes(c, magnitudes);
        mSemitones.Apply(magnitudes, mWeightedMagnitudes.data());
        WrapWeightedMags(static_cast<float*>(chroma.mBuffers[c].mData));
    }
}

void AAChromaSpectralProcessor::ProcessFrame() {
    DoWindowing();
    DoFwdFFT();
    ComputeChroma();
    ProcessSpectrum(mFFTSize, mSpectralBufferList);
}

} // namespace qel::core
