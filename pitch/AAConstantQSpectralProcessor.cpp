#include "pitch/AAConstantQSpectralProcessor.h"

#include <Accelerate/Accelerate.h>

#include <algorithm>
#include <new>

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
    mKernelFFTInput.forget();
    mConstantQOutput.forget();
    mOutputData.forget();
}

void AAConstantQSpectralProcessor::CleanUp() {
    mKernel.reset();
    mKernelFFTInput.free();
    mConstantQOutput.free();
    mOutputData.free();
    NullPointers();
}

// Half a spectrum has one place more than the packed form, so that each part has room for it.
DSPSplitComplex AAConstantQSpectralProcessor::HalfSpectrum() const {
    return {mKernelFFTInput, mKernelFFTInput + mKernelFFTSize / 2 + 1};
}

void AAConstantQSpectralProcessor::AllocateBuffers() {
    mKernel = ConstantQKernel::Shared(mDesign);
    mNumConstantQBins = mKernel->NumBins();
    mKernelFFTSize = mKernel->FFTSize();
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
    if (mKernelFFTSize == 0) {
        return;
    }
    mKernelFFTInput.alloc(mKernelFFTSize + std::size_t{2}, true);
    mFFTSetup.reset(vDSP_create_fftsetup(mKernel->Log2FFTSize(), kFFTRadix2));
    if (mFFTSetup == nullptr) {
        throw std::bad_alloc();
    }
    // Long transforms prepare themselves when they first run, which then is here.
    const DSPSplitComplex zeros = HalfSpectrum();
    vDSP_fft_zrip(mFFTSetup.get(), &zeros, 1, mKernel->Log2FFTSize(), kFFTDirection_Forward);
}

void AAConstantQSpectralProcessor::ProcessFrame() {
    DoFwdFFT();
    ProcessSpectrum(mFFTSize, mConstantQOutput);
}

void AAConstantQSpectralProcessor::DoFwdFFT() {
    if (mKernelFFTSize == 0) {
        return;
    }
    // No kernel is longer than the transform, so what a longer frame has beyond it would meet
    // zeros.
    const std::size_t half = mKernelFFTSize / 2;
    const std::size_t pairs = std::min<std::size_t>(mFFTSize / 2, half);
    const DSPSplitComplex spectrum = HalfSpectrum();
    for (UInt32 c = 0; c < mNumChannels; ++c) {
        const auto* const frame =
            reinterpret_cast<const DSPComplex*>(mChannels[c].mFFTBuffer.get());
        vDSP_ctoz(frame, 2, &spectrum, 1, pairs);
        std::fill(spectrum.realp + pairs, spectrum.realp + half, 0.0f);
        std::fill(spectrum.imagp + pairs, spectrum.imagp + half, 0.0f);
        vDSP_fft_zrip(mFFTSetup.get(), &spectrum, 1, mKernel->Log2FFTSize(), kFFTDirection_Forward);
        // The term at half the sample rate comes packed as the imaginary part of the first.
        spectrum.realp[half] = spectrum.imagp[0];
        spectrum.imagp[half] = 0.0f;
        spectrum.imagp[0] = 0.0f;
        mKernel->Apply(spectrum, mConstantQOutput->mSpectra[c]);
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
