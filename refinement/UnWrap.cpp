#include "refinement/UnWrap.h"

namespace qel::core {

void UnWrap(const float* in, float* out, unsigned count) {
    if (count == 0) {
        return;
    }
    constexpr float kPi = std::numbers::pi_v<float>;
    for (unsigned i = 1; i < count; ++i) {
        const float difference = in[i] - in[i - 1];
        const float step = WrapAngle(difference) - difference;
        out[i] = std::fabs(difference) < kPi ? 0.0F : step;
    }
    float correction = 0.0F;
    for (unsigned i = 1; i < count; ++i) {
        correction += out[i];
        out[i] = in[i] + correction;
    }
    out[0] = in[0];
}

} // namespace qel::core
