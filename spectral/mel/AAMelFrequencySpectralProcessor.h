#pragma once

#include "spectral/QelAASpectralProcessor.h"
#include "spectral/mel/MelFilterBank.h"
#include "support/audio/CABufferList.h"
#include "support/runtime/CAAutoDisposer.h"

#include <MacTypes.h>

#include <memory>

namespace qel::core {

// A spectral processor that follows each forward transform with a bank of triangular filters: per
// frame and channel it gives the magnitudes of the bins, the filters' outputs, and the base-10
// logarithms of those, floored at 1e-10. The outputs are sums over magnitudes, not powers.
//
//   1. Construct, with the Hanning window and the weights of MakeFilterWeights2.
//   2. SetSpectralFunction; MakeFilterWeights1 for the other design.
//   3. ProcessForwards per block. The lists are complete when the spectral function is called and
//      hold until the next frame.
//
// One thread at a time.
class AAMelFrequencySpectralProcessor : public QelAASpectralProcessor {
public:
    // As the base class, and
    //
    // filterCount   filters, below 2^30 - 27
    // sampleRateHz  of the stream
    //
    // Required by the contract: the zero shift is not done here, whatever the flag says. Doing it
    // changes all values in their last bits.
    //
    // Raises std::bad_alloc as the base class does, and for too many filters.
    AAMelFrequencySpectralProcessor(UInt32 transformLength, UInt32 hop, UInt32 channels,
                                    UInt32 maxFrames, bool halfFrameInput, bool zeroShift,
                                    UInt32 filterCount, double sampleRateHz);
    ~AAMelFrequencySpectralProcessor() override;

    // The magnitudes, filter outputs and logarithms of one frame, from the spectra of all channels.
    virtual void FilterSpectrum();

    // Per channel transformLength / 2 magnitudes, doubled as the spectrum is, with the constant and
    // the Nyquist term together in bin 0. Its mDataByteSize may be larger than that.
    CABufferList* GetMagnitudeList() const { return mTempBuffer; }
    // Per channel the logarithms of the filters in force, and zeros after them: there is room for
    // 27 more than the filter count.
    CABufferList* GetLogEarList() const { return mLogEarBuffer; }

    // Triangles with edges on a linear scale from 133 Hz on, 200 / 3 Hz apart, the last two edges
    // in the ratio of kMelLogSpacing: with 13 filters up to 1070.9 Hz, whatever the sample rate.
    // The height makes unit area; filters above the bins are empty. Required by the contract: the
    // span is that narrow. A wider one changes all values.
    void MakeFilterWeights1();
    // Triangles of unit area in equal steps of the mel scale, from 0 Hz to half the sample rate.
    void MakeFilterWeights2();

    // Everything per stream but the weights: mNumFilters is the room for filters until a design
    // sets it.
    void AllocateBuffers();
    // Lets go of what is owned without freeing it, for CleanUp and the constructor.
    void NullPointers();
    // Gives back everything that this class allocated.
    void CleanUp();

protected:
    void ProcessFrame() override;
    std::shared_ptr<const MelFilterBank> mFilterWeights; // shared with other processors
    UInt32 mNumFilters = 0;                              // in force
    const UInt32 mNumLinearFilters;
    const double mSampleRate; // Hz
    const UInt32 mNumBins;
    CAAutoDelete<CABufferList> mEarBuffer;
    CAAutoDelete<CABufferList> mLogEarBuffer;
    CAAutoDelete<CABufferList> mTempBuffer;
    CAAutoFree<float> mMinMagnitudes; // one per channel
    CAAutoFree<float> mMaxMagnitudes;

private:
    CAAutoDelete<CABufferList> NewBuffer(const char* name, UInt32 valuesPerChannel) const;
};

} // namespace qel::core
