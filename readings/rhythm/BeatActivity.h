#pragma once

#include "readings/rhythm/Harmony.h"
#include "readings/rhythm/OnsetStrength.h"

#include <vector>

namespace qel::readings {

// Curves over the frames of "spectrum" that rise where a beat is likely: onset strength, overall
// and in the bass, and change of harmony. About 0 to 1, counted from the mean of the second around
// each frame.
struct BeatActivity {
    std::vector<float> onset;
    std::vector<float> low;
    std::vector<float> harmony;

    BeatActivity(const OnsetStrength& strength, const Harmony& chroma, double framesPerSecond);

    // Of all three, for the path of the beats.
    std::vector<float> together() const;
};

} // namespace qel::readings
