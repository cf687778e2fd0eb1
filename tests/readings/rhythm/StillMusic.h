#pragma once

#include "readings/rhythm/BandLevels.h"
#include "readings/rhythm/BarFinder.h"
#include "readings/rhythm/BeatActivity.h"
#include "readings/rhythm/BeatTimes.h"
#include "readings/rhythm/Harmony.h"
#include "readings/rhythm/OnsetStrength.h"

#include <cstddef>
#include <vector>

namespace qel::readings::test {

constexpr double kFramesPerSecond = 100;

// The beats from the second `first` on, `count` of them at equal distances.
BeatTimes evenBeats(double bpm, std::size_t count, double first = 1);

// Onsets of height 1 in the frames of these times, which must be among them.
std::vector<float> onsetsAt(const BeatTimes& times, std::size_t frames);

// A stream of `frames` frames that never change, for classes that ask for what they do not need in
// a test. The onsets of its activity are those of the test.
class StillMusic {
public:
    explicit StillMusic(std::size_t frames);
    StillMusic(const StillMusic&) = delete;
    StillMusic& operator=(const StillMusic&) = delete;

    const OnsetStrength& strength() const { return mStrength; }
    const Harmony& chroma() const { return mChroma; }
    const BarFinder& bars() const { return mBars; }
    BeatActivity activity(const std::vector<float>& onset) const;

private:
    BandLevels mLevels;
    OnsetStrength mStrength;
    Harmony mChroma;
    BarFinder mBars;
};

} // namespace qel::readings::test
