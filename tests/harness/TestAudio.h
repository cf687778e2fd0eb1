#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace qel {

// A whole signal: one buffer per channel.
using Planes = std::vector<std::vector<float>>;

// amplitude * sin(2 pi (n + 1/2) / period): no sample is zero for an even period, so that its
// crossings of zero can be counted.
std::vector<float> Sine(std::size_t frames, double periodSamples, double amplitude);

// Silence with a burst of 16 samples, the first of which is by far the largest of the signal.
std::vector<float> Click(std::size_t frames, std::size_t position);

// Strokes of a low drum at a steady tempo over a whisper of noise, at 44100 Hz, from 0.2 s on;
// every meter-th one from the first on is twice as loud.
std::vector<float> Drums(double seconds, double bpm, int meter);

// White noise, the same in every run.
std::vector<float> Noise(std::size_t frames, float amplitude);

// WAV files of 32-bit floats and of 16-bit integers.
void WriteFloatWav(const std::string& path, int rateHz, const Planes& planes);
void WriteWav(const std::string& path, int rateHz, const Planes& planes);

// A WAV file of 16-bit integers with the same samples many times over, written piece by piece.
void WriteRepeatedWav(const std::string& path, int rateHz, const std::vector<float>& samples,
                      std::size_t times);

// Makes a file in another format with the ffmpeg command; the path's extension chooses the
// container, arguments the rest ("-c:a libmp3lame"). Throws if that fails.
void Encode(const std::string& wav, const std::string& path,
            const std::vector<std::string>& arguments);

} // namespace qel
