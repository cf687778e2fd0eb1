// Largest and smallest elements. The comparisons are false for a NaN, which therefore never
// replaces the extremum found so far.

#include <Accelerate/vDSP.h>

#include <limits>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "platform/vector/vDSPExtrema.simd.cpp"
#include <hwy/foreach_target.h> // Must stand before the other headers of its kind.

#include "platform/vector/Loops.simd.h"

#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace qel::platform {
namespace HWY_NAMESPACE {

void Largest(In a, float* result, size_t count) {
    *result = Reduce(
        count, -std::numeric_limits<float>::infinity(),
        [](auto, auto best, auto x) HWY_ATTR { return hn::IfThenElse(hn::Gt(x, best), x, best); },
        [](auto, auto x) HWY_ATTR { return x; }, a);
}

void Smallest(In a, float* result, size_t count) {
    *result = Reduce(
        count, std::numeric_limits<float>::infinity(),
        [](auto, auto best, auto x) HWY_ATTR { return hn::IfThenElse(hn::Lt(x, best), x, best); },
        [](auto, auto x) HWY_ATTR { return x; }, a);
}

void LargestMagnitude(In a, float* result, size_t count) {
    *result = Reduce(
        count, 0.0f,
        [](auto, auto best, auto x) HWY_ATTR { return hn::IfThenElse(hn::Gt(x, best), x, best); },
        [](auto, auto x) HWY_ATTR { return hn::Abs(x); }, a);
}

void SmallestMagnitude(In a, float* result, size_t count) {
    *result = Reduce(
        count, std::numeric_limits<float>::infinity(),
        [](auto, auto best, auto x) HWY_ATTR { return hn::IfThenElse(hn::Lt(x, best), x, best); },
        [](auto, auto x) HWY_ATTR { return hn::Abs(x); }, a);
}

// Index of the first element for which `key` gives `value`, or 0 if there is none.
template <class Key>
HWY_INLINE size_t First(In a, float value, size_t count, const Key& key) {
    size_t n = 0;
    if (a.stride == 1) {
        const Full full;
        const auto wanted = hn::Set(full, value);
        for (const size_t lanes = hn::Lanes(full); n + lanes <= count; n += lanes) {
            const auto equal = hn::Eq(key(hn::LoadU(full, a.data + n)), wanted);
            if (!hn::AllFalse(full, equal)) {
                break; // The loop below finds the lane.
            }
        }
    }
    const One one;
    for (; n < count; ++n) {
        if (hn::GetLane(key(hn::LoadU(one, a.At(n)))) == value) {
            return n;
        }
    }
    return 0;
}

void FirstEqual(In a, float value, vDSP_Length* index, size_t count) {
    *index = First(a, value, count, [](auto x) HWY_ATTR { return x; });
}

void FirstEqualMagnitude(In a, float value, vDSP_Length* index, size_t count) {
    *index = First(a, value, count, [](auto x) HWY_ATTR { return hn::Abs(x); });
}

} // namespace HWY_NAMESPACE
} // namespace qel::platform
HWY_AFTER_NAMESPACE();

#if HWY_ONCE

namespace qel::platform {
HWY_EXPORT(Largest);
HWY_EXPORT(Smallest);
HWY_EXPORT(LargestMagnitude);
HWY_EXPORT(SmallestMagnitude);
HWY_EXPORT(FirstEqual);
HWY_EXPORT(FirstEqualMagnitude);
} // namespace qel::platform

using namespace qel::platform;

void vDSP_maxv(const float* A, vDSP_Stride IA, float* C, vDSP_Length N) {
    HWY_DYNAMIC_DISPATCH(Largest)({A, IA}, C, N);
}

void vDSP_minv(const float* A, vDSP_Stride IA, float* C, vDSP_Length N) {
    HWY_DYNAMIC_DISPATCH(Smallest)({A, IA}, C, N);
}

void vDSP_maxmgv(const float* A, vDSP_Stride IA, float* C, vDSP_Length N) {
    HWY_DYNAMIC_DISPATCH(LargestMagnitude)({A, IA}, C, N);
}

void vDSP_minmgv(const float* A, vDSP_Stride IA, float* C, vDSP_Length N) {
    HWY_DYNAMIC_DISPATCH(SmallestMagnitude)({A, IA}, C, N);
}

void vDSP_maxvi(const float* A, vDSP_Stride IA, float* C, vDSP_Length* I, vDSP_Length N) {
    HWY_DYNAMIC_DISPATCH(Largest)({A, IA}, C, N);
    HWY_DYNAMIC_DISPATCH(FirstEqual)({A, IA}, *C, I, N);
    *I *= static_cast<vDSP_Length>(IA);
}

void vDSP_maxmgvi(const float* A, vDSP_Stride IA, float* C, vDSP_Length* I, vDSP_Length N) {
    HWY_DYNAMIC_DISPATCH(LargestMagnitude)({A, IA}, C, N);
    HWY_DYNAMIC_DISPATCH(FirstEqualMagnitude)({A, IA}, *C, I, N);
    *I *= static_cast<vDSP_Length>(IA);
}

#endif
