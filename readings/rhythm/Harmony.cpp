#include "readings/rhythm/Harmony.h"

#include <algorithm>
#include <cmath>

namespace qel::readings {
namespace {

constexpr std::size_t kBins = 2048;
constexpr double kFrameSamples = 4096;
// A sine of amplitude 1 has 2048 in "mel spectrum".
constexpr float kGain = 100.0f / 2048;
// The middle of frame j of "mel spectrum" (4096 by 2048) and that of frame 4 j + 3 of "spectrum"
// (1024 by 512) are the same sample.
constexpr std::size_t kHopsPerFrame = 4;
constexpr double kOffset = 3;

} // namespace

Harmony::Harmony(double sampleRateHz)
    : mSharesOfAll(shares(100, 2000, sampleRateHz / kFrameSamples)),
      mSharesOfBass(shares(35, 180, sampleRateHz / kFrameSamples)) {}

// A bin counts for the nearest semitone, the less the further it is from it.
std::vector<Harmony::Share> Harmony::shares(double lowestHz, double highestHz, double binHz) {
    std::vector<Share> found;
    for (std::size_t k = 1; k < kBins; ++k) {
        const double hz = static_cast<double>(k) * binHz;
        if (hz < lowestHz || hz > highestHz) {
            continue;
        }
        const double pitch = 69 + 12 * std::log2(hz / 440);
        const double nearest = std::nearbyint(pitch);
        found.push_back({static_cast<std::uint16_t>(k),
                         static_cast<std::uint16_t>(static_cast<std::size_t>(nearest) % kClasses),
                         static_cast<float>(1 - std::abs(pitch - nearest))});
    }
    return found;
}

Harmony::Chroma Harmony::fold(const std::vector<Share>& shares, std::span<const float> magnitudes) {
    Chroma chroma{};
    for (const Share& share : shares) {
        chroma[share.pitchClass] += share.weight * magnitudes[share.bin];
    }
    return chroma;
}

void Harmony::add(std::span<const float> magnitudes) {
    mAll.push_back(fold(mSharesOfAll, magnitudes));
    mBass.push_back(fold(mSharesOfBass, magnitudes));
}

void Harmony::makeChroma(std::vector<Chroma>& frames, float gain, std::size_t framesLeftOut) {
    frames.erase(frames.begin(), frames.begin() + static_cast<std::ptrdiff_t>(
                                                      std::min(framesLeftOut, frames.size())));
    for (Chroma& chroma : frames) {
        for (float& value : chroma) {
            value = std::log1p(kGain * gain * value);
        }
    }
}

void Harmony::finish(float gain, std::size_t hopsLeftOut) {
    makeChroma(mAll, gain, hopsLeftOut / kHopsPerFrame);
    makeChroma(mBass, gain, hopsLeftOut / kHopsPerFrame);
}

void Harmony::reset() {
    mAll.clear();
    mBass.clear();
}

Harmony::Chroma Harmony::mean(const std::vector<Chroma>& frames, double begin, double end) {
    Chroma sum{};
    if (frames.empty()) {
        return sum;
    }
    const double last = static_cast<double>(frames.size() - 1);
    const auto first = static_cast<std::ptrdiff_t>(std::max(begin, 0.0));
    const auto count = std::max<std::ptrdiff_t>(static_cast<std::ptrdiff_t>(end) - first, 1);
    for (std::ptrdiff_t hop = first; hop < first + count; ++hop) {
        const double place =
            std::clamp((static_cast<double>(hop) - kOffset) / kHopsPerFrame, 0.0, last);
        const auto left = static_cast<std::size_t>(place);
        const std::size_t right = std::min(left + 1, frames.size() - 1);
        const auto share = static_cast<float>(place - static_cast<double>(left));
        for (std::size_t p = 0; p < kClasses; ++p) {
            sum[p] += frames[left][p] * (1 - share) + frames[right][p] * share;
        }
    }
    for (float& value : sum) {
        value /= static_cast<float>(count);
    }
    return sum;
}

float Harmony::distance(const Chroma& a, const Chroma& b) {
    // What hardly sounds has no harmony that could change; 0.5 is a tone at about -40 dB.
    constexpr float kAudible = 0.5f;
    float dot = 0;
    float aa = 0;
    float bb = 0;
    for (std::size_t p = 0; p < kClasses; ++p) {
        dot += a[p] * b[p];
        aa += a[p] * a[p];
        bb += b[p] * b[p];
    }
    const float scale = std::sqrt(aa * bb);
    const float share = std::min(std::min(aa, bb) / kAudible, 1.0f);
    return scale > 0 ? share * std::max(1 - dot / scale, 0.0f) : 0;
}

} // namespace qel::readings
