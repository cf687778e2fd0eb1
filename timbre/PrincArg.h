#pragma once

namespace qel::core {

// Wraps `count` angles in radians in place, as WrapAngles does: into the range from -pi to pi,
// where pi comes to -pi. Any thread.
void PrincArg(float* angles, unsigned count);

} // namespace qel::core
