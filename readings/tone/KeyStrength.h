#pragma once

#include "readings/tone/PitchClasses.h"

#include <array>
#include <cstddef>

namespace qel::readings {

// What tells how likely the key that was found is right, or that there is a key at all.
struct KeyEvidence {
    double correlation = 0; // of the pitch classes with the profile of the key
    double lead = 0;        // over the best of the other keys
    double seconds = 0;     // that sound
    double agreement = 0;   // correlation of the pitch classes of the even and of the odd seconds
    PitchClasses::Chroma chroma{};
};

constexpr std::size_t kKeyFigures = 6;

// What the logistic function of the strength weighs: correlation, lead, the logarithm of the
// seconds, how many classes are missing from seven, agreement, and the logarithm of how far the
// classes are from equal strength. The correlation is above 0.
std::array<double, kKeyFigures> keyFigures(const KeyEvidence& evidence);

// The chance that the key is right: 0 to 1. Where it is below 0.15, there is no key, and the
// strength is 0.
float keyStrength(const KeyEvidence& evidence);

} // namespace qel::readings
