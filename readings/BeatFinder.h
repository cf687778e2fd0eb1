#pragma once

#include "readings/BarFinder.h"
#include "readings/BeatActivity.h"

#include <cstddef>
#include <optional>
#include <vector>

namespace qel::readings {

// The beats of a stream, and how its tempo was told from those at simple ratios to it.
//
// The path of the beats (BeatPath) often follows half, double or three times the beat. So several
// readings of its beats are compared, by a few figures of each: the tempo, how much begins and how
// the harmony changes on the beats and between them, and how well bars fit.
class BeatFinder {
public:
    struct Result {
        std::vector<double> seconds;  // of the beats
        std::vector<float> strengths; // of the onsets there, 0 to 1; 0 where there is none
        double bpm = 0;               // 0: nothing was found
        double alternativeBpm = 0;
        double lead = 0;       // of the chosen reading over the best of another tempo
        double spread = 0;     // of the intervals, standard deviation over mean
        double prominence = 0; // of onsets on the beats over those between them
    };

    BeatFinder(const OnsetStrength& strength, const Harmony& chroma, double framesPerSecond);

    Result find() const;

private:
    using Beats = std::vector<double>;

    static std::vector<Beats> readingsOf(const Beats& beats);
    double scoreOf(const Beats& beats) const;
    double meanAt(const std::vector<float>& curve, const Beats& times) const;
    void placeOnAttacks(const Beats& beats, Result& result) const;

    const OnsetStrength& mStrength;
    const double mFramesPerSecond;
    const BeatActivity mActivity;
    const BarFinder mBars;
};

} // namespace qel::readings
