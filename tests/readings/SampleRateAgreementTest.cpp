// The same music at different sample rates has the same answers.

#include "tests/readings/Signals.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <numbers>
#include <vector>

namespace qel::readings::test {
namespace {

constexpr double kBpm = 120;
constexpr double kBeatSeconds = 60 / kBpm;
constexpr double kFirstBeatSeconds = 0.3;
constexpr std::size_t kBeats = 24;
constexpr double kSeconds = kFirstBeatSeconds + kBeats * kBeatSeconds;
constexpr double kOnsetToleranceSeconds = 0.002; // the notes rise for so long
constexpr double kBeatToleranceSeconds = 0.0058; // half a hop at 44.1 kHz
constexpr double kToleranceCents = 10;

double hzOf(int note) {
    return 440 * std::exp2((note - 69) / 12.0);
}

// Adds a note that rises within 2 ms and dies away. Its partials end at 3.4 kHz, so that a sample
// rate of 8 kHz holds all of it.
void addNote(Samples& samples, double rateHz, double atSeconds, double hz, float amplitude) {
    const auto begin = static_cast<std::size_t>(std::ceil(atSeconds * rateHz));
    const auto end = static_cast<std::size_t>((atSeconds + kBeatSeconds) * rateHz);
    for (std::size_t i = begin; i < std::min(end, samples.size()); ++i) {
        const double t = static_cast<double>(i) / rateHz - atSeconds;
        const double level = std::min(t / 0.002, 1.0) * std::exp(-12 * t);
        double sum = 0;
        for (int partial = 1; partial <= 5 && partial * hz < 3400; ++partial) {
            sum += std::sin(2 * std::numbers::pi * partial * hz * t) / partial;
        }
        samples[i] += static_cast<float>(amplitude * level * sum);
    }
}

double timeOfBeat(std::size_t i) {
    return kFirstBeatSeconds + static_cast<double>(i) * kBeatSeconds;
}

// Chords of D major on the beats: D, G, A and D again, each twice. Between them, a D alone.
Samples piece(double rateHz) {
    Samples samples(static_cast<std::size_t>(kSeconds * rateHz));
    constexpr int kRoots[] = {50, 50, 55, 55, 57, 57, 50, 50};
    for (std::size_t i = 0; i < kBeats; ++i) {
        for (const int step : {0, 12, 16, 19}) {
            addNote(samples, rateHz, timeOfBeat(i), hzOf(kRoots[i % 8] + step), 0.1f);
        }
        addNote(samples, rateHz, timeOfBeat(i) + kBeatSeconds / 2, hzOf(74), 0.1f);
    }
    return samples;
}

double centsBetween(double hz, double other) {
    return std::abs(1200 * std::log2(hz / other));
}

class SampleRateAgreementTest : public testing::TestWithParam<double> {};

Answers readPiece(double rateHz) {
    return read({Reading::Tempo, Reading::Beats, Reading::Key, Reading::Onsets}, piece(rateHz),
                rateHz);
}

TEST_P(SampleRateAgreementTest, MusicHasItsTempoBeatsOnsetsAndKey) {
    static const Answers wanted = readPiece(kRateHz);
    const Answers answers = readPiece(GetParam());
    EXPECT_TRUE(answers.tempo->isSteady);
    EXPECT_NEAR(answers.tempo->bpm, kBpm, 0.1);
    EXPECT_EQ(answers.key->main.name(), "D major");
    ASSERT_EQ(answers.beats->beats.size(), wanted.beats->beats.size());
    for (std::size_t i = 0; i < wanted.beats->beats.size(); ++i) {
        EXPECT_NEAR(answers.beats->beats[i].seconds, wanted.beats->beats[i].seconds,
                    kBeatToleranceSeconds);
    }
    ASSERT_EQ(answers.onsets->size(), 2 * kBeats);
    for (std::size_t i = 0; i < answers.onsets->size(); ++i) {
        EXPECT_NEAR((*answers.onsets)[i].seconds,
                    kFirstBeatSeconds + static_cast<double>(i) * kBeatSeconds / 2,
                    kOnsetToleranceSeconds);
    }
}

TEST_P(SampleRateAgreementTest, AToneHasItsPitch) {
    for (const double hz : {82.4, 440.0, 1100.0}) {
        const Answers answers = read({Reading::Pitch}, tone(hz, 1, 0.3f, GetParam()), GetParam());
        ASSERT_GE(answers.pitch->size(), 18u);
        for (const Pitch& pitch : *answers.pitch) {
            ASSERT_TRUE(pitch.isVoiced());
            EXPECT_LE(centsBetween(pitch.frequencyHz, hz), kToleranceCents);
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Rates, SampleRateAgreementTest,
                         testing::Values(8000.0, 11025.0, 16000.0, 22050.0, 44100.0, 48000.0,
                                         88200.0, 96000.0, 192000.0));

} // namespace
} // namespace qel::readings::test
