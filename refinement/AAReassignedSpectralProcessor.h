#pragma once

#include "spectral/QelAASpectralProcessor.h"
#include "support/audio/CABufferList.h"
#include "support/runtime/CAAutoDisposer.h"

#include <MacTypes.h>

namespace qel::core {

// A spectral processor that finds for every bin where its energy really lies: at which
// frequency, and at which time.
//
// Each frame is transformed three times: with a Hann window, and, by two inner processors, with
// that window times a ramp over time, and with the derivative of that window. If S0, S1 and S2 are
// the three spectra, then for bin k of N / 2 in frame c, both counted from 1,
//
//   k - Im(S2 conj(S0)) / |S0|^2      is the channelized instantaneous frequency (CIF), in bins;
//   c + Re(S1 conj(S0)) / |S0|^2 / N  is the local group delay (LGD), in frames.
//
// Required by the contract:
//
//   - The correction of the time is a fraction of a frame's length, and is taken as a fraction of a
//     hop all the same. Scaling it to hops changes all times.
//   - Nothing guards an S0 of 0: a bin without energy has neither frequency nor time, and both are
//     NaN. Clients tell such bins by that.
//
//   1. Construct.
//   2. SetSpectralFunction.
//   3. ProcessForwards per block. Both lists are those of the frame that the spectral function is
//      called for, and hold until the next frame. The spectrum that it gets went through
//      FixSpectrum.
//
// Nothing is allocated per frame. One thread at a time.
class AAReassignedSpectralProcessor : public QelAASpectralProcessor {
public:
    // As the base class, never with the zero shift, and the stream's rate, which only describes the
    // two lists. The window is the Hann window; another one would not go with the inner windows.
    // Raises std::bad_alloc as the base class does.
    AAReassignedSpectralProcessor(UInt32 transformLength, UInt32 hop, UInt32 channels,
                                  UInt32 maxFrames, bool halfFrameInput, float sampleRateHz);
    ~AAReassignedSpectralProcessor() override;

    // Works out both lists from the spectrum under the plain window, which is fixed in place, then
    // calls the spectral function.
    void ProcessSpectrum(UInt32 size, SpectralAndAudioBufferList* list) override;

    // Per channel transformLength / 2 frequencies in bins, where bin 0 counts as 1.
    AudioBufferList* GetCIFBufferList() const;
    // Per channel transformLength / 2 times in frames, where the stream's first frame is 1.
    AudioBufferList* GetLGDBufferList() const;

    // Makes the next frame number `frame`, counted from 1, where a stream does not start with the
    // first one.
    void SetFrameCounter(double frame) { mFrameCounter = frame; }

    // Everything per stream, windows included; the next frame is number 1.
    void AllocateBuffers();
    // Lets go of what is owned without freeing it, for Cleanup and the constructor.
    void NullPointers();
    // Gives back everything that this class allocated.
    void Cleanup();

protected:
    const UInt32 mNumBins;
    const float mBinSampleRate; // Hz
    CAAutoDelete<QelAASpectralProcessor> mTimeRampProcessor;
    CAAutoDelete<QelAASpectralProcessor> mDerivativeProcessor;
    CAAutoFree<float> mTimeRampWindow;   // mFFTSize
    CAAutoFree<float> mDerivativeWindow; // mFFTSize
    double mFrameCounter = 1.0;          // the number of the frame that comes next
    CAAutoDelete<CABufferList> mCIFBuffers;
    CAAutoDelete<CABufferList> mLGDBuffers;

private:
    friend void MySpectralFun1(SpectralAndAudioBufferList* list, void* refCon);
    friend void MySpectralFun2(SpectralAndAudioBufferList* list, void* refCon);

    CAAutoDelete<CABufferList> NewBuffer(const char* name) const;
    CAAutoDelete<QelAASpectralProcessor> NewInnerProcessor(const float* window,
                                                           SpectralFunction function);
    void MakeDifferenceWindows();
    void MakeDerivativeWindow();
    void StoreAndSendToNext(SpectralAndAudioBufferList* list);
    void StoreSpectra1(SpectralAndAudioBufferList* list);
    void ComputeReassignedSpectrum(SpectralAndAudioBufferList* list);

    CAAutoFree<float> mBinRamp; // 1, 2, ... mNumBins
    // S0 and S1, where their processors hold them until the next frame.
    const SpectralAndAudioBufferList* mWindowSpectrum = nullptr;
    const SpectralAndAudioBufferList* mTimeRampSpectrum = nullptr;
};

// Takes the doubling out of a packed spectrum of `count` bins, in place.
//
// Required by the contract: the Nyquist term goes with it, and so does the imaginary part of the
// last bin. Keeping them changes the values of the first and the last bin.
void FixSpectrum(DSPSplitComplex split, UInt32 count);

// The spectral callbacks of the two inner processors; `refCon` is the
// AAReassignedSpectralProcessor.
void MySpectralFun1(SpectralAndAudioBufferList* list, void* refCon);
void MySpectralFun2(SpectralAndAudioBufferList* list, void* refCon);

} // namespace qel::core
