// "audio range" against the tests' own computation, over spectra of many shapes: so that every rule
// of the search and of the floor decides somewhere.

#include "tests/loudness/range/RangeFiguresSignals.h"
#include "tests/loudness/range/RangeStreamRun.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <string>

namespace qel::test {
namespace {

constexpr double kRate = 44100.0;
constexpr double kBinHz = kRate / 1024.0;
constexpr std::size_t kFrames = 32768; // 63 frames that count

struct Compared {
    ReferenceRangeFigures expected;
    QelAudioAnalysisRange actual;
};

// Both by the same pushes.
Compared Compare(const std::vector<NoiseBand>& bands, std::uint32_t seed) {
    const Audio audio = {BandedNoise(kRate, kFrames, bands, seed)};
    RangeStreamRun run({kRate, 1, 4096, 0});
    ReferenceRange reference(1, kRate);
    for (std::size_t at = 0; at < kFrames; at += 4096) {
        EXPECT_EQ(0, run.PushOnce(audio, at, 4096));
        EXPECT_TRUE(reference.Push(audio, at, 4096));
    }
    const RangeResults results = run.Process();
    ExpectReferenceRange(reference, results);
    return {reference.Figures(0), results.channels.at(0)};
}

// Only what lies below bin 5 may be far under the floor. A hole of no more than 12 bins is none,
// since the run of 25 bins whose median is taken keeps its length at the bottom.
TEST(RangeShapesAgreementTest, AHoleAtTheBottomOfTheSpectrum) {
    int found = 0;
    int missed = 0;
    for (const double edge : {9.5, 11.5, 12.5, 13.5, 14.5, 16.5}) {
        for (double depth = 7.0; depth < 28.0; depth *= 1.07) {
            SCOPED_TRACE(std::to_string(edge) + " " + std::to_string(depth));
            const Compared compared = Compare({{edge * kBinHz, -40.5 - depth}, {kRate, -40.5}}, 51);
            (compared.actual.mNoiseFloorValid == 1 ? found : missed) += 1;
        }
    }
    EXPECT_GT(found, 10);
    EXPECT_GT(missed, 10);
}

// A fall about the first bins that are searched, and about the last.
TEST(RangeShapesAgreementTest, AFallAtTheEndsOfTheSearch) {
    int found = 0;
    int missed = 0;
    for (const double first : {240.0, 494.0}) {
        for (double edge = first; edge < first + 20.0; edge += 1.0) {
            for (const double fall : {8.0, 30.0}) {
                SCOPED_TRACE(std::to_string(edge) + " " + std::to_string(fall));
                const Compared compared =
                    Compare({{edge * kBinHz, -30.5}, {kRate, -30.5 - fall}}, 52);
                (compared.actual.mCutoffValid == 1 ? found : missed) += 1;
            }
        }
    }
    EXPECT_GT(found, 20);
    EXPECT_GT(missed, 10);
}

// Steps up and down, close to each other and far apart.
TEST(RangeShapesAgreementTest, ManyStepsAnywhere) {
    std::mt19937 generator(53);
    const auto between = [&](double low, double high) {
        return low + (high - low) * static_cast<double>(generator()) / 4294967296.0;
    };
    int cutoffs = 0;
    int noiseFloors = 0;
    int choices = 0;
    constexpr int kShapes = 240;
    for (int shape = 0; shape < kShapes; ++shape) {
        SCOPED_TRACE(shape);
        std::vector<NoiseBand> bands;
        double bin = between(0.0, 1.0) < 0.3 ? between(5.0, 30.0) : between(100.0, 400.0);
        double level = between(-50.0, -15.0);
        while (bin < 511.0) {
            bands.push_back({bin * kBinHz, level});
            bin += between(0.0, 1.0) < 0.5 ? between(10.0, 40.0) : between(40.0, 250.0);
            level += between(-14.0, 8.0);
            level = level < -70.0 ? -60.0 : level;
        }
        bands.push_back({kRate, level});
        const Compared compared = Compare(bands, static_cast<std::uint32_t>(shape));
        cutoffs += compared.actual.mCutoffValid;
        noiseFloors += compared.actual.mNoiseFloorValid;
        choices += compared.expected.cutoffs.size() > 1 ? 1 : 0;
    }
    for (const int found : {cutoffs, noiseFloors}) {
        EXPECT_GT(found, kShapes / 5);
        EXPECT_LT(found, kShapes * 9 / 10);
    }
    // Two slopes are hardly ever equal but for rounding.
    EXPECT_LT(choices, kShapes / 10);
}

} // namespace
} // namespace qel::test
