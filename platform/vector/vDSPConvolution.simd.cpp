// Correlation with a filter, at every place and at every so many places. Each output is summed over
// the filter in ascending order, or in that of the dot product, however many outputs are asked for.

#include <Accelerate/vDSP.h>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "platform/vector/vDSPConvolution.simd.cpp"
#include <hwy/foreach_target.h> // Must stand before the other headers of its kind.

#include "platform/vector/Loops.simd.h"

#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace qel::platform {
namespace HWY_NAMESPACE {

// Vectors of outputs that are summed side by side, which hides the latency of the additions.
constexpr size_t kColumns = 4;

void Correlate(In a, In filter, Out c, size_t count, size_t taps) {
    size_t n = 0;
    if (a.stride == 1 && c.stride == 1) {
        const hn::CappedTag<float, 16> wide;
        constexpr size_t kLanes = hn::MaxLanes(wide);
        for (; n + kColumns * kLanes <= count; n += kColumns * kLanes) {
            hn::Vec<decltype(wide)> sums[kColumns];
            for (auto& sum : sums) {
                sum = hn::Zero(wide);
            }
            for (size_t p = 0; p < taps; ++p) {
                const auto tap = hn::Set(wide, *filter.At(p));
                for (size_t column = 0; column < kColumns; ++column) {
                    const auto x = hn::LoadU(wide, a.data + n + p + column * kLanes);
                    sums[column] = hn::Add(sums[column], hn::Mul(x, tap));
                }
            }
            for (size_t column = 0; column < kColumns; ++column) {
                hn::StoreU(sums[column], wide, c.data + n + column * kLanes);
            }
        }
    }
    const auto correlation = [&](auto d, size_t at) HWY_ATTR {
        auto sum = hn::Zero(d);
        for (size_t p = 0; p < taps; ++p) {
            sum = hn::Add(sum, hn::Mul(hn::LoadU(d, a.At(at + p)), hn::Set(d, *filter.At(p))));
        }
        return sum;
    };
    if (a.stride == 1 && c.stride == 1) {
        const Full full;
        for (const size_t lanes = hn::Lanes(full); n + lanes <= count; n += lanes) {
            hn::StoreU(correlation(full, n), full, c.data + n);
        }
    }
    const One one;
    for (; n < count; ++n) {
        hn::StoreU(correlation(one, n), one, c.At(n));
    }
}

void CorrelateAndDecimate(const float* a, vDSP_Stride decimation, const float* filter, float* c,
                          size_t count, size_t taps) {
    for (size_t n = 0; n < count; ++n) {
        const float* start = a + static_cast<vDSP_Stride>(n) * decimation;
        c[n] = Reduce(
            taps, 0.0f, [](auto, auto x, auto y) HWY_ATTR { return hn::Add(x, y); },
            [](auto, auto x, auto y) HWY_ATTR { return hn::Mul(x, y); }, In{start, 1},
            In{filter, 1});
    }
}

} // namespace HWY_NAMESPACE
} // namespace qel::platform
HWY_AFTER_NAMESPACE();

#if HWY_ONCE

namespace qel::platform {
HWY_EXPORT(Correlate);
HWY_EXPORT(CorrelateAndDecimate);
} // namespace qel::platform

using namespace qel::platform;

void vDSP_conv(const float* A, vDSP_Stride IA, const float* F, vDSP_Stride IF, float* C,
               vDSP_Stride IC, vDSP_Length N, vDSP_Length P) {
    HWY_DYNAMIC_DISPATCH(Correlate)({A, IA}, {F, IF}, {C, IC}, N, P);
}

void vDSP_desamp(const float* A, vDSP_Stride DF, const float* F, float* C, vDSP_Length N,
                 vDSP_Length P) {
    HWY_DYNAMIC_DISPATCH(CorrelateAndDecimate)(A, DF, F, C, N, P);
}

#endif
