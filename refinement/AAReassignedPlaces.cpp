#include "refinement/AAReassignedPlaces.h"

#include <Accelerate/Accelerate.h>

#include <algorithm>

namespace qel::core {

void AAReassignedPlaces::Find(const float* frequencies, const float* times) {
    const UInt32 bins = Bins();
    vDSP_vfixr32(frequencies, 1, mColumns.data(), 1, bins);
    vDSP_vfixr32(times, 1, mRows.data(), 1, bins);
    for (UInt32 k = 0; k < bins; ++k) {
        mColumns[k] = std::max(std::min(mColumns[k], static_cast<int>(bins)), 1);
        mRows[k] = std::max(mRows[k], 1);
    }
}

} // namespace qel::core
