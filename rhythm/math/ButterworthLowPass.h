#pragma once

#include "spectral/ButterworthDesign.h"

#include <array>
#include <bit>
#include <cstdint>

namespace qel::core {

// A sixth-order Butterworth low-pass, denominator and numerator, for `filter`: 10 Hz for 172
// accents per second, and 2.56 kHz for audio at 44.1 kHz. The rounding of the coefficients makes
// the gain at 0 Hz 1.0003.
inline constexpr double kLowPassCutoff = 10.0 / (172.0 / 2.0); // -3 dB, of half the rate
inline constexpr auto kLowPass = DesignButterworthLowPass<6>(kLowPassCutoff);
inline constexpr std::array<float, 7> butterA = kLowPass.denominator;
inline constexpr std::array<float, 7> butterB = kLowPass.numerator;

using LowPassBits = std::array<std::uint32_t, 7>;
static_assert(std::bit_cast<LowPassBits>(butterA) ==
              LowPassBits{0x3F800000, 0xC092E1D9, 0x410E90C6, 0xC1157876, //
                          0x40B23D3F, 0xBFE4EC0A, 0x3E7726CF});
static_assert(std::bit_cast<LowPassBits>(butterB) ==
              LowPassBits{0x37A3AA2D, 0x38F57F43, 0x39996F8A, 0x39CC94B8, //
                          0x39996F8A, 0x38F57F43, 0x37A3AA2D});

} // namespace qel::core
