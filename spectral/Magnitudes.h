#pragma once

#include <Accelerate/Accelerate.h>

#include <cstddef>

namespace qel::core {

// Magnitudes of split complex values, as vDSP_zvabs gives them to the last bit, with what else is
// wanted of the values in the same pass. None keeps state; all may run in any thread.

struct MagnitudeRange {
    float least;
    float greatest;
};

// out[k] = |values[k]| for k below count. Returns the least and the greatest, without those that
// are no number: infinity and 0 if there are none.
MagnitudeRange MagnitudesAndRange(const DSPSplitComplex& values, float* out, std::size_t count);

// Moves values 1 to `count` down by one place, in place, so that values[k] is what was
// values[k + 1], and leaves their magnitudes in out.
void MoveDownWithMagnitudes(const DSPSplitComplex& values, float* out, std::size_t count);

} // namespace qel::core
