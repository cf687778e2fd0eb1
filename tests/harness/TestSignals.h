// Audio that the tests make themselves. The same arguments give the same samples everywhere.
#pragma once

#include "tests/harness/TestAnalyzer.h"

#include <cstdint>

namespace qel::test {

// Several decaying harmonic notes, bursts of noise, and a low noise floor under all of it, so that
// no spectrum bin is near zero. The channels differ. Samples lie within about -1 to 1.
Audio MusicLike(double rateHz, UInt32 channels, std::size_t frames, std::uint32_t seed = 1);

// Music with a stroke every half second, every fourth of them loud: a tempo, a meter and onsets in
// three seconds. The channels differ.
Audio MusicWithStrokes(double rateHz, UInt32 channels, std::size_t frames);

Audio Sine(double rateHz, double frequencyHz, double amplitude, std::size_t frames);
Audio Constant(float value, UInt32 channels, std::size_t frames);
Audio Silence(UInt32 channels, std::size_t frames);

// Uniform noise between -amplitude and amplitude.
Audio Noise(float amplitude, UInt32 channels, std::size_t frames, std::uint32_t seed);

// One channel of zeros but for the given samples.
struct Impulse {
    std::size_t frame;
    float value;
};
Audio Impulses(std::size_t frames, const std::vector<Impulse>& impulses);

// The second stretch after the first; both have the same channels.
Audio Joined(Audio first, const Audio& second);

} // namespace qel::test
