#include "readings/rhythm/SoundingParts.h"

#include "readings/stream/Curve.h"

namespace qel::readings {
namespace {

constexpr double kLoudestShare = 0.01;
constexpr float kAudible = 0.001f; // -60 dB of the level

} // namespace

float levelOf(std::span<const float> amplitudes) {
    return static_cast<float>(meanOfGreatest(amplitudes, kLoudestShare));
}

std::vector<FrameRange> soundingParts(std::span<const float> amplitudes, std::size_t pauseFrames) {
    const float least = kAudible * levelOf(amplitudes);
    std::vector<FrameRange> parts;
    for (std::size_t t = 0; t < amplitudes.size(); ++t) {
        if (amplitudes[t] <= least) {
            continue;
        }
        if (parts.empty() || t - parts.back().end > pauseFrames) {
            parts.push_back({t, t});
        }
        parts.back().end = t + 1;
    }
    return parts;
}

} // namespace qel::readings
