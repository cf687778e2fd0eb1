#include "spectral/phase/AAIFFTSpectralProcessor.h"

#include "elementary/Functions.h"
#include "spectral/phase/UnWrap.h"
#include "support/audio/CAStreamBasicDescription.h"

#include <Accelerate/Accelerate.h>

#include <algorithm>
#include <cstddef>
#include <numbers>

namespace qel::core {

namespace {

float* Row(const CABufferList* buffer, UInt32 channel) {
    auto* const list = const_cast<CABufferList*>(buffer);
    return static_cast<float*>(list->GetModifiableBufferList().mBuffers[channel].mData);
}

} // namespace

void MyIFFTSpectralFun2(SpectralAndAudioBufferList* list, void* refCon) {
    static_cast<AAIFFTSpectralProcessor*>(refCon)->ComputeInstantaneousFFT(*list);
}

AAIFFTSpectralProcessor::AAIFFTSpectralProcessor(UInt32 transformLength, UInt32 hop,
                                                 UInt32 channels, UInt32 maxFrames,
                                                 bool halfFrameInput, float sampleRateHz)
    : QelAASpectralProcessor(transformLength, hop, channels, maxFrames, halfFrameInput, true),
      mInnerMaxFrames(maxFrames), mNumBins(mFFTSize / 2), mBinSampleRate(sampleRateHz) {
    NullPointers();
    AllocateBuffers();
}

AAIFFTSpectralProcessor::~AAIFFTSpectralProcessor() {
    Cleanup();
}

void AAIFFTSpectralProcessor::NullPointers() {
    mInnerProcessor.forget();
    for (auto* vector : {&mStoredSpectrum, &mDifferenceWindow1, &mDifferenceWindow2, &mScratch}) {
        vector->forget();
    }
    for (auto* list : {&mFrequencyBuffers, &mAngleBuffers, &mPhaseBuffers}) {
        list->forget();
    }
}

void AAIFFTSpectralProcessor::Cleanup() {
    mInnerProcessor.free();
    for (auto* vector : {&mStoredSpectrum, &mDifferenceWindow1, &mDifferenceWindow2, &mScratch}) {
        vector->free();
    }
    for (auto* list : {&mFrequencyBuffers, &mAngleBuffers, &mPhaseBuffers}) {
        list->free();
    }
    NullPointers();
}

void AAIFFTSpectralProcessor::AllocateBuffers() {
    mInnerProcessor = new QelAASpectralProcessor(mFFTSize, mFFTSize, mNumChannels, mInnerMaxFrames,
                                                 false, mBinSampleRate != 0.0f);
    mInnerProcessor->SetSpectralFunction(MyIFFTSpectralFun2, this);
    DifferenceWindow1();
    mInnerProcessor->SetWindow(mDifferenceWindow1);
    mStoredSpectrum.alloc(std::size_t{2} * mNumBins * mNumChannels, true);
    mFrequencyBuffers = NewBuffer("spectrum inst freq buffer");
    mAngleBuffers = NewBuffer("spectrum angles buffer");
    mPhaseBuffers = NewBuffer("spectrum phase buffer");
    mScratch.alloc(std::size_t{2} * mNumBins, true);
    mPhasesAreOld = false;
    DifferenceWindow2();
    HanningWindow();
}

CAAutoDelete<CABufferList> AAIFFTSpectralProcessor::NewBuffer(const char* name) const {
    CAStreamBasicDescription format;
    format.SetCanonical(mNumChannels, false);
    format.mSampleRate = static_cast<double>(mBinSampleRate);
    CAAutoDelete<CABufferList> buffer = CABufferList::New(name, format);
    buffer->AllocateBuffers(mNumBins * static_cast<UInt32>(sizeof(float)));
    return buffer;
}

DSPSplitComplex AAIFFTSpectralProcessor::StoredSpectrum(UInt32 channel) const {
    float* const real = mStoredSpectrum + std::size_t{2} * mNumBins * channel;
    return {real, real + mNumBins};
}

// Required by the contract: without the offset of a sample that the Hann window of the outer
// processor has. Adding it changes all frequencies.
void AAIFFTSpectralProcessor::DifferenceWindow1() {
    mDifferenceWindow1.alloc(mFFTSize, false);
    const float seconds = static_cast<float>(mFFTSize) / mBinSampleRate;
    const double height = -std::numbers::pi / static_cast<double>(seconds);
    for (UInt32 i = 0; i < mFFTSize; ++i) {
        const float x = static_cast<float>(i) / static_cast<float>(mFFTSize);
        const auto phase = static_cast<float>(std::numbers::pi * static_cast<double>(x + x));
        mDifferenceWindow1[i] =
            static_cast<float>(height * static_cast<double>(elementary::Sin(phase)));
    }
}

// A window over bins: only these are ever read.
void AAIFFTSpectralProcessor::DifferenceWindow2() {
    mDifferenceWindow2.alloc(mNumBins, false);
    for (UInt32 k = 0; k < mNumBins; ++k) {
        const double radiansPerSample = 2.0 * std::numbers::pi * k / mFFTSize;
        mDifferenceWindow2[k] =
            static_cast<float>(static_cast<double>(mBinSampleRate) * radiansPerSample);
    }
}

AudioBufferList* AAIFFTSpectralProcessor::GetIFFTFrequencyBufferList() const {
    return &mFrequencyBuffers->GetModifiableBufferList();
}

AudioBufferList* AAIFFTSpectralProcessor::GetPhaseBufferList() const {
    for (UInt32 c = 0; mPhasesAreOld && c < mNumChannels; ++c) {
        ComputePhases(StoredSpectrum(c), Row(mAngleBuffers, c), Row(mPhaseBuffers, c));
    }
    mPhasesAreOld = false;
    return &mPhaseBuffers->GetModifiableBufferList();
}

void AAIFFTSpectralProcessor::ProcessSpectrum(UInt32 size, SpectralAndAudioBufferList* list) {
    StoreAndSendToNext(*list);
    QelAASpectralProcessor::ProcessSpectrum(size, list);
}

// The inner processor's hop is its frame, so that this is one frame of it, worked on here and now.
void AAIFFTSpectralProcessor::StoreAndSendToNext(const SpectralAndAudioBufferList& list) {
    for (UInt32 c = 0; c < list.mNumChannels; ++c) {
        const DSPSplitComplex stored = StoredSpectrum(c);
        std::copy_n(list.mSpectra[c].realp, mNumBins, stored.realp);
        std::copy_n(list.mSpectra[c].imagp, mNumBins, stored.imagp);
    }
    mInnerProcessor->ProcessForwards(mFFTSize, list.mAudioBuffers);
}

void AAIFFTSpectralProcessor::ComputeInstantaneousFFT(const SpectralAndAudioBufferList& list) {
    for (UInt32 c = 0; c < list.mNumChannels; ++c) {
        ComputeFrequencies(list.mSpectra[c], StoredSpectrum(c), Row(mFrequencyBuffers, c));
    }
    mPhasesAreOld = true;
}

// Both spectra are packed and doubled alike, so that the factor falls out of the quotient.
void AAIFFTSpectralProcessor::ComputeFrequencies(const DSPSplitComplex& derivative,
                                                 const DSPSplitComplex& spectrum,
                                                 float* frequencies) {
    constexpr float kHertzPerRadian = 0.5f * std::numbers::inv_pi_v<float>;
    float* const real = mScratch;
    float* const imag = mScratch + mNumBins;
    // D + i w W: times i, the parts of w W change places, and the new real part its sign.
    vDSP_vmul(spectrum.imagp, 1, mDifferenceWindow2, 1, real, 1, mNumBins);
    vDSP_vsub(real, 1, derivative.realp, 1, real, 1, mNumBins);
    vDSP_vmul(spectrum.realp, 1, mDifferenceWindow2, 1, imag, 1, mNumBins);
    vDSP_vadd(derivative.imagp, 1, imag, 1, imag, 1, mNumBins);
    // The imaginary part of conj(W) times that, over the power.
    vDSP_vmmsb(spectrum.realp, 1, imag, 1, spectrum.imagp, 1, real, 1, frequencies, 1, mNumBins);
    float* const power = real;
    vDSP_zvmags(&spectrum, 1, power, 1, mNumBins);
    vDSP_vdiv(power, 1, frequencies, 1, frequencies, 1, mNumBins);
    vDSP_vsmul(frequencies, 1, &kHertzPerRadian, frequencies, 1, mNumBins);
}

// Uses the stored spectrum up. The Nyquist term is dropped.
void AAIFFTSpectralProcessor::ComputePhases(const DSPSplitComplex& spectrum, float* angles,
                                            float* phases) const {
    const auto scale = static_cast<float>(2.0 / mNumBins);
    const float mirrored = -scale;
    vDSP_vsmul(spectrum.realp, 1, &scale, spectrum.realp, 1, mNumBins);
    vDSP_vsmul(spectrum.imagp, 1, &mirrored, spectrum.imagp, 1, mNumBins);
    spectrum.imagp[0] = 0.0f;
    vDSP_zvphas(&spectrum, 1, angles, 1, mNumBins);
    UnWrap(angles, phases, mNumBins);
}

} // namespace qel::core
