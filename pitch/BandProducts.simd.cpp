#include "pitch/BandProducts.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "pitch/BandProducts.simd.cpp"
#include <hwy/foreach_target.h> // Must stand before the other headers of its kind.

#include <hwy/highway.h>

#include <algorithm>

HWY_BEFORE_NAMESPACE();
namespace qel::core {
namespace HWY_NAMESPACE {

namespace hn = hwy::HWY_NAMESPACE;

constexpr std::size_t kPartials = kBandBlock;
// Partial sums that are folded to one for as many bands at a time.
constexpr std::size_t kFolded = 4;

using Block = hn::CappedTag<float, kPartials>;
using Quad = hn::CappedTag<float, kFolded>;

// The partial sums of one band, folded to kFolded.
HWY_INLINE void SumBand(const KernelBand& band, const float* values,
                        const DSPSplitComplex& spectrum, float* foldedReal, float* foldedImag) {
    const Block block;
    using V = hn::Vec<Block>;
    constexpr std::size_t kLanes = hn::MaxLanes(block);
    constexpr std::size_t kVectors = kPartials / kLanes;
    V real[kVectors];
    V imag[kVectors];
    for (std::size_t v = 0; v < kVectors; ++v) {
        real[v] = hn::Zero(block);
        imag[v] = hn::Zero(block);
    }
    const float* weights = values + band.mOffset;
    const float* re = spectrum.realp + band.mFirst;
    const float* im = spectrum.imagp + band.mFirst;
    for (UInt32 b = 0; b < band.mBlocks; ++b) {
        for (std::size_t v = 0; v < kVectors; ++v) {
            const std::size_t at = v * kLanes;
            const V weightReal = hn::Load(block, weights + at);
            const V weightImag = hn::Load(block, weights + kPartials + at);
            const V placeReal = hn::LoadU(block, re + at);
            const V placeImag = hn::LoadU(block, im + at);
            real[v] = hn::Add(
                real[v], hn::Sub(hn::Mul(placeReal, weightReal), hn::Mul(placeImag, weightImag)));
            imag[v] = hn::Add(
                imag[v], hn::Add(hn::Mul(placeReal, weightImag), hn::Mul(placeImag, weightReal)));
        }
        weights += 2 * kPartials;
        re += kPartials;
        im += kPartials;
    }
    HWY_ALIGN float parts[2 * kPartials];
    for (std::size_t v = 0; v < kVectors; ++v) {
        hn::Store(real[v], block, parts + v * kLanes);
        hn::Store(imag[v], block, parts + kPartials + v * kLanes);
    }
    const Quad quad;
    for (std::size_t n = 0; n < kFolded; n += hn::MaxLanes(quad)) {
        const auto fold = [&](const float* from) HWY_ATTR {
            return hn::Add(hn::Add(hn::Load(quad, from), hn::Load(quad, from + 8)),
                           hn::Add(hn::Load(quad, from + 4), hn::Load(quad, from + 12)));
        };
        hn::Store(fold(parts + n), quad, foldedReal + n);
        hn::Store(fold(parts + kPartials + n), quad, foldedImag + n);
    }
}

// The sums of kFolded bands.
HWY_INLINE void FoldQuads(const float* folded, float* sums) {
    const Quad quad;
    if constexpr (hn::MaxLanes(quad) == kFolded) {
        hn::Vec<Quad> part0;
        hn::Vec<Quad> part1;
        hn::Vec<Quad> part2;
        hn::Vec<Quad> part3;
        hn::LoadInterleaved4(quad, folded, part0, part1, part2, part3);
        hn::Store(hn::Add(hn::Add(part0, part2), hn::Add(part1, part3)), quad, sums);
    } else {
        for (std::size_t i = 0; i < kFolded; ++i) {
            const float* const parts = folded + kFolded * i;
            sums[i] = (parts[0] + parts[2]) + (parts[1] + parts[3]);
        }
    }
}

void AddProducts(const KernelBand* bands, std::size_t count, const float* values,
                 const DSPSplitComplex& spectrum, const DSPSplitComplex& out) {
    HWY_ALIGN float foldedReal[kFolded * kFolded] = {};
    HWY_ALIGN float foldedImag[kFolded * kFolded] = {};
    HWY_ALIGN float sumsReal[kFolded];
    HWY_ALIGN float sumsImag[kFolded];
    for (std::size_t first = 0; first < count; first += kFolded) {
        const std::size_t here = std::min(kFolded, count - first);
        for (std::size_t i = 0; i < here; ++i) {
            SumBand(bands[first + i], values, spectrum, foldedReal + kFolded * i,
                    foldedImag + kFolded * i);
        }
        FoldQuads(foldedReal, sumsReal);
        FoldQuads(foldedImag, sumsImag);
        for (std::size_t i = 0; i < here; ++i) {
            out.realp[bands[first + i].mBin] += sumsReal[i];
            out.imagp[bands[first + i].mBin] += sumsImag[i];
        }
    }
}

} // namespace HWY_NAMESPACE
} // namespace qel::core
HWY_AFTER_NAMESPACE();

#if HWY_ONCE

namespace qel::core {

HWY_EXPORT(AddProducts);

void AddBandProducts(const KernelBand* bands, std::size_t count, const float* values,
                     const DSPSplitComplex& spectrum, const DSPSplitComplex& out) {
    HWY_DYNAMIC_DISPATCH(AddProducts)(bands, count, values, spectrum, out);
}

} // namespace qel::core

#endif
