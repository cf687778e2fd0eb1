#pragma once

#include "readings/rhythm/BarFinder.h"
#include "readings/rhythm/BeatActivity.h"
#include "readings/rhythm/BeatTimes.h"

#include <cstddef>
#include <vector>

namespace qel::readings {

// The beats of a stream: the path of the beats (BeatPath), read at the level of the beat
// (BeatLevel), each moved to its attack.
class BeatFinder {
public:
    struct Result {
        BeatTimes seconds;            // of the beats
        std::vector<float> strengths; // of the onsets there, 0 to 1; 0 where there is none
        double bpm = 0;               // 0: nothing was found
        double alternativeBpm = 0;
        double levelLogOdds = 0;  // of this tempo against others at simple ratios to it
        double steadyLogOdds = 0; // of a steady tempo against none
    };

    BeatFinder(const OnsetStrength& strength, const Harmony& chroma, double framesPerSecond);

    Result find() const;

private:
    void placeOnAttacks(const BeatTimes& beats, Result& result) const;

    const OnsetStrength& mStrength;
    const double mFramesPerSecond;
    const BeatActivity mActivity;
    const BarFinder mBars;
};

} // namespace qel::readings
