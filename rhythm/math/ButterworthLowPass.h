#pragma once

namespace qel::core {

// A sixth-order Butterworth low-pass, denominator and numerator, for `filter`: -3 dB at 0.116279 of
// half the rate. That is 10 Hz for 172 accents per second, and 2.56 kHz for audio at 44.1 kHz. The
// gain at 0 Hz is 1.0003.
inline constexpr float butterA[] = {1.0f,
                                    -4.59006929397583f,
                                    8.910345077514648f,
                                    -9.341909408569336f,
                                    5.569976329803467f,
                                    -1.7884533405303955f,
                                    0.24135898053646088f};
inline constexpr float butterB[] = {1.951035847014282e-05f, 0.00011706214718287811f,
                                    0.0002926553715951741f, 0.00039020716212689877f,
                                    0.0002926553715951741f, 0.00011706214718287811f,
                                    1.951035847014282e-05f};

} // namespace qel::core
