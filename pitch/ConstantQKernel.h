#pragma once

#include "pitch/BandProducts.h"
#include "pitch/FrameTransform.h"
#include "support/runtime/CAAutoDisposer.h"

#include <Accelerate/Accelerate.h>
#include <MacTypes.h>

#include <cstddef>
#include <optional>
#include <vector>

namespace qel::core {

// What fixes a kernel.
struct ConstantQDesign {
    float minFrequencyHz; // centre of the first bin
    float maxFrequencyHz; // the last bin lies below it
    UInt32 binsPerOctave;
    double sampleRateHz;
    float spectralThreshold; // a kernel's spectral values up to this magnitude count as 0
    // Length of the frames, after which there are zeros; 0: that of the transform of the longest
    // kernel. It changes the transform that the kernels are held for, not what they give.
    UInt32 frameSamples = 0;

    bool operator==(const ConstantQDesign&) const = default;
};

// The kernels of a constant-Q transform in the frequency domain: one per bin, the transform of a
// windowed complex sine that is as long as its bin is narrow. The product of the kernels with the
// spectrum of a frame gives, for each bin, the inner product of frame and kernel in time.
//
// Of the values of a kernel's spectrum the threshold leaves well below a hundredth: those around
// the bin's frequency. They are found in closed form, see ToneSpectrum. A frame much shorter than
// the longest kernel has a shorter transform that tells all of its spectrum: the values go there,
// see SpectrumThinning. They are kept as bands of neighbours.
//
// Immutable after construction; any number of threads may use one.
//
// J. C. Brown and M. S. Puckette, An efficient algorithm for the calculation of a constant Q
// transform, J. Acoust. Soc. Am. 92(5), 1992.
class ConstantQKernel {
public:
    // The relative distance, in the norm of all bins, of Apply from the dense product in double
    // precision, and of the kernels from a design whose transforms are in double precision. What
    // the thinning for short frames adds to it is SpectrumThinning::kRelativeError.
    static constexpr double kRelativeError = 1e-6;

    // The longest kernel is 2^20 samples: with the lowest bin at 90 Hz and 36 bins per octave the
    // sample rate is at most 1.83 MHz.
    static constexpr UInt32 kMaxLog2FFTSize = 20;

    // Designs the kernels. Where none can be (a sample rate that is no number, not above 0, so low
    // that the longest kernel is one sample, or too high) all bins are without a kernel, and
    // FFTSize() is 0. Numbers that make no bins make none.
    // Raises std::bad_alloc.
    explicit ConstantQKernel(const ConstantQDesign& design);
    ConstantQKernel(const ConstantQKernel&) = delete;
    ConstantQKernel& operator=(const ConstantQKernel&) = delete;

    float QFactor() const { return mQFactor; } // centre frequency over bandwidth
    UInt32 NumBins() const { return mNumBins; }
    // Points of the transform that Apply reads: of a power of two that the longest kernel fits in,
    // or of what tells the spectrum of a frame of frameSamples, if that is less.
    UInt32 FFTSize() const { return mFFTSize; }
    UInt32 Log2FFTSize() const { return mLog2FFTSize; }

    // What the samples of frames are to be multiplied by before they are given to Apply: one per
    // sample, or null for nothing. See SpectrumThinning.
    const float* FrameWeights() const {
        return mFrameWeights.empty() ? nullptr : mFrameWeights.data();
    }

    // Numbers that Apply works on.
    std::size_t ScratchFloats() const;

    // The products with a weighted frame: out[k] = sum over all m of kernel[k][m] X[m], NumBins()
    // values, where X is the frame's spectrum.
    //
    // frame    frameSamples samples
    // scratch  64-byte aligned, of numbers: zeros, or what an earlier Apply left
    //
    // What the kernels leave out counts as 0 times X: where X is not finite, no bin is a number.
    // Without kernels nothing happens.
    void Apply(const float* frame, float* scratch, const DSPSplitComplex& out) const;

    // The FFTSize() values of one bin's kernel, zeros included. Without frameSamples they are the
    // kernel's own spectrum, conjugated and divided by FFTSize().
    void FillDenseRow(UInt32 bin, DSPComplex* row) const;

    // Memory of the kernels.
    std::size_t Bytes() const;

private:
    class Design;

    UInt32 SpectrumFloats() const; // numbers in either part of a spectrum

    float mQFactor = 0.0f;
    UInt32 mNumBins = 0;
    UInt32 mFFTSize = 0;
    UInt32 mLog2FFTSize = 0;
    std::size_t mNumValues = 0;
    std::vector<KernelBand> mBands; // by bin
    CAAutoFree<float> mValues;
    std::vector<float> mFrameWeights;
    std::optional<FrameTransform> mTransform;
};

} // namespace qel::core
