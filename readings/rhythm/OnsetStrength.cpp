#include "readings/rhythm/OnsetStrength.h"

#include <algorithm>
#include <cmath>
#include <numeric>
#include <utility>

namespace qel::readings {
namespace {

constexpr double kMiddleFromHz = 160;
constexpr double kHighFromHz = 2500;
// A sine of amplitude 1 has 512 in "spectrum". Levels are the decimal logarithm of 1 + 1000 times
// the amplitude, for a stream of the usual level: what is 60 dB below full scale hardly counts.
constexpr float kGain = 1000.0f / 512 * kUsualLevel;

} // namespace

OnsetStrength::OnsetStrength(const BandLevels& levels, float level, FrameRange frames)
    : mBands(levels.bands()) {
    for (std::size_t b = 0; b < mBands; ++b) {
        mFirstMiddle += levels.centreHz(b) < kMiddleFromHz ? 1 : 0;
        mFirstHigh += levels.centreHz(b) < kHighFromHz ? 1 : 0;
    }
    const float gain = kGain / level;
    std::vector<float> now(mBands);
    std::vector<float> before(mBands);
    for (std::size_t t = frames.first; t < frames.end; ++t) {
        std::swap(now, before);
        std::ranges::transform(levels.frame(t), now.begin(),
                               [&](float magnitude) { return std::log10(1 + gain * magnitude); });
        appendMagnitudes(levels.frame(t));
        append(t > frames.first ? risesOf(now, before) : Rises{}); // nothing comes before the first
    }
}

OnsetStrength::Rises OnsetStrength::risesOf(std::span<const float> now,
                                            std::span<const float> before) const {
    Rises rises;
    for (std::size_t b = 0; b < mBands; ++b) {
        const std::size_t first = b == 0 ? 0 : b - 1;
        const std::size_t last = std::min(b + 1, mBands - 1);
        const float greatest = *std::max_element(&before[first], &before[last] + 1);
        (b < mFirstMiddle ? rises.low
         : b < mFirstHigh ? rises.middle
                          : rises.high) += std::max(now[b] - greatest, 0.0f);
    }
    return rises;
}

void OnsetStrength::append(const Rises& rises) {
    const auto mean = [](float sum, std::size_t bands) {
        return bands > 0 ? sum / static_cast<float>(bands) : 0.0f;
    };
    mAll.push_back(mean(rises.low + rises.middle + rises.high, mBands));
    mLow.push_back(mean(rises.low, mFirstMiddle));
    mMiddle.push_back(mean(rises.middle, mFirstHigh - mFirstMiddle));
    mHigh.push_back(mean(rises.high, mBands - mFirstHigh));
}

void OnsetStrength::appendMagnitudes(std::span<const float> frame) {
    const auto middle = frame.begin() + static_cast<std::ptrdiff_t>(mFirstMiddle);
    const auto high = frame.begin() + static_cast<std::ptrdiff_t>(mFirstHigh);
    mMagnitudes[0].push_back(std::accumulate(frame.begin(), middle, 0.0f));
    mMagnitudes[1].push_back(std::accumulate(middle, high, 0.0f));
    mMagnitudes[2].push_back(std::accumulate(high, frame.end(), 0.0f));
}

} // namespace qel::readings
