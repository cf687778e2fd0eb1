#pragma once

#include "spectral/QelAASpectralProcessor.h"
#include "support/audio/CABufferList.h"
#include "support/runtime/CAAutoDisposer.h"

#include <MacTypes.h>

namespace qel::core {

// A spectral processor that tells for every bin the frequency of what sounds there, more finely
// than the distance of the bins, and the phase.
//
// Each frame is transformed twice: with a Hann window, and, by an inner processor, with the time
// derivative of that window. If W and D are the two spectra and w is the angular frequency of a
// bin, then Im(conj(W) (D + i w W)) / |W|^2 is the angular frequency at which the phase of W
// advances.
//
//   1. Construct.
//   2. SetSpectralFunction.
//   3. ProcessForwards per block. Both lists are those of the frame that the spectral function is
//      called for, and hold until the next frame.
//
// Nothing is allocated per frame. One thread at a time.
class AAIFFTSpectralProcessor : public QelAASpectralProcessor {
public:
    // As the base class, always with the zero shift, and the stream's rate.
    // Required by the contract: at a rate of 0 the inner processor does no zero shift, and all
    // frequencies are 0 or NaN. Refusing the rate takes results from clients.
    //
    // Raises std::bad_alloc as the base class does.
    AAIFFTSpectralProcessor(UInt32 transformLength, UInt32 hop, UInt32 channels, UInt32 maxFrames,
                            bool halfFrameInput, float sampleRateHz);
    ~AAIFFTSpectralProcessor() override;

    // Works out the frequencies, then calls the spectral function.
    void ProcessSpectrum(UInt32 size, SpectralAndAudioBufferList* list) override;

    // Per channel transformLength / 2 frequencies in Hz. Bin 0, which packs the constant and the
    // Nyquist term, has one without a meaning. A bin without any magnitude has NaN, so that silence
    // has it in all bins.
    AudioBufferList* GetIFFTFrequencyBufferList() const;
    // Per channel transformLength / 2 phases in radians, continuous over the bins. That of bin 0 is
    // 0 or pi, from the constant term alone. Signs are opposite to those of the spectrum. The first
    // call in a frame works them out.
    AudioBufferList* GetPhaseBufferList() const;

    // Everything per stream, windows included.
    void AllocateBuffers();
    // Lets go of what is owned without freeing it, for Cleanup and the constructor.
    void NullPointers();
    // Gives back everything that this class allocated.
    void Cleanup();

protected:
    const UInt32 mInnerMaxFrames;
    const UInt32 mNumBins;
    const float mBinSampleRate; // Hz
    CAAutoDelete<QelAASpectralProcessor> mInnerProcessor;
    CAAutoFree<float> mStoredSpectrum;    // per channel real, then imaginary parts of W
    CAAutoFree<float> mDifferenceWindow1; // mFFTSize, the derivative of the window
    CAAutoFree<float> mDifferenceWindow2; // per bin, radians per second
    CAAutoDelete<CABufferList> mFrequencyBuffers;
    CAAutoDelete<CABufferList> mAngleBuffers;
    CAAutoDelete<CABufferList> mPhaseBuffers;

private:
    friend void MyIFFTSpectralFun2(SpectralAndAudioBufferList* list, void* refCon);

    CAAutoDelete<CABufferList> NewBuffer(const char* name) const;
    DSPSplitComplex StoredSpectrum(UInt32 channel) const;
    void DifferenceWindow1();
    void DifferenceWindow2();
    void StoreAndSendToNext(const SpectralAndAudioBufferList& list);
    void ComputeInstantaneousFFT(const SpectralAndAudioBufferList& list);
    void ComputeFrequencies(const DSPSplitComplex& derivative, const DSPSplitComplex& spectrum,
                            float* frequencies);
    void ComputePhases(const DSPSplitComplex& spectrum, float* angles, float* phases) const;

    mutable bool mPhasesAreOld = false;
    CAAutoFree<float> mScratch; // two rows of mNumBins
};

// The spectral callback of the inner processor; `refCon` is the AAIFFTSpectralProcessor.
void MyIFFTSpectralFun2(SpectralAndAudioBufferList* list, void* refCon);

} // namespace qel::core
