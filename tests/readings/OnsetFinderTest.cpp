#include "tests/readings/Signals.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstddef>

namespace qel::readings::test {
namespace {

constexpr double kExactSeconds = 512 / kRateHz; // a hop

void expectOnsets(const std::vector<Onset>& found, const std::vector<double>& wanted) {
    ASSERT_EQ(found.size(), wanted.size());
    for (std::size_t i = 0; i < found.size(); ++i) {
        EXPECT_NEAR(found[i].seconds, wanted[i], kExactSeconds);
    }
}

TEST(OnsetFinderTest, FindsEachStrokeAtItsTime) {
    const std::vector<double> when = times(0.5, 0.37, 9.5);
    expectOnsets(onsetsOf(strokes(when, 10)), when);
}

TEST(OnsetFinderTest, ALongerStreamHasTheSameOnsets) {
    const std::vector<double> when = times(0.5, 0.41, 9.5);
    const Samples music = strokes(when, 10);
    const auto alone = onsetsOf(music);
    const auto longer = onsetsOf(joined({music, silence(60)}));
    ASSERT_EQ(alone.size(), longer.size());
    for (std::size_t i = 0; i < alone.size(); ++i) {
        EXPECT_EQ(alone[i].seconds, longer[i].seconds);
        EXPECT_EQ(alone[i].strength, longer[i].strength);
    }
}

TEST(OnsetFinderTest, SteadySoundHasOneAtItsBeginAtMost) {
    for (const Samples& steady : {sine(440, 10), tone(220, 10), silence(10)}) {
        const auto onsets = onsetsOf(joined({silence(1), steady}));
        EXPECT_LE(onsets.size(), 1u);
    }
}

TEST(OnsetFinderTest, VibratoIsNoOnset) {
    Samples voice;
    double phase = 0;
    for (std::size_t i = 0; i < 8 * 44100; ++i) {
        const double t = static_cast<double>(i) / kRateHz;
        phase += 440 * (1 + 0.02 * std::sin(2 * 3.14159265 * 5.5 * t)) / kRateHz;
        voice.push_back(0.3f * static_cast<float>(std::sin(2 * 3.14159265 * phase)));
    }
    EXPECT_LE(onsetsOf(voice).size(), 1u);
}

TEST(OnsetFinderTest, StrengthsLieBetween0And1) {
    for (const Onset& onset : onsetsOf(strokes(times(0.2, 0.2, 5), 5))) {
        EXPECT_GT(onset.strength, 0);
        EXPECT_LE(onset.strength, 1);
    }
}

} // namespace
} // namespace qel::readings::test
