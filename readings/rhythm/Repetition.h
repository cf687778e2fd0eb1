#pragma once

#include "readings/rhythm/Harmony.h"
#include "readings/rhythm/OnsetStrength.h"

#include <array>
#include <cstddef>
#include <span>

namespace qel::readings {

// How alike beats are that stand 1 to 8 beats apart: in what begins within a beat, in harmony and
// in the bass. Music in bars repeats its patterns after a bar rather than after half of one. After
// Foote and Uchihashi, The beat spectrum: a new approach to rhythm analysis, ICME, 2001.
class Repetition {
public:
    static constexpr std::size_t kLags = 8;
    // Correlations at 1 to 8 beats, -1 to 1; near 0 where beats hardly differ.
    using Correlations = std::array<double, kLags>;

    Repetition(const OnsetStrength& strength, const Harmony& chroma, double framesPerSecond)
        : mStrength(strength), mChroma(chroma), mFramesPerSecond(framesPerSecond) {}

    // Of onsets, harmony and bass.
    static constexpr std::size_t kLayers = 3;
    using Layers = std::array<Correlations, kLayers>;
    Layers of(std::span<const double> beatSeconds) const;

private:
    const OnsetStrength& mStrength;
    const Harmony& mChroma;
    const double mFramesPerSecond;
};

} // namespace qel::readings
