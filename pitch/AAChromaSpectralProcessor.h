#pragma once

#include "pitch/SemitoneBank.h"
#include "spectral/QelAASpectralProcessor.h"
#include "support/audio/CABufferList.h"
#include "support/runtime/CAAutoDisposer.h"

#include <MacTypes.h>

#include <vector>

namespace qel::core {

// A spectral processor that folds the magnitudes of each frame into pitch classes: what lies inside
// one equal-tempered semitone is summed, and semitones an octave apart are added together. Pitch
// class 0 is C at 261.6256 Hz and its octaves.
//
//   1. Construct, with the Hamming window.
//   2. SetSpectralFunction.
//   3. ProcessForwards per block. The list is complete when the spectral function is called and
//      holds until the next frame. That function gets the spectrum as GetMagnitude leaves it.
//
// Everything that depends on frequency is made in the constructor. One thread at a time.
class AAChromaSpectralProcessor : public QelAASpectralProcessor {
public:
    // As the base class, and
    //
    // sampleRateHz    of the stream. At a rate that has no semitones (0, below, not finite) all
    //                 pitch classes are 0.
    // chromaBinCount  length of the vector. With less than 12 the pitch classes above are left out;
    //                 with more the rest stays 0.
    //
    // Required by the contract: the zero shift is not done here, whatever the flag says. Doing it
    // changes all values in their last bits.
    //
    // Raises std::bad_alloc as the base class does, and for a vector beyond 2^32 bytes.
    AAChromaSpectralProcessor(UInt32 transformLength, UInt32 hop, UInt32 channels, UInt32 maxFrames,
                              bool halfFrameInput, bool zeroShift, double sampleRateHz,
                              UInt32 chromaBinCount);
    ~AAChromaSpectralProcessor() override;

    // Per channel chromaBinCount values of the latest frame, in the scale of the spectrum. The
    // caller may change them in place. mDataByteSize may be larger than that.
    CABufferList* GetChromaList() const { return mChromaList; }

    // The magnitudes of bins 1 to transformLength / 2 - 1 into the buffers of `out`, and their
    // least and greatest per channel. The packed bin 0, the constant and the Nyquist term, is left
    // out: the spectrum is moved down over it and stays so, entry i being bin i + 1.
    void GetMagnitude(AudioBufferList* out, float* mins, float* maxs);
    // The frequencies in Hz of those bins, at `sampleRate` Hz.
    void GetFrequencies(float* out, float sampleRate) const;

protected:
    void ProcessFrame() override;
    // The mean goes out of each frame before the window. The frame before it is not kept.
    void DoWindowing();
    void ComputeChroma();
    // Moves the spectrum down. Without extremes, which pitch classes do not need.
    void ComputeMagnitudes(UInt32 channel, float* magnitudes);
    void WrapWeightedMags(float* out) const;

    void AllocateBuffers();
    // Lets go of what is owned without freeing it, for CleanUp and the constructor.
    void NullPointers();
    // Gives back everything that this class allocated.
    void CleanUp();

    const double mSampleRate; // Hz
    const UInt32 mChromaBinCount;
    const UInt32 mNumBins; // in use: transformLength / 2 - 1
    CAAutoDelete<CABufferList> mSpectrumBuffer;
    SemitoneBank mSemitones;
    std::vector<UInt32> mWrappedChroma;     // pitch class of each semitone
    std::vector<float> mWeightedMagnitudes; // sum of each semitone
    CAAutoDelete<CABufferList> mChromaList;

private:
    CAAutoDelete<CABufferList> NewBuffer(const char* name, UInt32 valuesPerChannel) const;
};

} // namespace qel::core
