#pragma once

#include "spectral/FFTSetupOwner.h"

#include <Accelerate/Accelerate.h>
#include <MacTypes.h>

#include <cstddef>
#include <vector>

namespace qel::core {

// The first places of the spectrum of a real frame, in a transform of a power of two.
//
// Where the frame fills half of the transform and zeros the other, the frame is folded to a quarter
// of its length: once as it is, and turned by one, two and three places. The four transforms of an
// eighth of the size, without a zero among them, take half the time of one of half the size.
//
// Immutable after construction; any number of threads may use one.
class FrameTransform {
public:
    // log2Size      of the points of the transform, 1 to 30
    // frameSamples  of the frames. If there are fewer than points, zeros follow; if there are more,
    //               the first ones count.
    // places        how many of the spectrum are wanted, at most the points
    // Raises std::bad_alloc.
    FrameTransform(UInt32 log2Size, UInt32 frameSamples, UInt32 places);

    // Numbers that Run works on.
    std::size_t ScratchFloats() const;
    // Numbers in either part of a spectrum: the places wanted, and up to seven more.
    std::size_t SpectrumFloats() const { return mPlaces + std::size_t{7}; }

    // Finds spectrum[m] = 2 * sum over n of frame[n] e^(-2 pi i n m / size) for the places wanted.
    // False, and nothing found, if one of all places of the transform is not finite.
    bool Run(const float* frame, float* scratch, const DSPSplitComplex& spectrum) const;

    // Memory of the tables.
    std::size_t Bytes() const;

private:
    void MakeFactors();
    bool RunFolded(const float* frame, float* scratch, const DSPSplitComplex& spectrum) const;
    bool RunWhole(const float* frame, float* scratch, const DSPSplitComplex& spectrum) const;
    void Complete(float atHalfTheRate, const DSPSplitComplex& spectrum) const;

    UInt32 mLog2Size;
    UInt32 mSize;
    UInt32 mFrameSamples;
    UInt32 mPlaces;
    bool mIsFolded;
    FFTSetupOwner mSetup;
    std::vector<float> mFactors; // of FoldFrame, by turn: cosines, then sines
};

} // namespace qel::core
