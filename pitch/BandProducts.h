// Products of the bands of kernels with a spectrum.
#pragma once

#include <Accelerate/Accelerate.h>
#include <MacTypes.h>

#include <cstddef>

namespace qel::core {

// Neighbouring values of one kernel, in blocks of kBandBlock: the real parts of a block, then its
// imaginary parts. The last block is filled up with zeros.
struct KernelBand {
    UInt32 mBin;   // whose kernel
    UInt32 mFirst; // place of the first value in the spectrum
    UInt32 mBlocks;
    UInt32 mOffset; // of the first block in the values of all bands
};

inline constexpr UInt32 kBandBlock = 16;

// For each band, adds the sum over its places of value times spectrum to out[mBin].
//
// values    of all bands, 64-byte aligned
// spectrum  up to the end of the last block of each band, and finite
//
// The sums are formed in kBandBlock partial sums, and these in a fixed order, so that they come out
// the same on every instruction set.
void AddBandProducts(const KernelBand* bands, std::size_t count, const float* values,
                     const DSPSplitComplex& spectrum, const DSPSplitComplex& out);

} // namespace qel::core
