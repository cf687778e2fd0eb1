#pragma once

#include "readings/onsets/OnsetFeatures.h"

#include <array>
#include <cstddef>
#include <span>
#include <vector>

namespace qel::readings {

// A network with one hidden layer that estimates from the features of some frames whether an onset
// lies in the middle one, and where. Its weights were fitted to the half "develop" of the material
// of docs/accuracy.md, as Schlueter and Boeck, Improved musical onset detection with convolutional
// neural networks, ICASSP, 2014, fitted theirs on recordings.
class OnsetNetwork {
public:
    static constexpr std::size_t kReach = 3; // frames before and after the middle one
    static constexpr std::size_t kFrames = 2 * kReach + 1;

    struct Answer {
        float chance = 0; // that an onset lies here
        float place = 0;  // of the onset after the begin of the middle frame, in hops
    };

    OnsetNetwork();

    // The frames in order of time.
    Answer ask(std::span<const OnsetFeatures::Values, kFrames> frames) const;

private:
    static constexpr std::size_t kHidden = 16;
    using Hidden = std::array<float, kHidden>;

    std::vector<Hidden> mWeights; // by frame and feature
    Hidden mBias{};
};

} // namespace qel::readings
