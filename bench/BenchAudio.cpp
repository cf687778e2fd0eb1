#include "bench/BenchAudio.h"

#include <cmath>
#include <cstdint>
#include <numbers>

namespace qel::bench {

namespace {

constexpr unsigned kNoteSamples = 11025;
constexpr double kNoiseLevel = 0.01;
constexpr double kNoteLevel = 0.3;
constexpr int kHarmonics = 6;
constexpr double kDecaySeconds = 0.12;
constexpr int kScale[] = {57, 60, 64, 67, 69, 64, 62, 59}; // MIDI note numbers

double NoteHz(unsigned note) {
    return 440.0 * std::exp2((kScale[note % std::size(kScale)] - 69) / 12.0);
}

// A linear congruential generator: plain, and the same everywhere. From -1 to 1.
double Noise(std::uint32_t& state) {
    state = state * 1664525u + 1013904223u;
    return static_cast<double>(state) / 2147483648.0 - 1.0;
}

} // namespace

std::vector<float> MinuteOfMusic() {
    std::vector<float> samples(kMinuteSamples);
    std::uint32_t state = 1;
    for (unsigned i = 0; i < kMinuteSamples; ++i) {
        const double seconds = (i % kNoteSamples) / kSampleRateHz;
        const double phase = 2.0 * std::numbers::pi * NoteHz(i / kNoteSamples) * seconds;
        double tone = 0.0;
        for (int h = 1; h <= kHarmonics; ++h)
            tone += std::sin(h * phase) / h;
        const double envelope = std::exp(-seconds / kDecaySeconds);
        samples[i] = static_cast<float>(kNoteLevel * envelope * tone + kNoiseLevel * Noise(state));
    }
    return samples;
}

} // namespace qel::bench
