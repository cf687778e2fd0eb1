#pragma once

#include <MacTypes.h>

namespace qel::core {

// Takes the mean out of `count` values and multiplies them by a window, in place: to the last bit
// what vDSP_meanv, vDSP_vsadd and vDSP_vmul give, in one pass less. Keeps no state, runs in any
// thread.
void CenterAndWindow(float* values, const float* window, UInt32 count);

} // namespace qel::core
