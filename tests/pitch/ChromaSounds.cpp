#include "tests/pitch/ChromaSounds.h"

#include "tests/harness/TestSignals.h"
#include "tests/pitch/ChromaRun.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <numbers>

namespace qel::test {
namespace {

constexpr double kMiddleC = 261.6256;

double SineAt(double frequencyHz, double rateHz, std::size_t frame, double phase = 0.0) {
    return std::sin(2.0 * std::numbers::pi * frequencyHz * static_cast<double>(frame) / rateHz +
                    phase);
}

void AddNote(int note, double rateHz, double decaySeconds, std::span<float> samples) {
    const double frequencyHz = kMiddleC * std::exp2(note / 12.0);
    for (std::size_t i = 0; i < samples.size(); ++i) {
        double value = 0.0;
        for (int harmonic = 1; harmonic <= 6; ++harmonic) {
            value += SineAt(harmonic * frequencyHz, rateHz, i, 0.7 * harmonic) / harmonic;
        }
        samples[i] += static_cast<float>(
            0.1 * value * std::exp(-static_cast<double>(i) / (decaySeconds * rateHz)));
    }
}

std::vector<int> OnRoot(std::size_t key, std::span<const int> major, std::span<const int> minor) {
    const std::span<const int> steps = key < 12 ? major : minor;
    std::vector<int> notes(steps.begin(), steps.end());
    for (int& note : notes) {
        note += static_cast<int>(key % 12);
    }
    return notes;
}

} // namespace

Audio KeySound(std::size_t key, double rateHz, std::size_t frames, double amplitude) {
    double least = 0.0;
    for (std::size_t p = 0; p < kPitchClasses; ++p) {
        least = std::min(least, KeyProfile(key, p));
    }
    const double binHz = rateHz / static_cast<double>(kChromaFrame);
    std::array<double, kPitchClasses> frequenciesHz{};
    for (std::size_t p = 0; p < kPitchClasses; ++p) {
        const double pitchHz = 32.0 * kMiddleC * std::exp2(static_cast<double>(p) / 12.0);
        frequenciesHz[p] = std::round(pitchHz / binHz) * binHz;
    }
    Audio audio = Silence(1, frames);
    for (std::size_t i = 0; i < frames; ++i) {
        double value = 0.0;
        for (std::size_t p = 0; p < kPitchClasses; ++p) {
            const auto step = static_cast<double>(p);
            value += (KeyProfile(key, p) - least) *
                     SineAt(frequenciesHz[p], rateHz, i, 1.7 * step * step);
        }
        audio[0][i] = static_cast<float>(amplitude * value);
    }
    return audio;
}

Audio KeyStretches(std::span<const KeyStretch> stretches, double rateHz) {
    constexpr double kRise = 1e4;
    double amplitude = std::pow(kRise, -static_cast<double>(stretches.size()));
    Audio audio(1);
    for (const KeyStretch& stretch : stretches) {
        amplitude *= kRise;
        // The first must fill its first frame; the others show as soon as a hop of them is there.
        const std::size_t samples =
            audio[0].empty() ? SamplesForChroma(stretch.frames) : stretch.frames * kChromaHop;
        audio = Joined(std::move(audio), KeySound(stretch.key, rateHz, samples, amplitude));
    }
    return audio;
}

Audio Chord(std::span<const int> notes, double rateHz, std::size_t frames) {
    Audio audio = Silence(1, frames);
    for (const int note : notes) {
        AddNote(note, rateHz, 5.0, audio[0]);
    }
    return audio;
}

Audio Melody(std::span<const int> notes, double rateHz, std::size_t framesPerNote) {
    Audio audio = Silence(1, notes.size() * framesPerNote);
    for (std::size_t n = 0; n < notes.size(); ++n) {
        AddNote(notes[n], rateHz, 0.4, std::span(audio[0]).subspan(n * framesPerNote));
    }
    return audio;
}

std::vector<int> TriadOf(std::size_t key) {
    constexpr int kMajor[] = {0, 4, 7};
    constexpr int kMinor[] = {0, 3, 7};
    return OnRoot(key, kMajor, kMinor);
}

std::vector<int> ScaleOf(std::size_t key) {
    constexpr int kMajor[] = {0, 2, 4, 5, 7, 9, 11, 12};
    constexpr int kMinor[] = {0, 2, 3, 5, 7, 8, 10, 12};
    return OnRoot(key, kMajor, kMinor);
}

} // namespace qel::test
