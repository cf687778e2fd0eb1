#include "rhythm/tempomap/AAGammaBankSpectralProcessor.h"

#include "rhythm/tempomap/DotProducts.h"
#include "rhythm/tempomap/GammaBankTable.h"
#include "support/audio/CAStreamBasicDescription.h"

#include <Accelerate/Accelerate.h>

#include <algorithm>

namespace qel::core {

AAGammaBankSpectralProcessor::AAGammaBankSpectralProcessor(UInt32 transformLength, UInt32 hop,
                                                           UInt32 channels, UInt32 maxFrames,
                                                           bool halfFrameInput, bool zeroShift,
                                                           double sampleRateHz)
    : QelAASpectralProcessor(transformLength, hop, channels, maxFrames, halfFrameInput, zeroShift),
      mGammaSampleRate(sampleRateHz), mBinCount(mFFTSize / 2) {
    HanningWindow();
    NullPointers();
    AllocateBuffers();
}

AAGammaBankSpectralProcessor::~AAGammaBankSpectralProcessor() {
    CleanUp();
}

void AAGammaBankSpectralProcessor::NullPointers() {
    mPowers.forget();
    mFilteredList.forget();
}

void AAGammaBankSpectralProcessor::CleanUp() {
    mPowers.free();
    mFilteredList.free();
    NullPointers();
}

void AAGammaBankSpectralProcessor::AllocateBuffers() {
    CAStreamBasicDescription format;
    format.SetCanonical(mNumChannels, false);
    format.mSampleRate = mGammaSampleRate;
    mFilteredList = CABufferList::New("filtered buffer", format);
    mFilteredList->AllocateBuffers(kGammaBands * UInt32{sizeof(float)});
    mPowers.alloc(mBinCount, true);
    (void)GammaBankPowers(0); // made here, not in the first frame
}

void AAGammaBankSpectralProcessor::FixSpectrum() {
    // A power of two, by which products are as exact as quotients.
    const float scale = 1.0f / (2.0f * static_cast<float>(mFFTSize));
    for (UInt32 c = 0; c < mNumChannels; ++c) {
        const DSPSplitComplex& spectrum = mSpectralBufferList->mSpectra[c];
        vDSP_vsmul(spectrum.realp, 1, &scale, spectrum.realp, 1, mBinCount);
        vDSP_vsmul(spectrum.imagp, 1, &scale, spectrum.imagp, 1, mBinCount);
        spectrum.imagp[0] = 0.0f; // the Nyquist term, so that bin 0 is the constant alone
    }
}

void AAGammaBankSpectralProcessor::FilterSpectrum() {
    AudioBufferList& filtered = mFilteredList->GetModifiableBufferList();
    const UInt32 bins = std::min(mBinCount, kGammaColumns);
    for (UInt32 c = 0; c < mNumChannels; ++c) {
        auto* const bands = static_cast<float*>(filtered.mBuffers[c].mData);
        vDSP_zvmags(&mSpectralBufferList->mSpectra[c], 1, mPowers, 1, bins);
        DotProducts(mPowers, bins, GammaBankPowers(mBandStep - 1),
                    std::size_t{mBandStep} * kGammaColumns, kGammaBands / mBandStep, bands);
    }
}

void AAGammaBankSpectralProcessor::ProcessFrame() {
    DoWindowing();
    DoFwdFFT();
    FixSpectrum();
    FilterSpectrum();
    ProcessSpectrum(mFFTSize, mSpectralBufferList);
}

} // namespace qel::core
