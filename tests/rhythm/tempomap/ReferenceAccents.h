// Gamma band energies and accents once more, written plainly from their definitions alone and in
// double precision: own window, own table, own sums. Tests hold the library to it.
#pragma once

#include <array>
#include <cstddef>
#include <span>
#include <vector>

namespace qel::test {

inline constexpr std::size_t kAccentFrameSize = 1024; // samples
inline constexpr std::size_t kAccentHopSize = 512;    // samples
inline constexpr std::size_t kNumGammaBins = kAccentFrameSize / 2;
inline constexpr std::size_t kNumGammaBands = 36;
inline constexpr std::size_t kNumAccentBands = 4;

// Whole frames in a stretch of audio.
std::size_t NumAccentFrames(std::size_t samples);

// Magnitude responses by band and spectrum bin.
using GammaTable = std::array<std::array<double, kNumGammaBins>, kNumGammaBands>;
const GammaTable& GammaResponses();

// Where a band's response is greatest, in bins; its mirror image is at 512 minus that.
double GammaCentre(std::size_t band);

using GammaBands = std::array<double, kNumGammaBands>;

// One row of energies per whole frame.
std::vector<GammaBands> GammaEnergies(std::span<const float> samples);

// Gamma bands 8, 17, 26 and 35 of the accent signal.
using AccentBands = std::array<double, kNumAccentBands>;

// Two values per row of energies.
std::vector<AccentBands> Accents(const std::vector<GammaBands>& energies);

} // namespace qel::test
