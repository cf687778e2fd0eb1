#pragma once

#include "pitch/ConstantQKernel.h"
#include "spectral/QelAASpectralProcessor.h"
#include "support/runtime/CAAutoDisposer.h"

#include <memory>

namespace qel::core {

// A spectral processor that turns each frame into a complex spectrum on a logarithmic frequency
// axis: a fixed number of bins per octave, each with the same ratio of centre frequency to
// bandwidth. Bin k has its centre at minFrequency * 2^(k / binsPerOctave).
//
//   1. Construct; SetSpectralFunction.
//   2. ProcessForwards per block. The spectral function receives a list with GetNumConstantQBins
//      values per channel, not packed and not doubled, and a null mAudioBuffers; it holds until the
//      next frame. GetMagnitude gives their magnitudes.
//
// Each value is the inner product of the frame with the bin's kernel, where both begin at the same
// sample. There is no window over the frame and no zero shift, as the kernels have their own
// window.
//
// Required by the contract: a kernel that is longer than the frame meets it with its first part
// only. With frames of 8192 samples at 44.1 kHz that holds for the bins below 276.9 Hz, whose
// bandwidth is so that of the frame. Shortening or centring those kernels changes all their bins.
//
// Kernels come from SharedConstantQKernels, held for frames of this length: where they are longer
// than two frames, a transform of the kernels' length would be zeros for the most part. A frame
// allocates nothing. One thread at a time.
class AAConstantQSpectralProcessor : public QelAASpectralProcessor {
public:
    // As the base class, and what fixes the kernels: see ConstantQDesign. The flags change nothing.
    // Where the design has no kernels, all values are 0.
    // Raises std::bad_alloc as the base class and the kernel do.
    AAConstantQSpectralProcessor(UInt32 frameSize, UInt32 hop, UInt32 channels, UInt32 maxFrames,
                                 bool halfFrameInput, bool zeroShift, float minFrequencyHz,
                                 float maxFrequencyHz, UInt32 binsPerOctave, double sampleRateHz,
                                 float spectralThreshold);
    ~AAConstantQSpectralProcessor() override;

    void DoFwdFFT() override;

    UInt32 GetNumConstantQBins() const { return mNumConstantQBins; }

    // The magnitudes of the current frame, GetNumConstantQBins per channel, into the buffers of
    // `out`, and their least and greatest per channel.
    void GetMagnitude(AudioBufferList* out, float* mins, float* maxs);

    // Kernels and buffers; the base's setup becomes one for the kernels' transform.
    void AllocateBuffers();
    // Lets go of what is owned without freeing it.
    void NullPointers();
    // Gives back everything that this class allocated.
    void CleanUp();

protected:
    void ProcessFrame() override;
    const ConstantQDesign mDesign;
    std::shared_ptr<const ConstantQKernel> mKernel;
    UInt32 mNumConstantQBins = 0;
    CAAutoFree<float> mScratch; // of the kernels' product with a frame
    CAAutoFree<SpectralAndAudioBufferList> mConstantQOutput;

private:
    CAAutoFree<float> mOutputData; // what the list points at
};

} // namespace qel::core
