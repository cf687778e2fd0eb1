#include "page/ClickMixer.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace qel::page {

std::vector<float> ClickSound(const Click& click, double sampleRateHz) {
    constexpr double kDecay = 5;
    std::vector<float> samples(static_cast<std::size_t>(std::lround(click.seconds * sampleRateHz)));
    for (std::size_t i = 0; i < samples.size(); ++i) {
        const double t = static_cast<double>(i) / sampleRateHz;
        samples[i] =
            static_cast<float>(click.gain * std::cos(2 * std::numbers::pi * click.frequencyHz * t) *
                               std::exp(-kDecay * t / click.seconds));
    }
    return samples;
}

void ClickMixer::Add(const Click& click, std::span<const double> seconds) {
    mSounds.push_back(ClickSound(click, mSampleRateHz));
    for (const double time : seconds) {
        mClicks.push_back({std::llround(time * mSampleRateHz), mSounds.size() - 1});
    }
    std::ranges::stable_sort(mClicks, {}, &Placed::firstFrame);
}

void ClickMixer::Mix(std::span<float* const> channels, std::size_t frames) {
    const std::int64_t end = mFrame + static_cast<std::int64_t>(frames);
    for (std::size_t i = mFirst; i < mClicks.size() && mClicks[i].firstFrame < end; ++i) {
        const Placed& click = mClicks[i];
        const std::vector<float>& sound = mSounds[click.sound];
        const auto length = static_cast<std::int64_t>(sound.size());
        if (i == mFirst && click.firstFrame + length <= mFrame) {
            ++mFirst;
            continue;
        }
        const std::int64_t first = std::max(mFrame, click.firstFrame);
        const std::int64_t last = std::min(end, click.firstFrame + length);
        for (std::int64_t frame = first; frame < last; ++frame) {
            for (float* channel : channels) {
                channel[frame - mFrame] +=
                    sound[static_cast<std::size_t>(frame - click.firstFrame)];
            }
        }
    }
    mFrame = end;
}

} // namespace qel::page
