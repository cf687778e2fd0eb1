#include "pitch/AAConstantQSpectralProcessor.h"

#include "pitch/SharedConstantQKernels.h"

#include <Accelerate/Accelerate.h>

#include <algorithm>

namespace qel::core {

AAConstantQSpectralProcessor::AAConstantQSpectralProcessor(
    UInt32 frameSize, UInt32 hop, UInt32 channels, UInt32 maxFrames, bool halfFrameInput,
    bool zeroShift, float minFrequencyHz, float maxFrequencyHz, UInt32 binsPerOctave,
    double sampleRateHz, float spectralThreshold)
    : QelAASpectralProcessor(frameSize, hop, channels, maxFrames, halfFrameInput, zeroShift),
      mDesign{minFrequencyHz, maxFrequencyHz,    binsPerOctave,
              sampleRateHz,   spectralThreshold, frameSize} {
    NullPointers();
    AllocateBuffers();
}

AAConstantQSpectralProcessor::~AAConstantQSpectralProcessor() {
    CleanUp();
}

void AAConstantQSpectralProcessor::NullPointers() {
    mScratch.forget();
    mConstantQOutput.forget();
    mOutputData.forget();
}

void AAConstantQSpectralProcessor::CleanUp() {
    mKernel.reset();
    mScratch.free();
    mConstantQOutput.free();
    mOutputData.free();
    NullPointers();
}

void AAConstantQSpectralProcessor::AllocateBuffers() {
    mKernel = SharedConstantQKernels::Find(mDesign);
    mNumConstantQBins = mKernel->NumBins();
    const std::size_t bins = mNumConstantQBins;
    mOutputData.alloc(2 * bins * mNumChannels, true);
    const std::size_t tail = mNumChannels > 1 ? mNumChannels - std::size_t{1} : 0;
    mConstantQOutput.allocBytes(sizeof(SpectralAndAudioBufferList) + tail * sizeof(DSPSplitComplex),
                                true);
    mConstantQOutput->mNumChannels = mNumChannels;
    for (UInt32 c = 0; c < mNumChannels; ++c) {
        float* const values = mOutputData + 2 * bins * c;
        mConstantQOutput->mSpectra[c] = {values, values + bins};
    }
    mScratch.alloc(mKernel->ScratchFloats(), false);
    std::fill_n(mScratch.get(), mKernel->ScratchFloats(), 0.0f);
    if (mKernel->FrameWeights() != nullptr) {
        SetWindow(mKernel->FrameWeights());
        SetKeepsAudioFrames(false); // the frame is weighted while it is copied
    }
    // Long transforms prepare themselves when they first run, which then is here.
    AAConstantQSpectralProcessor::DoFwdFFT();
}

void AAConstantQSpectralProcessor::ProcessFrame() {
    DoFwdFFT();
    ProcessSpectrum(mFFTSize, mConstantQOutput);
}

void AAConstantQSpectralProcessor::DoFwdFFT() {
    for (UInt32 c = 0; c < mNumChannels; ++c) {
        mKernel->Apply(mChannels[c].mFFTBuffer, mScratch, mConstantQOutput->mSpectra[c]);
    }
}

void AAConstantQSpectralProcessor::GetMagnitude(AudioBufferList* out, float* mins, float* maxs) {
    for (UInt32 c = 0; c < mNumChannels; ++c) {
        auto* const magnitudes = static_cast<float*>(out->mBuffers[c].mData);
        vDSP_zvabs(&mConstantQOutput->mSpectra[c], 1, magnitudes, 1, mNumConstantQBins);
        vDSP_maxv(magnitudes, 1, &maxs[c], mNumConstantQBins);
        vDSP_minv(magnitudes, 1, &mins[c], mNumConstantQBins);
    }
}

} // namespace qel::core
