// The running tempo at all sample rates, and of silence.

#include "tests/readings/Signals.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

namespace qel::readings::test {
namespace {

// Reads of a stream what was found from `begin` to `end`.
std::vector<float> tempiBetween(const Samples& samples, double begin, double end,
                                double rateHz = kRateHz) {
    const RunningTempo tempo = *read({Reading::RunningTempo}, samples, rateHz).runningTempo;
    std::vector<float> found;
    for (std::size_t i = 0; i < tempo.bpm.size(); ++i) {
        const double seconds = static_cast<double>(i) * tempo.hopSeconds;
        if (seconds >= begin && seconds < end) {
            found.push_back(tempo.bpm[i]);
        }
    }
    return found;
}

TEST(RunningTempoCurveTest, IsTheSameAtAllSampleRates) {
    for (const double rateHz : {8000.0, 22050.0, 44100.0, 48000.0, 96000.0, 192000.0}) {
        const std::vector<float> found =
            tempiBetween(strokes(times(0.2, 60 / 130.0, 14), 14, rateHz), 9, 13.5, rateHz);
        ASSERT_GT(found.size(), 500u) << rateHz;
        for (const float bpm : found) {
            ASSERT_NEAR(bpm, 130, 2) << rateHz; // lags are whole numbers of some 79
        }
    }
}

TEST(RunningTempoCurveTest, OfSilenceIsNotANumber) {
    for (const double rateHz : {44100.0, 96000.0}) {
        const std::vector<float> found = tempiBetween(silence(6, rateHz), 0, 6, rateHz);
        ASSERT_GT(found.size(), 900u);
        for (const float bpm : found) {
            ASSERT_TRUE(std::isnan(bpm)) << bpm;
        }
    }
}

TEST(RunningTempoCurveTest, EndsThreeSecondsAfterTheSoundAndBeginsAgainWithIt) {
    std::vector<double> when = times(0.2, 0.5, 10);
    for (const double seconds : times(20.2, 0.5, 30)) {
        when.push_back(seconds);
    }
    const Samples samples = strokes(when, 30);
    for (const float bpm : tempiBetween(samples, 8, 10)) {
        ASSERT_NEAR(bpm, 120, 2);
    }
    for (const float bpm : tempiBetween(samples, 13.5, 20)) {
        ASSERT_TRUE(std::isnan(bpm)) << bpm;
    }
    for (const float bpm : tempiBetween(samples, 28, 30)) {
        ASSERT_NEAR(bpm, 120, 2);
    }
}

} // namespace
} // namespace qel::readings::test
