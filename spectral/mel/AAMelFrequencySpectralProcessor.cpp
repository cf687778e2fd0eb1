#include "spectral/mel/AAMelFrequencySpectralProcessor.h"

#include "spectral/mel/MelFilterBanks.h"
#include "support/audio/CAStreamBasicDescription.h"

#include <Accelerate/Accelerate.h>

#include <algorithm>
#include <new>
#include <vector>

namespace qel::core {

namespace {

constexpr UInt32 kExtraFilters = 27; // there is room for, beyond the filter count
constexpr float kFloor = 1e-10f;

} // namespace

AAMelFrequencySpectralProcessor::AAMelFrequencySpectralProcessor(UInt32 transformLength, UInt32 hop,
                                                                 UInt32 channels, UInt32 maxFrames,
                                                                 bool halfFrameInput,
                                                                 bool zeroShift, UInt32 filterCount,
                                                                 double sampleRateHz)
    : QelAASpectralProcessor(transformLength, hop, channels, maxFrames, halfFrameInput, zeroShift),
      mNumLinearFilters(filterCount), mSampleRate(sampleRateHz), mNumBins(mFFTSize / 2) {
    HanningWindow();
    NullPointers();
    AllocateBuffers();
    MakeFilterWeights2();
}

AAMelFrequencySpectralProcessor::~AAMelFrequencySpectralProcessor() {
    CleanUp();
}

void AAMelFrequencySpectralProcessor::NullPointers() {
    for (auto* list : {&mEarBuffer, &mLogEarBuffer, &mTempBuffer}) {
        list->forget();
    }
    mMinMagnitudes.forget();
    mMaxMagnitudes.forget();
}

void AAMelFrequencySpectralProcessor::CleanUp() {
    for (auto* list : {&mEarBuffer, &mLogEarBuffer, &mTempBuffer}) {
        list->free();
    }
    mMinMagnitudes.free();
    mMaxMagnitudes.free();
    mFilterWeights.reset();
    NullPointers();
}

CAAutoDelete<CABufferList>
AAMelFrequencySpectralProcessor::NewBuffer(const char* name, UInt32 valuesPerChannel) const {
    CAStreamBasicDescription format;
    format.SetCanonical(mNumChannels, false);
    format.mSampleRate = mSampleRate;
    CAAutoDelete<CABufferList> buffer = CABufferList::New(name, format);
    buffer->AllocateBuffers(valuesPerChannel * static_cast<UInt32>(sizeof(float)));
    return buffer;
}

void AAMelFrequencySpectralProcessor::AllocateBuffers() {
    constexpr UInt32 kMostFilters = (UInt32{1} << 30) - kExtraFilters - 1; // bytes in 32 bits
    if (mNumLinearFilters > kMostFilters) {
        throw std::bad_alloc();
    }
    mMinMagnitudes.alloc(mNumChannels, true);
    mMaxMagnitudes.alloc(mNumChannels, true);
    mTempBuffer = NewBuffer("temp buffer", mNumBins);
    mNumFilters = mNumLinearFilters + kExtraFilters;
    mEarBuffer = NewBuffer("ear buffer", mNumFilters);
    mLogEarBuffer = NewBuffer("log ear buffer", mNumFilters);
    mFilterWeights = MelFilterBanks::Empty(mNumBins);
}

void AAMelFrequencySpectralProcessor::MakeFilterWeights1() {
    if (mNumLinearFilters == 0) {
        // Nothing for the logarithmic edges to start from.
        mFilterWeights = MelFilterBanks::Empty(mNumBins);
        return;
    }
    mFilterWeights = MelFilterBanks::Find(
        {MelSpacing::LinearThenLog, mNumLinearFilters, mNumFilters, mFFTSize, mSampleRate});
}

void AAMelFrequencySpectralProcessor::MakeFilterWeights2() {
    mNumFilters = mNumLinearFilters;
    mFilterWeights = MelFilterBanks::Find(
        {MelSpacing::Mel, mNumLinearFilters, mNumFilters, mFFTSize, mSampleRate});
}

void AAMelFrequencySpectralProcessor::FilterSpectrum() {
    AudioBufferList& magnitudes = mTempBuffer->GetModifiableBufferList();
    AudioBufferList& ears = mEarBuffer->GetModifiableBufferList();
    AudioBufferList& logEars = mLogEarBuffer->GetModifiableBufferList();
    GetMagnitude(&magnitudes, mMinMagnitudes, mMaxMagnitudes);
    const int filters = static_cast<int>(mNumFilters);
    for (UInt32 c = 0; c < mSpectralBufferList->mNumChannels; ++c) {
        auto* const ear = static_cast<float*>(ears.mBuffers[c].mData);
        auto* const logEar = static_cast<float*>(logEars.mBuffers[c].mData);
        mFilterWeights->Apply(static_cast<const float*>(magnitudes.mBuffers[c].mData), ear);
        vDSP_vthr(ear, 1, &kFloor, ear, 1, mNumFilters);
        vvlog10f(logEar, ear, &filters);
    }
}

void AAMelFrequencySpectralProcessor::ProcessFrame() {
    DoWindowing();
    DoFwdFFT();
    FilterSpectrum();
    ProcessSpectrum(mFFTSize, mSpectralBufferList);
}

} // namespace qel::core
