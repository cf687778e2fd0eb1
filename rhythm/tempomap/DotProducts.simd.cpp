// Four rows are formed at once: a vector of the shared factor is loaded once for all of them, and
// their sums are enough additions in flight to hide the time of each. Vectors of four lanes have 16
// sums, which is all that SSE has registers for.
//
// kPartialSums and the fold decide the last bits of a product and must not change. The number of
// rows may.

#include "rhythm/tempomap/DotProducts.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "rhythm/tempomap/DotProducts.simd.cpp"
#include <hwy/foreach_target.h> // Must stand before the other headers of its kind.

#include <hwy/highway.h>

#include <cstddef>
#include <utility>

HWY_BEFORE_NAMESPACE();
namespace qel::core {
namespace HWY_NAMESPACE {

namespace hn = hwy::HWY_NAMESPACE;

// Partial sums of a row: product n goes to partial sum n mod kPartialSums. The number is that of no
// particular instruction set, so that sums come out the same on all of them.
constexpr std::size_t kPartialSums = 16;

using Wide = hn::CappedTag<float, kPartialSums>;
constexpr std::size_t kLanes = hn::MaxLanes(Wide());
constexpr std::size_t kVectors = kPartialSums / kLanes;

// Adds vector `v` of the products at n to the partial sums of all rows. Indices of sums are
// constants, so that sums stay in registers.
template <std::size_t v, class V, std::size_t... kRows>
HWY_INLINE void AddProducts(const float* shared, const float* rows, std::size_t stride,
                            std::size_t n, V* sums, std::index_sequence<kRows...>) {
    const Wide d;
    const auto factor = hn::LoadU(d, shared + n + v * kLanes);
    ((sums[kRows * kVectors + v] =
          hn::Add(sums[kRows * kVectors + v],
                  hn::Mul(factor, hn::LoadU(d, rows + kRows * stride + n + v * kLanes)))),
     ...);
}

template <class V, std::size_t... kVectorIndices, class Rows>
HWY_INLINE void AddAllProducts(const float* shared, const float* rows, std::size_t stride,
                               std::size_t n, V* sums, std::index_sequence<kVectorIndices...>,
                               Rows indices) {
    (AddProducts<kVectorIndices>(shared, rows, stride, n, sums, indices), ...);
}

// Adds the upper half of 2 * kHalf partial sums to the lower one, and so on down to one.
template <std::size_t kHalf>
HWY_INLINE float Fold(float* partials) {
    const hn::CappedTag<float, kHalf> d;
    for (std::size_t p = 0; p < kHalf; p += hn::Lanes(d)) {
        hn::Store(hn::Add(hn::Load(d, partials + p), hn::Load(d, partials + kHalf + p)), d,
                  partials + p);
    }
    if constexpr (kHalf > 1) {
        return Fold<kHalf / 2>(partials);
    } else {
        return partials[0];
    }
}

template <std::size_t kRows>
HWY_INLINE void FormRows(const float* shared, std::size_t length, const float* rows,
                         std::size_t stride, float* out) {
    const Wide d;
    hn::Vec<Wide> sums[kRows * kVectors];
    for (auto& sum : sums) {
        sum = hn::Zero(d);
    }
    std::size_t n = 0;
    for (; n + kPartialSums <= length; n += kPartialSums) {
        AddAllProducts(shared, rows, stride, n, sums, std::make_index_sequence<kVectors>(),
                       std::make_index_sequence<kRows>());
    }
    HWY_ALIGN float partials[kRows * kPartialSums];
    for (std::size_t i = 0; i < kRows * kVectors; ++i) {
        hn::Store(sums[i], d, partials + i * kLanes);
    }
    for (std::size_t r = 0; r < kRows; ++r) {
        float* const own = partials + r * kPartialSums;
        for (std::size_t i = n; i < length; ++i) {
            own[i - n] += shared[i] * rows[r * stride + i];
        }
        out[r] = Fold<kPartialSums / 2>(own);
    }
}

void FormAll(const float* shared, std::size_t length, const float* rows, std::size_t stride,
             std::size_t count, float* out) {
    constexpr std::size_t kRows = 4;
    std::size_t r = 0;
    for (; r + kRows <= count; r += kRows) {
        FormRows<kRows>(shared, length, rows + r * stride, stride, out + r);
    }
    for (; r < count; ++r) {
        FormRows<1>(shared, length, rows + r * stride, stride, out + r);
    }
}

} // namespace HWY_NAMESPACE
} // namespace qel::core
HWY_AFTER_NAMESPACE();

#if HWY_ONCE

namespace qel::core {

HWY_EXPORT(FormAll);

void DotProducts(const float* shared, std::size_t length, const float* rows, std::size_t stride,
                 std::size_t count, float* out) {
    HWY_DYNAMIC_DISPATCH(FormAll)(shared, length, rows, stride, count, out);
}

} // namespace qel::core

#endif
