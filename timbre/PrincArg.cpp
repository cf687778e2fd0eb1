#include "timbre/PrincArg.h"

#include "spectral/phase/UnWrap.h"

namespace qel::core {

void PrincArg(float* angles, unsigned count) {
    WrapAngles(angles, count);
}

} // namespace qel::core
