// Rhythm does not depend on how loud a stream is.

#include "tests/readings/Signals.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

namespace qel::readings::test {
namespace {

constexpr double kSeconds = 20;

// A bass drum and a snare in turn, soft hats between them, and two chords in turn.
Samples song(double beatSeconds) {
    const auto hats = [&](float amplitude) {
        Samples all = test::hats(times(0.3 + beatSeconds / 2, beatSeconds, kSeconds), kSeconds);
        for (float& sample : all) {
            sample *= amplitude;
        }
        return all;
    };
    const double bar = 4 * beatSeconds;
    Samples all = sum(kicks(times(0.3, 2 * beatSeconds, kSeconds), kSeconds),
                      snares(times(0.3 + beatSeconds, 2 * beatSeconds, kSeconds), kSeconds));
    all = sum(all, hats(0.02f));
    all = sum(all, struck(tone(220, bar, 0.05f), times(0.3, 2 * bar, kSeconds), kSeconds));
    return sum(all, struck(tone(294, bar, 0.05f), times(0.3 + bar, 2 * bar, kSeconds), kSeconds));
}

Samples withGain(Samples samples, double decibels) {
    for (float& sample : samples) {
        sample *= static_cast<float>(std::pow(10, decibels / 20));
    }
    return samples;
}

void expectSame(const Answers& a, const Answers& b, double decibels) {
    EXPECT_NEAR(a.tempo->bpm, b.tempo->bpm, 0.01) << decibels;
    EXPECT_NEAR(a.tempo->alternativeBpm, b.tempo->alternativeBpm, 0.01) << decibels;
    EXPECT_NEAR(a.tempo->strength, b.tempo->strength, 0.005) << decibels;
    EXPECT_EQ(a.tempo->isSteady, b.tempo->isSteady) << decibels;
    EXPECT_EQ(a.bars->beatsPerBar, b.bars->beatsPerBar) << decibels;
    EXPECT_NEAR(a.bars->strength, b.bars->strength, 0.005) << decibels;
    ASSERT_EQ(a.beats->beats.size(), b.beats->beats.size()) << decibels;
    for (std::size_t i = 0; i < a.beats->beats.size(); ++i) {
        EXPECT_NEAR(a.beats->beats[i].seconds, b.beats->beats[i].seconds, 0.0005) << decibels;
        EXPECT_NEAR(a.beats->beats[i].strength, b.beats->beats[i].strength, 0.005) << decibels;
        EXPECT_EQ(a.beats->beats[i].position, b.beats->beats[i].position) << decibels;
    }
}

TEST(RhythmGainAgreementTest, TempoBeatsAndBarsAreTheSameAtAnyGain) {
    for (const double beatSeconds : {0.45, 0.63}) {
        const Samples samples = song(beatSeconds);
        const auto rhythmOf = [](const Samples& each) {
            return read({Reading::Tempo, Reading::Beats, Reading::Bars}, each);
        };
        const Answers reference = rhythmOf(samples);
        for (const double decibels : {-40.0, -20.0, -10.0, -3.0, 6.0}) {
            expectSame(reference, rhythmOf(withGain(samples, decibels)), decibels);
        }
    }
}

} // namespace
} // namespace qel::readings::test
