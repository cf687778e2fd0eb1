// Holds the bank in vector lanes to its filters one by one.

#include "rhythm/onsets/GammatoneLanes.h"

#include "tests/platform/vector/InstructionSets.h"
#include "tests/support/runtime/Sanitized.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <ctime>
#include <limits>
#include <random>
#include <string>
#include <vector>

namespace qel::core {
namespace {

using Vector = std::vector<float>;

constexpr Gfb_Parameters kOnsetBank{44100.0f, 235.0f, 14500.0f, 235.0f, 1.0f, 0};
constexpr int kLongestBlock = 4096;
// A sum passes at most this many additions: four of bands in a partial sum (of 50 bands), then the
// sixteen partial sums fold four times. Each rounds by half a unit in the last place.
constexpr double kSumRounding = 8.0 * 0x1p-24;

Vector Noise(std::size_t length, unsigned seed) {
    std::mt19937 random(seed);
    std::normal_distribution<float> normal(0.0f, 0.2f);
    Vector noise(length);
    std::generate(noise.begin(), noise.end(), [&] { return normal(random); });
    return noise;
}

class Bank {
public:
    explicit Bank(const Gfb_Parameters& parameters = kOnsetBank) {
        EXPECT_EQ(Gfb_Analyzer_new(&mAnalyzer, parameters, kLongestBlock), 0);
    }
    ~Bank() { Gfb_Analyzer_remove(&mAnalyzer); }
    Bank(const Bank&) = delete;
    Bank& operator=(const Bank&) = delete;

    Vector InLanes(const float* input, int samples) {
        Vector sum(static_cast<std::size_t>(samples), -1.0f);
        gfb_AnalyzeSum(sum.data(), input, &mAnalyzer, samples);
        return sum;
    }

    // A row per band.
    std::vector<Vector> OneByOne(const float* input, int samples) {
        Vector imag(static_cast<std::size_t>(samples));
        std::vector<Vector> bands(static_cast<std::size_t>(mAnalyzer.bandCount), imag);
        for (std::size_t b = 0; b < bands.size(); ++b) {
            gfb_Analyze(bands[b].data(), imag.data(), input, mAnalyzer.filters[b], nullptr, nullptr,
                        samples);
        }
        return bands;
    }

    Vector States() const {
        Vector states;
        for (int b = 0; b < mAnalyzer.bandCount; ++b) {
            const Gfb_Filter& filter = *mAnalyzer.filters[b];
            states.insert(states.end(), filter.realState, filter.realState + 4);
            states.insert(states.end(), filter.imagState, filter.imagState + 4);
        }
        return states;
    }

