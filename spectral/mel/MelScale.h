#pragma once

namespace qel::core {

// A mel scale that is linear below 1000 Hz, 200 / 3 Hz per step, and logarithmic above, where 27
// steps are a factor of 6.4. The constants are the single-precision values in use.

inline constexpr float kMelLinearSpacingHz = 66.66666412353516f;
inline constexpr float kMelLogSpacing = 1.0711703300476074f; // 6.4^(1/27), a frequency ratio
inline constexpr float kMelTurningPointHz = 1000.0f;
inline constexpr float kMelTurningPoint = 15.000000953674316f; // in steps: 1000 Hz

// From a frequency in Hz to steps, and back. Any thread.
float Hz2Mel2(float hz);
float Mel2Hz2(float mel);

} // namespace qel::core
