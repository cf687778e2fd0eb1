#include "bench/BenchAudio.h"

#include <cmath>
#include <cstdint>
#include <numbers>

namespace qel::bench {

namespace {

constexpr unsigned kNoteSamples = 11025;
constexpr double kNoiseLevel = 0.01;
constexpr double kNoteLevel = 0.3;
constexpr double kWeakNoteLevel = 0.1;
constexpr unsigned kNotesPerBar = 4;
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

// `notesPerBar`: of so many notes the first is strong; all are with 1.
std::vector<float> Music(unsigned count, unsigned notesPerBar) {
    std::vector<float> samples(count);
    std::uint32_t state = 1;
    for (unsigned i = 0; i < count; ++i) {
        const unsigned note = i / kNoteSamples;
        const double seconds = (i % kNoteSamples) / kSampleRateHz;
        const double phase = 2.0 * std::numbers::pi * NoteHz(note) * seconds;
        double tone = 0.0;
        for (int h = 1; h <= kHarmonics; ++h)
            tone += std::sin(h * phase) / h;
        const double level = note % notesPerBar == 0 ? kNoteLevel : kWeakNoteLevel;
        const double envelope = std::exp(-seconds / kDecaySeconds);
        samples[i] = static_cast<float>(level * envelope * tone + kNoiseLevel * Noise(state));
    }
    return samples;
}

} // namespace

std::vector<float> MinuteOfMusic() {
    return Music(kMinuteSamples, 1);
}

std::vector<float> SongInFour() {
    return Music(kSongSamples, kNotesPerBar);
}

} // namespace qel::bench
