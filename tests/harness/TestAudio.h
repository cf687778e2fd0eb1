// Files of audio.
#pragma once

#include "tests/harness/Waveforms.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace qel::test {

// A whole signal: one buffer per channel.
using Planes = std::vector<std::vector<float>>;

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

} // namespace qel::test
