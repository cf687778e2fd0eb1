#pragma once

#include <cstddef>
#include <span>
#include <vector>

namespace qel::readings {

// The level, as levelOf gives it, of music whose peaks reach 0.7: the median over the developing
// half of the material of docs/accuracy.md.
inline constexpr float kUsualLevel = 0.33f;

// How loud the stream is: the mean amplitude of its loudest hundredth of frames.
float levelOf(std::span<const float> amplitudes);

// Frames from one on and before another.
struct FrameRange {
    std::size_t first = 0;
    std::size_t end = 0;
};

// The parts of a stream in which something sounds, within 60 dB of its level, divided where nothing
// does for longer than `pauseFrames`. Each begins and ends with a frame that sounds.
std::vector<FrameRange> soundingParts(std::span<const float> amplitudes, std::size_t pauseFrames);

} // namespace qel::readings
