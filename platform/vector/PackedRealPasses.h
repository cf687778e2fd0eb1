// The passes around a complex transform: between split and interleaved form, and those that make a
// packed real transform of N points from a complex one of M = N / 2. All vectors are of unit
// stride; interleaved ones have 2 floats per point.
#pragma once

#include "platform/vector/TransformTables.h"

#include <Accelerate/vDSPTypes.h>

#include <cstddef>

namespace qel::platform {

// Split to interleaved form.
void InterleavePass(const float* re, const float* im, float* interleaved, std::size_t points);

// Interleaved to split form.
void DeinterleavePass(const float* interleaved, float* re, float* im, std::size_t points);

// From the transform Z of the packed samples, interleaved, to the packed spectrum S of N = 2 points
// real samples: S[k] = (Z[k] + conj Z[M - k]) - i e^(-2 pi i k / N) (Z[k] - conj Z[M - k]), which
// is twice the plain transform.
void SplitPass(const float* z, const PackedRealFactors& factors, float* re, float* im,
               std::size_t points);

// The way back, before the inverse transform: interleaved, with real and imaginary part exchanged,
// Z[k] = (S[k] + conj S[M - k]) + i e^(+2 pi i k / N) (S[k] - conj S[M - k]).
void MergePass(const float* re, const float* im, const PackedRealFactors& factors, float* exchanged,
               std::size_t points);

} // namespace qel::platform
