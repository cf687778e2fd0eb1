// One channel of audio by formula, for tests that need no analyzer to make it. The same arguments
// give the same samples everywhere.
#pragma once

#include <cstddef>
#include <vector>

namespace qel::test {

// amplitude * sin(2 pi (n + 1/2) / period): no sample is zero for an even period, so that its
// crossings of zero can be counted.
std::vector<float> Sine(std::size_t frames, double periodSamples, double amplitude);

// Silence with a burst of 16 samples, the first of which is by far the largest of the signal.
std::vector<float> Click(std::size_t frames, std::size_t position);

// White noise.
std::vector<float> Noise(std::size_t frames, float amplitude, unsigned seed = 1);

// Strokes of a low drum at a steady tempo over a whisper of noise, at 44100 Hz, from 0.2 s on;
// every meter-th one from the first on is twice as loud. The end may cut the last one.
std::vector<float> Drums(double seconds, double bpm, int meter);

} // namespace qel::test
