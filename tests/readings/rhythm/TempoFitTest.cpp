#include "readings/rhythm/TempoFit.h"

#include "tests/readings/Signals.h"

#include <gtest/gtest.h>

#include <cmath>

namespace qel::readings::test {
namespace {

TEST(FitGridTest, IsExactForBeatsOnAGrid) {
    const auto grid = fitGrid(times(0.31, 60 / 130.01, 60), 130);
    ASSERT_TRUE(grid);
    EXPECT_NEAR(grid->bpm, 130.01, 1e-6);
    EXPECT_NEAR(grid->firstBeatSeconds, 0.31, 1e-6);
}

TEST(FitGridTest, IsHardlyMovedByBeatsFarOff) {
    std::vector<double> beats = times(0.5, 0.5, 30);
    beats[7] += 0.2;
    beats[30] -= 0.2;
    EXPECT_NEAR(fitGrid(beats, 120)->bpm, 120, 0.05);
}

TEST(FitGridTest, StepsOverBeatsThatAreMissing) {
    std::vector<double> beats = times(0, 0.5, 30);
    beats.erase(beats.begin() + 10, beats.begin() + 13);
    EXPECT_NEAR(fitGrid(beats, 120)->bpm, 120, 1e-6);
}

TEST(FitGridTest, ThereIsNoneForFewBeatsOrNoTempo) {
    EXPECT_FALSE(fitGrid(times(0, 0.5, 1.4), 120));
    EXPECT_FALSE(fitGrid(times(0, 0.5, 10), 0));
    EXPECT_FALSE(fitGrid({}, 120));
}

BeatFinder::Result beatsWith(double levelLogOdds, std::size_t rivals) {
    BeatFinder::Result beats;
    beats.seconds = times(0.3, 0.5, 20);
    beats.strengths.assign(beats.seconds.size(), 1);
    beats.bpm = 120;
    beats.levelLogOdds = levelLogOdds;
    beats.rivals = rivals;
    beats.steadyLogOdds = 3;
    return beats;
}

float strengthOf(double levelLogOdds, std::size_t rivals) {
    return tempoOf(beatsWith(levelLogOdds, rivals), std::nullopt).strength;
}

TEST(TempoTest, OddsAgainstFewRivalsMakeATempoLessCertain) {
    EXPECT_LT(strengthOf(2, 0), strengthOf(2, 2));
    EXPECT_LT(strengthOf(2, 2), strengthOf(2, 4));
    EXPECT_EQ(strengthOf(2, 4), strengthOf(2, 9));
    EXPECT_LT(strengthOf(9.2, 0), strengthOf(3, 4));
}

TEST(TempoTest, OddsBeyondTheirBoundMakeATempoNoMoreCertain) {
    EXPECT_LT(strengthOf(1, 4), strengthOf(3, 4));
    EXPECT_EQ(strengthOf(3, 4), strengthOf(9.2, 4));
}

TEST(TempoTest, ClicksHaveTheirTempoAsARealNumber) {
    for (const double bpm : {70.0, 97.3, 120.0, 130.01, 161.7}) {
        const Answers answers =
            read({Reading::Tempo, Reading::Beats}, strokes(times(0.4, 60 / bpm, 30), 30));
        const double ratio = answers.tempo->bpm / bpm;
        const double octaves = std::round(std::log2(ratio));
        EXPECT_NEAR(answers.tempo->bpm / std::exp2(octaves), bpm, 0.02) << bpm;
        EXPECT_TRUE(answers.tempo->isSteady);
        ASSERT_TRUE(answers.beats->grid);
        EXPECT_EQ(answers.beats->grid->bpm, answers.tempo->bpm);
    }
}

TEST(TempoTest, BeatsStandOnTheAttacks) {
    for (const double bpm : {50.0, 61.0, 77.7, 97.3, 120.0, 144.0, 180.0}) {
        const double distance = 60 / bpm;
        const Beats beats = *read({Reading::Beats}, strokes(times(0.4, distance, 29), 30)).beats;
        ASSERT_GE(beats.beats.size(), 20u) << bpm;
        double sum = 0;
        for (const Beat& beat : beats.beats) {
            // Halves: slow strokes may count as every second beat.
            const double place = (beat.seconds - 0.4) / distance;
            const double late = (place - std::round(2 * place) / 2) * distance;
            EXPECT_NEAR(late, 0, 0.0058) << bpm << " at " << beat.seconds; // half a hop
            sum += late;
        }
        EXPECT_NEAR(sum / static_cast<double>(beats.beats.size()), 0, 0.003) << bpm;
    }
}

TEST(TempoTest, SilenceAndNoiseHaveNoSteadyTempo) {
    for (const Samples& sound : {silence(20), noise(20), sine(440, 20)}) {
        EXPECT_FALSE(read({Reading::Tempo}, sound).tempo->isSteady);
    }
}

} // namespace
} // namespace qel::readings::test
