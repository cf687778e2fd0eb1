#pragma once

#include "rhythm/tempomap/GammaBankTable.h"
#include "spectral/QelAASpectralProcessor.h"
#include "support/audio/CABufferList.h"
#include "support/runtime/CAAutoDisposer.h"

#include <MacTypes.h>

namespace qel::core {

// A spectral processor that follows each forward transform with the bank of GammaBankTable: per
// frame and channel it gives the energies of the 36 bands, or of some, each the sum over the bins k
// of |X[k] G[k]|^2. X is the spectrum divided by 2 * transformLength: the plain transform over the
// length. Its Nyquist term is dropped.
//
//   1. Construct, with the Hanning window.
//   2. SetSpectralFunction.
//   3. ProcessForwards per block. The list is complete when the spectral function is called and
//      holds until the next frame.
//
// One thread at a time.
class AAGammaBankSpectralProcessor : public QelAASpectralProcessor {
public:
    // As the base class, and the sample rate of the stream. The bank is made for 1024 samples:
    // other lengths are taken, but bands of bins beyond 512 do not see them.
    //
    // The zero shift is not done here, whatever the flag says.
    // Raises std::bad_alloc as the base class does.
    AAGammaBankSpectralProcessor(UInt32 transformLength, UInt32 hop, UInt32 channels,
                                 UInt32 maxFrames, bool halfFrameInput, bool zeroShift,
                                 double sampleRateHz);
    ~AAGammaBankSpectralProcessor() override;

    // From now on gives the energies of the highest band of every `bands` alone: bands - 1,
    // 2 * bands - 1 and so on. `bands` is a divisor of kGammaBands; with 1, the default, all bands
    // are given. The energy of a band does not depend on it.
    void GiveHighestOfEvery(UInt32 bands) { mBandStep = bands; }

    // Per channel the energies of the bands that are given, lowest band first. mDataByteSize may be
    // larger than that.
    CABufferList* GetFilteredBufferList() const { return mFilteredList; }
    // The index of a band that is given among them.
    UInt32 IndexOfBand(UInt32 band) const { return (band + 1) / mBandStep - 1; }

    // Everything per stream.
    void AllocateBuffers();
    // Lets go of what is owned without freeing it, for CleanUp and the constructor.
    void NullPointers();
    // Gives back everything that this class allocated.
    void CleanUp();

protected:
    void ProcessFrame() override;

private:
    void FixSpectrum();
    void FilterSpectrum();

    const double mGammaSampleRate; // Hz
    const UInt32 mBinCount;
    UInt32 mBandStep = 1;
    CAAutoFree<float> mPowers; // squared moduli of one channel's spectrum, mBinCount floats
    CAAutoDelete<CABufferList> mFilteredList;
};

} // namespace qel::core
