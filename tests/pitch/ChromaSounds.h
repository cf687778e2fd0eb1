// Sounds with pitch classes that are known beforehand. All have one channel.
#pragma once

#include "tests/harness/TestAnalyzer.h"

#include <cstddef>
#include <span>
#include <vector>

namespace qel::test {

// Twelve steady sines in the octave from 8372 Hz on, as strong as the pitch classes of a key's
// profile are above its least one. Their correlation is greatest with that profile. Each lies on a
// bin of the transform and so leaks into its two neighbours alone; so far up even a sound of 512
// samples keeps its semitones apart.
Audio KeySound(std::size_t key, double rateHz, std::size_t frames, double amplitude = 0.05);

// Stretches of such sounds, one after the other. Each is 80 dB louder than the one before, so that
// a frame that has anything of two of them sounds like the later one.
struct KeyStretch {
    std::size_t key;
    std::size_t frames; // of the analysis that have the stretch as their loudest
};
Audio KeyStretches(std::span<const KeyStretch> stretches, double rateHz);

// Notes of six harmonics, numbered in semitones from 261.6 Hz, all at once.
Audio Chord(std::span<const int> notes, double rateHz, std::size_t frames);
// The notes one after the other, each as long, and fading.
Audio Melody(std::span<const int> notes, double rateHz, std::size_t framesPerNote);

// Root, third and fifth of a key, and its scale up to the octave (of minor keys the natural one).
std::vector<int> TriadOf(std::size_t key);
std::vector<int> ScaleOf(std::size_t key);

} // namespace qel::test
