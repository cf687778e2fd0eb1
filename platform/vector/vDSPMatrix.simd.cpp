// The matrix product. A row of the result is built from rows of B, several vectors at a time, which
// keeps every element's sum in ascending order; a single column of B is a dot product per row.

#include <Accelerate/vDSP.h>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "platform/vector/vDSPMatrix.simd.cpp"
#include <hwy/foreach_target.h> // Must stand before the other headers of its kind.

#include "platform/vector/Loops.simd.h"

#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace qel::platform {
namespace HWY_NAMESPACE {

constexpr size_t kColumns = 4;

// c[0 .. Vectors * lanes) = sum over p of a[p] * b[p * rowLength ...], all of unit stride.
template <size_t Vectors, class D>
HWY_INLINE void RowTimesColumns(D d, const float* a, const float* b, size_t rowLength, float* c,
                                size_t inner) {
    constexpr size_t kLanes = hn::MaxLanes(d);
    hn::Vec<D> sums[Vectors];
    for (auto& sum : sums) {
        sum = hn::Zero(d);
    }
    for (size_t p = 0; p < inner; ++p) {
        const auto factor = hn::Set(d, a[p]);
        for (size_t v = 0; v < Vectors; ++v) {
            const auto row = hn::LoadU(d, b + p * rowLength + v * kLanes);
            sums[v] = hn::Add(sums[v], hn::Mul(factor, row));
        }
    }
    for (size_t v = 0; v < Vectors; ++v) {
        hn::StoreU(sums[v], d, c + v * kLanes);
    }
}

void MatrixMultiply(In a, In b, Out c, size_t rows, size_t columns, size_t inner) {
    const bool unit = a.stride == 1 && b.stride == 1 && c.stride == 1;
    const hn::CappedTag<float, 16> wide;
    constexpr size_t kLanes = hn::MaxLanes(wide);
    for (size_t m = 0; m < rows; ++m) {
        if (columns == 1) {
            *c.At(m) = Reduce(
                inner, 0.0f, [](auto, auto x, auto y) HWY_ATTR { return hn::Add(x, y); },
                [](auto, auto x, auto y) HWY_ATTR { return hn::Mul(x, y); },
                In{a.At(m * inner), a.stride}, b);
            continue;
        }
        size_t n = 0;
        if (unit) {
            const float* row = a.data + m * inner;
            float* result = c.data + m * columns;
            for (; n + kColumns * kLanes <= columns; n += kColumns * kLanes) {
                RowTimesColumns<kColumns>(wide, row, b.data + n, columns, result + n, inner);
            }
            for (; n + kLanes <= columns; n += kLanes) {
                RowTimesColumns<1>(wide, row, b.data + n, columns, result + n, inner);
            }
        }
        for (; n < columns; ++n) {
            float sum = 0.0f;
            for (size_t p = 0; p < inner; ++p) {
                sum += *a.At(m * inner + p) * *b.At(p * columns + n);
            }
            *c.At(m * columns + n) = sum;
        }
    }
}

} // namespace HWY_NAMESPACE
} // namespace qel::platform
HWY_AFTER_NAMESPACE();

#if HWY_ONCE

namespace qel::platform {
HWY_EXPORT(MatrixMultiply);
} // namespace qel::platform

using namespace qel::platform;

void vDSP_mmul(const float* A, vDSP_Stride IA, const float* B, vDSP_Stride IB, float* C,
               vDSP_Stride IC, vDSP_Length M, vDSP_Length N, vDSP_Length P) {
    HWY_DYNAMIC_DISPATCH(MatrixMultiply)({A, IA}, {B, IB}, {C, IC}, M, N, P);
}

#endif
