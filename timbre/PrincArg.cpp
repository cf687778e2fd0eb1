#include "timbre/PrincArg.h"

#include "refinement/UnWrap.h"

namespace qel::core {

void PrincArg(float* angles, unsigned count) {
    WrapAngles(angles, count);
}

} // namespace qel::core
