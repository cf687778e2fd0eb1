// Beats and a tempo need sound: few strokes have neither, and beats do not go on through silence.

#include "tests/readings/Signals.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <vector>

namespace qel::readings::test {
namespace {

constexpr double kNearSeconds = 0.06;

Answers rhythmOf(const Samples& samples) {
    return read({Reading::Tempo, Reading::Beats, Reading::Bars}, samples);
}

// The times of the beats that lie further than that outside of these times.
std::vector<double> beatsOutside(const Beats& beats, double begin, double end) {
    std::vector<double> outside;
    for (const Beat& beat : beats.beats) {
        if (beat.seconds < begin - kNearSeconds || beat.seconds > end + kNearSeconds) {
            outside.push_back(beat.seconds);
        }
    }
    return outside;
}

TEST(RhythmSilenceContractTest, FewStrokesInSilenceHaveNoSteadyTempo) {
    const std::vector<std::vector<double>> all{
        {15}, {4, 4.5}, {4, 4.5, 5}, {1, 11, 25}, {3, 3.5, 4, 4.5}, {2, 9, 9.5, 20, 20.5}};
    for (const std::vector<double>& when : all) {
        const Answers answers = rhythmOf(strokes(when, 30));
        EXPECT_FALSE(answers.tempo->isSteady) << when.size() << ' ' << when[0];
        EXPECT_LT(answers.tempo->strength, 0.3f) << when.size() << ' ' << when[0];
        EXPECT_FALSE(answers.beats->grid) << when.size() << ' ' << when[0];
    }
}

TEST(RhythmSilenceContractTest, StrokesEveryThreeSecondsHaveNoSteadyTempo) {
    EXPECT_FALSE(rhythmOf(strokes(times(0.5, 3, 60), 60)).tempo->isSteady);
}

TEST(RhythmSilenceContractTest, ThereAreNoBeatsInSilenceBeforeAndAfterTheMusic) {
    for (const double bpm : {60.0, 90.0, 120.0}) {
        const std::vector<double> when = times(8.3, 60 / bpm, 28);
        const Answers answers = rhythmOf(strokes(when, 38));
        EXPECT_TRUE(answers.tempo->isSteady) << bpm;
        EXPECT_GE(answers.beats->beats.size(), when.size() - 1) << bpm;
        const std::vector<double> outside = beatsOutside(*answers.beats, when.front(), when.back());
        EXPECT_TRUE(outside.empty()) << bpm << ": " << outside.size() << ", " << outside[0];
    }
}

TEST(RhythmSilenceContractTest, SilenceAroundTheMusicChangesNoAnswer) {
    const Samples music = strokes(times(0.1, 0.5, 20), 20);
    // A multiple of the hops of all keys, so that frames cut the music alike.
    const std::size_t lead = 2048 * 100;
    Samples padded(lead + music.size() + 44100 * 7);
    std::ranges::copy(music, padded.begin() + static_cast<std::ptrdiff_t>(lead));
    const Answers plain = rhythmOf(music);
    const Answers later = rhythmOf(padded);
    EXPECT_NEAR(later.tempo->bpm, plain.tempo->bpm, 0.01);
    EXPECT_NEAR(later.tempo->strength, plain.tempo->strength, 0.02);
    ASSERT_EQ(later.beats->beats.size(), plain.beats->beats.size());
    for (std::size_t i = 0; i < plain.beats->beats.size(); ++i) {
        EXPECT_NEAR(later.beats->beats[i].seconds,
                    plain.beats->beats[i].seconds + static_cast<double>(lead) / kRateHz, 0.001);
    }
}

std::vector<double> withPause(double distance, double before, double after) {
    std::vector<double> when = times(0.3, distance, before);
    for (const double seconds : times(after, distance, 30)) {
        when.push_back(seconds);
    }
    return when;
}

TEST(RhythmSilenceContractTest, BeatsGoOnThroughAPauseIfTheGridDoes) {
    const Beats beats = *rhythmOf(strokes(withPause(0.5, 12.1, 18.3), 30)).beats;
    for (double seconds = 1.3; seconds < 28; seconds += 0.5) {
        const bool found = std::ranges::any_of(beats.beats, [&](const Beat& beat) {
            return std::abs(beat.seconds - seconds) < kNearSeconds;
        });
        EXPECT_TRUE(found) << seconds;
    }
}

TEST(RhythmSilenceContractTest, ThereAreNoBeatsInAPauseAfterWhichAnotherGridBegins) {
    // 0.25 s later than the grid, and at another tempo.
    const std::vector<double> late = withPause(0.5, 12.1, 18.55);
    std::vector<double> slower = times(0.3, 0.5, 12.1);
    for (const double seconds : times(18.3, 0.6, 30)) {
        slower.push_back(seconds);
    }
    for (const std::vector<double>& when : {late, slower}) {
        const Answers answers = rhythmOf(strokes(when, 30));
        for (const Beat& beat : answers.beats->beats) {
            EXPECT_FALSE(beat.seconds > 11.8 + kNearSeconds && beat.seconds < 18.3 - kNearSeconds)
                << beat.seconds;
        }
    }
}

} // namespace
} // namespace qel::readings::test