    Gfb_Analyzer& Record() { return mAnalyzer; }

private:
    Gfb_Analyzer mAnalyzer{};
};

void ExpectSums(const Vector& sums, const std::vector<Vector>& bands) {
    for (std::size_t i = 0; i < sums.size(); ++i) {
        double sum = 0.0;
        double magnitudes = 0.0;
        for (const Vector& band : bands) {
            sum += double{band[i]};
            magnitudes += std::abs(double{band[i]});
        }
        ASSERT_NEAR(double{sums[i]}, sum, kSumRounding * magnitudes) << i;
    }
}

TEST(GammatoneLanesTest, SumsAreThoseOfTheFiltersOneByOneForEveryCut) {
    const Vector first = Noise(6 * kLongestBlock, 1);
    const Vector second = Noise(6 * kLongestBlock, 2);
    qel::testing::ForEachInstructionSet([&] {
        Bank lanes;
        Bank plain;
        ASSERT_EQ(plain.Record().bandCount, 33);
        std::size_t at = 0;
        // Blocks of two channels in turn, whose filters are the same.
        for (const int samples : {1, 7, 512, 4096, 127, 128, 129, 1, 1, 3000, 256, 4096, 5}) {
            for (const Vector& channel : {first, second}) {
                const float* const input = channel.data() + at;
                ExpectSums(lanes.InLanes(input, samples), plain.OneByOne(input, samples));
                ASSERT_EQ(lanes.States(), plain.States());
            }
            at += static_cast<std::size_t>(samples);
        }
    });
}

TEST(GammatoneLanesTest, OneBandAloneIsThatFilterToTheLastBit) {
    const Vector input = Noise(2000, 3);
    Bank lanes({44100.0f, 1000.0f, 1000.0f, 1000.0f, 1.0f, 0});
    Bank plain({44100.0f, 1000.0f, 1000.0f, 1000.0f, 1.0f, 0});
    ASSERT_EQ(plain.Record().bandCount, 1);
    EXPECT_EQ(lanes.InLanes(input.data(), 2000), plain.OneByOne(input.data(), 2000)[0]);
}

TEST(GammatoneLanesTest, AnyNumberOfBandsFillsTheLanes) {
    const Vector input = Noise(300, 4);
    for (int bands = 0; bands <= MAX_N_BANDS; ++bands) {
        Bank lanes({44100.0f, 100.0f, 11000.0f, 100.0f, 1.5f, 0});
        Bank plain({44100.0f, 100.0f, 11000.0f, 100.0f, 1.5f, 0});
        ASSERT_EQ(plain.Record().bandCount, MAX_N_BANDS);
        for (Bank* bank : {&lanes, &plain}) {
            for (int b = bands; b < MAX_N_BANDS; ++b) {
                utFree(&bank->Record().filters[b]);
            }
            bank->Record().bandCount = bands;
        }
        SCOPED_TRACE(bands);
        ExpectSums(lanes.InLanes(input.data(), 300), plain.OneByOne(input.data(), 300));
        ASSERT_EQ(lanes.States(), plain.States());
    }
}

// Of 256 values, beside `samples` samples of a bank of `bandCount` bands up to `highestHz`.
void ExpectRunAlong(int samples, float highestHz, int bandCount) {
    SCOPED_TRACE(std::to_string(samples) + " samples, " + std::to_string(bandCount) + " bands");
    constexpr std::size_t kValues = 256;
    const Vector input = Noise(static_cast<std::size_t>(samples), 7);
    Vector inputs = Noise(kValues, 8);
    std::transform(inputs.begin(), inputs.end(), inputs.begin(),
                   [](float value) { return std::max(value, 0.0f); });
    Vector curve(kValues, -1.0f);
    Vector expectedCurve = curve;
    LowPassRun run{inputs.data(), curve.data(), kValues, {0.25f, 0.75f}};
    LowPassRun alone{inputs.data(), expectedCurve.data(), kValues, {0.25f, 0.75f}};
    GoOn(alone, std::min(kValues, kLowPassStepsPerSample * input.size()));

    Bank bank({44100.0f, 235.0f, highestHz, 235.0f, 1.0f, 0});
    Bank plain({44100.0f, 235.0f, highestHz, 235.0f, 1.0f, 0});
    ASSERT_EQ(bandCount, plain.Record().bandCount);
    Vector sums(input.size());
    GammatoneBands lanes;
    gfb_LoadBands(bank.Record(), lanes);
    gfb_SumBands(sums.data(), input.data(), lanes, input.size(), run);
    gfb_SaveBands(lanes, bank.Record());
    EXPECT_EQ(plain.InLanes(input.data(), samples), sums);
    EXPECT_EQ(plain.States(), bank.States());
    EXPECT_EQ(alone.left, run.left);
    EXPECT_EQ(alone.bounds.least, run.bounds.least);
    EXPECT_EQ(alone.bounds.greatest, run.bounds.greatest);
    EXPECT_EQ(expectedCurve, curve);
}

TEST(GammatoneLanesTest, ALowPassGoesAlongAsItGoesAlone) {
    qel::testing::ForEachInstructionSet([] {
        for (const int samples : {1, 7, 127, 128, 129, 300}) {
            ExpectRunAlong(samples, 235.0f, 1);
            ExpectRunAlong(samples, 2500.0f, 17);
            ExpectRunAlong(samples, 14500.0f, 33);
            ExpectRunAlong(samples, 21000.0f, 36);
        }
    });
}

TEST(GammatoneLanesTest, EveryInstructionSetGivesTheSameSums) {
    const Vector input = Noise(3000, 5);
    Vector expected;
    qel::testing::ForEachInstructionSet([&] {
        Bank lanes;
        const Vector sums = lanes.InLanes(input.data(), 3000);
        if (expected.empty()) {
            expected = sums;
        }
        EXPECT_EQ(sums, expected);
    });
    EXPECT_EQ(expected.size(), 3000u);
}

// Lanes without a band must not carry an infinity into the sum as something that is not a number.
TEST(GammatoneLanesTest, WhatIsNotFiniteComesOutWhereTheFiltersHaveIt) {
    for (const float fault :
         {std::numeric_limits<float>::infinity(), std::numeric_limits<float>::quiet_NaN()}) {
        Vector input = Noise(400, 6);
        input[150] = fault;
        qel::testing::ForEachInstructionSet([&] {
            Bank lanes;
            Bank plain;
            const Vector sums = lanes.InLanes(input.data(), 400);
            const std::vector<Vector> bands = plain.OneByOne(input.data(), 400);
            for (std::size_t i = 0; i < sums.size(); ++i) {
                float sum = 0.0f;
                for (const Vector& band : bands) {
                    sum += band[i];
                }
                EXPECT_EQ(std::isnan(sums[i]), std::isnan(sum)) << i;
                EXPECT_EQ(std::isinf(sums[i]), std::isinf(sum)) << i;
            }
            EXPECT_TRUE(std::isfinite(sums[152]));
            EXPECT_FALSE(std::isfinite(sums[153])); // three samples on
        });
    }
}

TEST(GammatoneLanesTest, NoSamplesLeaveEverythingAsItIs) {
    const Vector input = Noise(10, 7);
    Bank lanes;
    lanes.InLanes(input.data(), 10);
    const Vector states = lanes.States();
    gfb_AnalyzeSum(nullptr, nullptr, &lanes.Record(), 0);
    EXPECT_EQ(lanes.States(), states);
}

// How many times as fast as its filters one by one the bank must be: 33 bands fill lanes of 16 or 8
// badly, 5 and 3 vectors in place of 4.1 and 2.1.
double DemandedSpeedup() {
    const int64_t targets = hwy::SupportedTargets();
#if defined(__x86_64__)
    if ((targets & (HWY_AVX3 | HWY_AVX3_DL)) != 0) {
        return 8.0;
    }
    if ((targets & HWY_AVX2) != 0) {
        return 4.0;
    }
#endif
    return targets != 0 ? 2.0 : 1.0;
}

// CPU time, which other processes do not lengthen much; the best of several turns.
TEST(GammatoneLanesTest, LanesAreManyTimesAsFastAsTheFiltersOneByOne) {
    if (testing_support::kIsSanitized) {
        GTEST_SKIP() << "a checker slows both by different factors";
    }
    const Vector input = Noise(kLongestBlock, 8);
    Bank lanes;
    Bank plain;
    Vector sum(kLongestBlock);
    Vector real(kLongestBlock);
    Vector imag(kLongestBlock);
    double plainTime = 1e9;
    double lanesTime = 1e9;
    for (int turn = 0; turn < 5; ++turn) {
        const std::clock_t start = std::clock();
        for (int block = 0; block < 10; ++block) {
            std::fill(sum.begin(), sum.end(), 0.0f);
            for (int b = 0; b < plain.Record().bandCount; ++b) {
                gfb_Analyze(real.data(), imag.data(), input.data(), plain.Record().filters[b],
                            nullptr, nullptr, kLongestBlock);
                for (std::size_t i = 0; i < sum.size(); ++i) {
                    sum[i] += real[i];
                }
            }
        }
        const std::clock_t middle = std::clock();
        for (int block = 0; block < 10; ++block) {
            gfb_AnalyzeSum(sum.data(), input.data(), &lanes.Record(), kLongestBlock);
        }
        const std::clock_t end = std::clock();
        plainTime = std::min(plainTime, static_cast<double>(middle - start));
        lanesTime = std::min(lanesTime, static_cast<double>(end - middle));
    }
    EXPECT_EQ(lanes.States(), plain.States()); // both did the same work
    RecordProperty("speedup", std::to_string(plainTime / lanesTime));
    EXPECT_GT(plainTime, DemandedSpeedup() * lanesTime);
}

} // namespace
} // namespace qel::core
