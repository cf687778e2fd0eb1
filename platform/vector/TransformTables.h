// What transforms of each size need, made once per size and kept for the life of the process: the
// plans, and the factors of the packed real transform. This cache is the only state that the
// threads of the process share; it only ever grows, and finished entries are read without a lock.
#pragma once

#include "platform/vector/ComplexTransform.h"

#include <cstddef>

namespace qel::platform {

// The largest transform: 2^30 points. Real, for it is packed into half as many complex ones.
inline constexpr unsigned kMaxLog2Size = 30;

// The plan for 2^log2Size complex points, log2Size from 0 to kMaxLog2Size: a complex transform of
// its own may be as large as a real one.
// Returns null if memory is exhausted. Any thread.
const ComplexTransform* FindTransform(unsigned log2Size);

// The factors that turn a complex transform of half the size into a real one.
struct PackedRealFactors {
    const float* cosines; // cos(2 pi k / size), k from 0 to size / 4
    const float* sines;   // sin(2 pi k / size), likewise
};

// The factors for 2^log2Size real points, log2Size from 1 to kMaxLog2Size.
// Returns null if memory is exhausted. Any thread.
const PackedRealFactors* FindPackedRealFactors(unsigned log2Size);

} // namespace qel::platform
