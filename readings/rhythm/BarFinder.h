#pragma once

#include "readings/rhythm/Harmony.h"
#include "readings/rhythm/OnsetStrength.h"
#include "readings/rhythm/Repetition.h"

#include <array>
#include <cstddef>
#include <span>
#include <vector>

namespace qel::readings {

// Bars over given beats: how many beats they have, and which beat is their first. Each meter of 2,
// 3, 4, 5 or 7 beats has weights for what changes at each beat of its bar (harmony, bass, the
// strength of what begins), for how alike beats a bar apart are, and for how beats are divided.
// Bars near 2 s are preferred. The likeliest meter and phase are taken. Beats that sound all the
// same have no bars. Harmony changes on down beats: Goto, An audio-based real-time beat tracking
// system for music with or without drum-sounds, J. New Music Research 30(2), 2001; Davies and
// Plumbley, A spectral difference approach to downbeat extraction in musical audio, EUSIPCO, 2006.
// Bars last about 2 s: de Clercq, Measuring a measure: absolute time as a factor for determining
// bar lengths and meter in pop/rock music, Music Theory Online 22(3), 2016.
class BarFinder {
public:
    struct Result {
        int beatsPerBar = 0;   // 0: too few beats, or beats that are all the same
        std::size_t phase = 0; // the first down beat
        double score = 0;      // how well bars of any meter fit, whatever their length in seconds
        double leadOfTwo = 0;  // how much better bars of two beats fit than any others, or 0
        double logOdds = 0;    // of this number of beats against the others
    };

    BarFinder(const OnsetStrength& strength, const Harmony& chroma, double framesPerSecond)
        : mStrength(strength), mChroma(chroma), mFramesPerSecond(framesPerSecond),
          mRepetition(strength, chroma, framesPerSecond) {}

    // What changes at each of two beats or more: in all and in the bass, from the beat before to
    // this one and over two beats; and the strength of what begins, in the bass, over all, in the
    // middle and above.
    static constexpr std::size_t kFeatures = 8;
    using Features = std::array<std::vector<double>, kFeatures>;

    struct Evidence {
        Features features; // all of mean 0, and of deviation 1 or less
        Repetition::Layers repetition;
        double variety = 0; // how much beats differ in level, 0 where they are the same
        double thirds = 0;  // -1 where beats are divided into halves, 1 where into thirds
    };

    Result find(std::span<const double> beatSeconds) const;
    // What is added to the score of a meter whose bars have this length: 0 at 2 s, and less for
    // lengths that are further from it in octaves.
    static double lengthScore(double barSeconds);
    // Of two beats or more; of fewer than four, the variety is 0.
    Evidence evidenceOf(std::span<const double> beatSeconds) const;

private:
    Features featuresOf(std::span<const double> beatSeconds) const;
    double varietyOf(std::span<const double> beatSeconds) const;
    double thirdsOf(std::span<const double> beatSeconds) const;

    const OnsetStrength& mStrength;
    const Harmony& mChroma;
    const double mFramesPerSecond;
    const Repetition mRepetition;
};

} // namespace qel::readings
