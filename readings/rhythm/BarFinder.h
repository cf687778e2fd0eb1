#pragma once

#include "readings/rhythm/Harmony.h"
#include "readings/rhythm/OnsetStrength.h"

#include <array>
#include <cstddef>
#include <span>
#include <vector>

namespace qel::readings {

// Bars over given beats: how many beats they have, and which beat is their first. A logistic
// function of what changes at a beat (harmony, bass, the strength of what begins) tells how likely
// it is a down beat; of 2, 3, 4, 5 and 7 beats and all their phases, the likeliest is taken. Where
// hardly anything tells, there are no bars.
// Harmony changes on down beats: Goto, An audio-based real-time beat tracking system for music with
// or without drum-sounds, J. New Music Research 30(2), 2001; Davies and Plumbley, A spectral
// difference approach to downbeat extraction in musical audio, EUSIPCO, 2006.
class BarFinder {
public:
    struct Result {
        int beatsPerBar = 0;   // 0: too few beats, or beats that are all the same
        std::size_t phase = 0; // the first down beat
        double score = 0;      // how well bars of any length fit
        double logOdds = 0;    // of this number of beats against the others
    };

    BarFinder(const OnsetStrength& strength, const Harmony& chroma, double framesPerSecond)
        : mStrength(strength), mChroma(chroma), mFramesPerSecond(framesPerSecond) {}

    // What changes at each of two beats or more: in all and in the bass, from the beat before to
    // this one and over two beats; and the strength of what begins, in the bass, over all, in the
    // middle and above.
    static constexpr std::size_t kFeatures = 8;
    using Features = std::array<std::vector<double>, kFeatures>;

    Result find(std::span<const double> beatSeconds) const;

    // All of mean 0, and of deviation 1 or less.
    Features featuresOf(std::span<const double> beatSeconds) const;

private:
    const OnsetStrength& mStrength;
    const Harmony& mChroma;
    const double mFramesPerSecond;
};

} // namespace qel::readings
