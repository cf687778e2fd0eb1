#pragma once

#include "spectral/QelAASpectralProcessor.h"
#include "support/audio/CABufferList.h"
#include "support/runtime/CAAutoDisposer.h"

#include <MacTypes.h>

namespace qel::core {

// A spectral processor with the Hann window that adds to each forward transform the angles of all
// bins, and makes phases of them: unwrapped over the bins, and wrapped again, which rounds them.
//
// Required by the contract: bin 0 counts as the complex number that it is not, with the Nyquist
// term for its imaginary part. The unwrapping starts from it, so that another angle moves all
// phases.
//
// The spectral function calls ComputePhases; they hold until the next frame.
// Nothing is allocated per frame. One thread at a time.
class AAPhaseBasedSpectralProcessor : public QelAASpectralProcessor {
public:
    // As the base class, without the zero shift. Raises std::bad_alloc as the base class does.
    AAPhaseBasedSpectralProcessor(UInt32 transformLength, UInt32 hop, UInt32 channels,
                                  UInt32 maxFrames, bool halfFrameInput, float sampleRateHz);
    ~AAPhaseBasedSpectralProcessor() override;

    void DoFwdFFT() override;

    // Makes the phases of one channel, and returns the sum of transformLength / 2 terms, formed in
    // rising order: as ContinuePhases has it.
    float ComputePhases(UInt32 channel, const float* terms);
    // Per channel transformLength / 2 phases in radians, from -pi to pi.
    AudioBufferList* GetPhaseBufferList() const;

    // Everything per stream.
    void AllocateBuffers();
    // Lets go of what is owned without freeing it, for Cleanup and the constructor.
    void NullPointers();
    // Gives back everything that this class allocated.
    void Cleanup();

protected:
    const UInt32 mNumBins;
    const float mSampleRate; // Hz
    CAAutoDelete<CABufferList> mAnglesBuffer;
    CAAutoDelete<CABufferList> mPhasesBuffer;

private:
    CAAutoDelete<CABufferList> NewBuffer(const char* name) const;
    void ComputeAngles(UInt32 channel);
};

} // namespace qel::core
