#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace qel::selftest {

// How long the audio of the self test is, and how finely sampled.
struct SignalSize {
    std::uint32_t rateHz;
    std::uint32_t frames; // a multiple of the frames of a push
};

inline constexpr std::uint32_t kFramesPerPush = 4096;

// 13 s, and 3 s for slow machines: all keys deliver of both.
inline constexpr SignalSize kWholeSignal{44100, 140 * kFramesPerPush};
inline constexpr SignalSize kShortSignal{11025, 8 * kFramesPerPush};

// Two channels in which every key finds something: chords in C major, a stroke of noise every half
// second, every fourth of them loud, over a whisper of noise. The same bits on every machine: it is
// formed of integers of 24 bits, which single precision holds exactly.
std::vector<std::vector<float>> MakeSignal(SignalSize size);

} // namespace qel::selftest
