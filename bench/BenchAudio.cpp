#include "bench/BenchAudio.h"

#include <cmath>
#include <cstdint>
#include <numbers>

namespace qel::bench {

namespace {

constexpr std::size_t kNoteSamples = 11025;
constexpr double kNoiseLevel = 0.01;
constexpr double kNoteLevel = 0.3;
constexpr double kWeakNoteLevel = 0.1;
constexpr std::size_t kNotesPerBar = 4;
constexpr int kHarmonics = 6;
constexpr double kDecaySeconds = 0.12;
constexpr int kScale[] = {57, 60, 64, 67, 69, 64, 62, 59}; // MIDI note numbers

double NoteHz(std::size_t note) {
    return 440.0 * std::exp2((kScale[note] - 69) / 12.0);
}

// A linear congruential generator: plain, and the same everywhere. From -1 to 1.
double Noise(std::uint32_t& state) {
    state = state * 1664525u + 1013904223u;
    return static_cast<double>(state) / 2147483648.0 - 1.0;
}

std::vector<double> Note(double hz) {
    std::vector<double> samples(kNoteSamples);
    for (std::size_t i = 0; i < kNoteSamples; ++i) {
        const double seconds = static_cast<double>(i) / kSampleRateHz;
        double tone = 0.0;
        for (int h = 1; h <= kHarmonics; ++h) {
            tone += std::sin(h * 2.0 * std::numbers::pi * hz * seconds) / h;
        }
        samples[i] = std::exp(-seconds / kDecaySeconds) * tone;
    }
    return samples;
}

// Of `notesPerBar` notes the first is strong; with 1 all are.
std::vector<float> Music(std::size_t notesPerBar) {
    std::vector<std::vector<double>> notes;
    for (std::size_t note = 0; note < std::size(kScale); ++note) {
        notes.push_back(Note(NoteHz(note)));
    }

    std::vector<float> samples(kMinuteSamples);
    std::uint32_t state = 1;
    for (std::size_t i = 0; i < samples.size(); ++i) {
        const std::size_t note = i / kNoteSamples;
        const double level = note % notesPerBar == 0 ? kNoteLevel : kWeakNoteLevel;
        const double tone = notes[note % notes.size()][i % kNoteSamples];
        samples[i] = static_cast<float>(level * tone + kNoiseLevel * Noise(state));
    }
    return samples;
}

} // namespace

const std::vector<float>& MinuteOfMusic() {
    static const std::vector<float> minute = Music(1);
    return minute;
}

const std::vector<float>& MinuteInFour() {
    static const std::vector<float> minute = Music(kNotesPerBar);
    return minute;
}

} // namespace qel::bench
