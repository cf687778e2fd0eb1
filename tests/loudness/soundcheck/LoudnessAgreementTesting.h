// Long sounds through the sound-check analyzers, and the reference beside them.
#pragma once

#include "loudness/soundcheck/BufferedSoundCheckAnalyzer.h"
#include "tests/loudness/soundcheck/ReferenceLoudness.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace qel::test {

// Interleaved.
using Stream = std::vector<float>;

// Sound like music whose level changes every few steps, from full scale down to below the gate.
Stream MusicWithQuietPassages(unsigned rateHz, unsigned channels, std::size_t frames,
                              std::uint32_t seed);

core::CAStreamBasicDescription FloatFormat(unsigned rateHz, unsigned channels);

// One way to cut a stream into pushes.
struct Cut {
    std::string name;
    std::vector<std::size_t> pushes;
};
// Pushes of every kind of size around the step, and of mixed ones.
std::vector<Cut> Cuts(std::size_t frames);

// The figures of a finished analyzer against the reference's, for each channel. The sound must have
// excerpts on both sides of the gate.
void ExpectAgreement(const ReferenceLoudness& reference, const core::SoundCheckAnalyzer& analyzer,
                     unsigned channels);

} // namespace qel::test
