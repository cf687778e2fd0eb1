#include "refinement/AAReassignedSpectralProcessor.h"

#include "spectral/FFTSetupOwner.h"
#include "spectral/VectorHelpers.h"
#include "support/audio/CAStreamBasicDescription.h"

#include <Accelerate/Accelerate.h>

#include <algorithm>
#include <cstddef>
#include <new>

namespace qel::core {

namespace {

float* Row(CABufferList* buffer, UInt32 channel) {
    return static_cast<float*>(buffer->GetModifiableBufferList().mBuffers[channel].mData);
}

// An inner processor. Every block is a whole frame, which goes through the window straight into the
// transform. The audio buffers of its list stay empty.
class FrameTransform final : public QelAASpectralProcessor {
public:
    FrameTransform(UInt32 transformLength, UInt32 channels)
        : QelAASpectralProcessor(transformLength, transformLength, channels, 0, false, false) {}

    int ProcessForwards(UInt32 /*frames*/, AudioBufferList* in) override {
        for (UInt32 c = 0; c < mNumChannels; ++c) {
            const auto* const samples = static_cast<const float*>(in->mBuffers[c].mData);
            vDSP_vmul(samples, 1, mWindow, 1, mChannels[c].mFFTBuffer, 1, mFFTSize);
        }
        DoFwdFFT();
        ProcessSpectrum(mFFTSize, mSpectralBufferList);
        return 1;
    }
};

// One channel of one frame, in a single pass. `binRamp` counts the bins from 1, `framesPerSample`
// is 1 / N, a power of two.
void Reassign(const DSPSplitComplex& s0, const DSPSplitComplex& s1, const DSPSplitComplex& s2,
              const float* __restrict binRamp, float frame, float framesPerSample,
              float* __restrict cif, float* __restrict lgd, UInt32 bins) {
    const float* const re0 = s0.realp;
    const float* const im0 = s0.imagp;
    const float* const re1 = s1.realp;
    const float* const im1 = s1.imagp;
    const float* const re2 = s2.realp;
    const float* const im2 = s2.imagp;
    for (UInt32 k = 0; k < bins; ++k) {
        const float reciprocal = 1.0f / (re0[k] * re0[k] + im0[k] * im0[k]);
        const float deviation = (im2[k] * re0[k] - re2[k] * im0[k]) * reciprocal;
        const float delay = (re1[k] * re0[k] + im1[k] * im0[k]) * reciprocal * framesPerSample;
        cif[k] = binRamp[k] - deviation;
        lgd[k] = delay + frame;
    }
}

} // namespace

void FixSpectrum(DSPSplitComplex split, UInt32 count) {
    if (count == 0) {
        return;
    }
    const float half = 0.5f;
    vDSP_vsmul(split.realp, 1, &half, split.realp, 1, count);
    vDSP_vsmul(split.imagp, 1, &half, split.imagp, 1, count);
    split.imagp[0] = 0.0f;
    split.imagp[count - 1] = 0.0f;
}

void MySpectralFun1(SpectralAndAudioBufferList* list, void* refCon) {
    static_cast<AAReassignedSpectralProcessor*>(refCon)->StoreSpectra1(list);
}

void MySpectralFun2(SpectralAndAudioBufferList* list, void* refCon) {
    static_cast<AAReassignedSpectralProcessor*>(refCon)->ComputeReassignedSpectrum(list);
}

AAReassignedSpectralProcessor::AAReassignedSpectralProcessor(UInt32 transformLength, UInt32 hop,
                                                             UInt32 channels, UInt32 maxFrames,
                                                             bool halfFrameInput,
                                                             float sampleRateHz)
    : QelAASpectralProcessor(transformLength, hop, channels, maxFrames, halfFrameInput, false),
      mNumBins(mFFTSize / 2), mBinSampleRate(sampleRateHz) {
    NullPointers();
    AllocateBuffers();
}

AAReassignedSpectralProcessor::~AAReassignedSpectralProcessor() {
    Cleanup();
}

void AAReassignedSpectralProcessor::NullPointers() {
    for (auto* processor : {&mTimeRampProcessor, &mDerivativeProcessor}) {
        processor->forget();
    }
    for (auto* vector : {&mTimeRampWindow, &mDerivativeWindow, &mBinRamp}) {
        vector->forget();
    }
    for (auto* list : {&mCIFBuffers, &mLGDBuffers}) {
        list->forget();
    }
}

void AAReassignedSpectralProcessor::Cleanup() {
    for (auto* processor : {&mTimeRampProcessor, &mDerivativeProcessor}) {
        processor->free();
    }
    for (auto* vector : {&mTimeRampWindow, &mDerivativeWindow, &mBinRamp}) {
        vector->free();
    }
    for (auto* list : {&mCIFBuffers, &mLGDBuffers}) {
        list->free();
    }
    NullPointers();
}

void AAReassignedSpectralProcessor::AllocateBuffers() {
    HanningWindow();
    MakeDifferenceWindows();
    mTimeRampProcessor = NewInnerProcessor(mTimeRampWindow, MySpectralFun1);
    mDerivativeProcessor = NewInnerProcessor(mDerivativeWindow, MySpectralFun2);
    mCIFBuffers = NewBuffer("cif buffer");
    mLGDBuffers = NewBuffer("lgd buffer");
    const float one = 1.0f;
    mBinRamp.alloc(mNumBins, false);
    vDSP_vramp(&one, &one, mBinRamp, 1, mNumBins);
    mFrameCounter = 1.0;
}

CAAutoDelete<CABufferList> AAReassignedSpectralProcessor::NewBuffer(const char* name) const {
    CAStreamBasicDescription format;
    format.SetCanonical(mNumChannels, false);
    format.mSampleRate = static_cast<double>(mBinSampleRate);
    CAAutoDelete<CABufferList> buffer(CABufferList::New(name, format));
    buffer->AllocateBuffers(mNumBins * static_cast<UInt32>(sizeof(float)));
    return buffer;
}

CAAutoDelete<QelAASpectralProcessor>
AAReassignedSpectralProcessor::NewInnerProcessor(const float* window, SpectralFunction function) {
    CAAutoDelete<QelAASpectralProcessor> inner(new FrameTransform(mFFTSize, mNumChannels));
    inner->SetSpectralFunction(function, this);
    inner->SetWindow(window);
    return inner;
}

void AAReassignedSpectralProcessor::MakeDifferenceWindows() {
    const float start = 0.5f - static_cast<float>(mNumBins);
    const float step = 1.0f;
    mTimeRampWindow.alloc(mFFTSize, false);
    vDSP_vramp(&start, &step, mTimeRampWindow, 1, mFFTSize);
    vDSP_vmul(mTimeRampWindow, 1, mWindow, 1, mTimeRampWindow, 1, mFFTSize);
    MakeDerivativeWindow();
}

// The window's spectrum times a ramp over frequency, transformed back.
//
// Required by the contract: the spectrum's upper half mirrors the lower one without conjugation,
// its middle is 0, the ramp stands half a bin beside the bins, and only the imaginary part of the
// result is taken. The true derivative of the window changes all frequencies.
void AAReassignedSpectralProcessor::MakeDerivativeWindow() {
    const UInt32 log2Size = Log2Ceil(mFFTSize);
    const std::size_t size = std::size_t{1} << log2Size;
    const FFTSetupOwner setup(vDSP_create_fftsetup(log2Size, kFFTRadix2));
    if (setup == nullptr) {
        throw std::bad_alloc();
    }
    const CAAutoFree<float> real(size, true);
    const CAAutoFree<float> imag(size, true);
    const DSPSplitComplex spectrum{real, imag};
    const auto* const pairs = reinterpret_cast<const DSPComplex*>(mWindow.get());
    vDSP_ctoz(pairs, 2, &spectrum, 1, mNumBins);
    vDSP_fft_zrip(setup.get(), &spectrum, 1, log2Size, kFFTDirection_Forward);
    FixSpectrum(spectrum, mNumBins);
    for (UInt32 i = 1; i < mNumBins; ++i) {
        real[mFFTSize - i] = real[i];
        imag[mFFTSize - i] = imag[i];
    }

    const float lowest = 0.5f;
    const float lowestNegative = 0.5f - static_cast<float>(mNumBins);
    const float step = 1.0f;
    mDerivativeWindow.alloc(mFFTSize, false);
    float* const ramp = mDerivativeWindow;
    vDSP_vramp(&lowest, &step, ramp, 1, mNumBins);
    vDSP_vramp(&lowestNegative, &step, ramp + mNumBins, 1, mNumBins);
    vDSP_zrvmul(&spectrum, 1, ramp, 1, &spectrum, 1, mFFTSize);
    vDSP_fft_zip(setup.get(), &spectrum, 1, log2Size, kFFTDirection_Inverse);
    const float scale = -1.0f / static_cast<float>(mFFTSize);
    vDSP_vsmul(imag, 1, &scale, mDerivativeWindow, 1, mFFTSize);
}

AudioBufferList* AAReassignedSpectralProcessor::GetCIFBufferList() const {
    return &mCIFBuffers->GetModifiableBufferList();
}

AudioBufferList* AAReassignedSpectralProcessor::GetLGDBufferList() const {
    return &mLGDBuffers->GetModifiableBufferList();
}

void AAReassignedSpectralProcessor::ProcessSpectrum(UInt32 size, SpectralAndAudioBufferList* list) {
    StoreAndSendToNext(list);
    QelAASpectralProcessor::ProcessSpectrum(size, list);
}

// One frame of the inner processor, worked on here and now; so is that of the next one within.
void AAReassignedSpectralProcessor::StoreAndSendToNext(SpectralAndAudioBufferList* list) {
    for (UInt32 c = 0; c < list->mNumChannels; ++c) {
        FixSpectrum(list->mSpectra[c], mNumBins);
    }
    mWindowSpectrum = list;
    mTimeRampProcessor->ProcessForwards(mFFTSize, list->mAudioBuffers);
}

void AAReassignedSpectralProcessor::StoreSpectra1(SpectralAndAudioBufferList* list) {
    for (UInt32 c = 0; c < list->mNumChannels; ++c) {
        FixSpectrum(list->mSpectra[c], mNumBins);
    }
    mTimeRampSpectrum = list;
    mDerivativeProcessor->ProcessForwards(mFFTSize, mWindowSpectrum->mAudioBuffers);
}

void AAReassignedSpectralProcessor::ComputeReassignedSpectrum(SpectralAndAudioBufferList* list) {
    const auto frame = static_cast<float>(static_cast<SInt64>(mFrameCounter));
    const float framesPerSample = 1.0f / static_cast<float>(mFFTSize);
    for (UInt32 c = 0; c < list->mNumChannels; ++c) {
        FixSpectrum(list->mSpectra[c], mNumBins);
        Reassign(mWindowSpectrum->mSpectra[c], mTimeRampSpectrum->mSpectra[c], list->mSpectra[c],
                 mBinRamp, frame, framesPerSample, Row(mCIFBuffers, c), Row(mLGDBuffers, c),
                 mNumBins);
    }
    mFrameCounter += 1.0;
}

} // namespace qel::core
