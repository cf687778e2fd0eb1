#pragma once

#include "page/pictures/LaneList.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace qel::page {

// Adds clicks to a stream. A click is a decaying sine that begins with its greatest values, so that
// its place is heard and seen to the sample.
class ClickMixer {
public:
    explicit ClickMixer(double sampleRateHz) : mSampleRateHz(sampleRateHz) {}

    // Clicks at these times, in seconds from the start of the stream.
    void Add(const Click& click, std::span<const double> seconds);

    // Adds what is heard in the next `frames` to all channels.
    void Mix(std::span<float* const> channels, std::size_t frames);

private:
    struct Placed {
        std::int64_t firstFrame;
        std::size_t sound;
    };

    const double mSampleRateHz;
    std::vector<std::vector<float>> mSounds;
    std::vector<Placed> mClicks;
    std::int64_t mFrame = 0;
    std::size_t mFirst = 0; // click that has not ended
};

// The samples of a click: gain * cos(2 pi f t) * exp(-5 t / length), which begins with its peak and
// ends at a 150th of it.
std::vector<float> ClickSound(const Click& click, double sampleRateHz);

} // namespace qel::page
