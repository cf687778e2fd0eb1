#pragma once

#include "readings/rhythm/BarFinder.h"
#include "readings/rhythm/BeatActivity.h"
#include "readings/rhythm/BeatTimes.h"
#include "readings/rhythm/Pauses.h"

#include <QelReadings.hpp>

#include <cstddef>
#include <optional>
#include <span>
#include <vector>

namespace qel::readings {

// The beats of a stream: the path of the beats (BeatPath), read at the level of the beat
// (BeatLevel) and followed once more at that level, each moved to its attack. Beats in a pause
// after which they do not go on are left out.
class BeatFinder {
public:
    struct Result {
        BeatTimes seconds;            // of the beats
        std::vector<float> strengths; // of the onsets there, 0 to 1; 0 where there is none
        double bpm = 0;               // 0: nothing was found
        double alternativeBpm = 0;
        double levelLogOdds = 0;  // of this tempo against others at simple ratios to it
        std::size_t rivals = 0;   // readings at these other tempi
        double steadyLogOdds = 0; // of a steady tempo against none
    };

    BeatFinder(const OnsetStrength& strength, const Harmony& chroma, double framesPerSecond);

    // `parts` are those that sound.
    Result find(std::span<const TimeRange> parts) const;

    // The first path, from which the level is chosen.
    BeatTimes path() const;
    const BeatActivity& activity() const { return mActivity; }
    const BarFinder& bars() const { return mBars; }

private:
    BeatTimes timesOf(const std::vector<std::size_t>& frames) const;
    BeatTimes followed(const BeatTimes& beats) const;
    std::optional<Onset> onsetNear(double seconds, std::ptrdiff_t framesAfter) const;
    void placeOnAttacks(const BeatTimes& beats, Result& result) const;

    const OnsetStrength& mStrength;
    const double mFramesPerSecond;
    const BeatActivity mActivity;
    const BarFinder mBars;
};

} // namespace qel::readings
