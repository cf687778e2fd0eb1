// Peaks of log spectra made by hand.

#include "timbre/SpectralPeaks.h"

#include "tests/platform/vector/InstructionSets.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <random>
#include <vector>

namespace qel::core {
namespace {

constexpr float kLow = -100.0f; // a threshold below everything
constexpr float kInfinity = std::numeric_limits<float>::infinity();

PeakSpectrum SpectrumOf(const std::vector<float>& logs) {
    return {logs.data(), static_cast<UInt32>(logs.size()), nullptr, nullptr};
}

// After the logarithms stand high ones, which are not to be looked at.
std::vector<Peak> PeaksOf(PeakSpectrum spectrum, float threshold) {
    const float* const logs = spectrum.mLogMagnitudes;
    std::vector<float> withRoom(logs, logs + spectrum.mNumBins);
    for (UInt32 i = 0; i < kVectorRoom; ++i) {
        withRoom.push_back(i % 2 == 0 ? -50.0f : 50.0f);
    }
    spectrum.mLogMagnitudes = withRoom.data();
    PeakList list(spectrum.mNumBins);
    if (MostPeaks(spectrum.mNumBins) > 0) {
        list.Add(Peak{}); // of a frame before
    }
    FindSpectralPeaks(spectrum, threshold, list);
    std::vector<Peak> peaks;
    for (UInt32 i = 0; i < list.mCount; ++i) {
        peaks.push_back(list.At(i));
    }
    return peaks;
}

std::vector<Peak> PeaksOf(const std::vector<float>& logs, float threshold = kLow) {
    return PeaksOf(SpectrumOf(logs), threshold);
}

std::vector<float> BinsOf(const std::vector<float>& logs, float threshold = kLow) {
    std::vector<float> bins;
    for (const Peak& peak : PeaksOf(logs, threshold)) {
        bins.push_back(peak.mBin);
    }
    return bins;
}

TEST(SpectralPeaksTest, APeakHasPlaceAndHeightOfTheParabola) {
    // 3 - 2 (b - 4.25)^2 at the bins 3, 4, 5; in quarters, so that floats hold all of it.
    const std::vector<float> logs{-9, -9, -9, -0.125f, 2.875f, 1.875f, -9, -9};
    const std::vector<Peak> peaks = PeaksOf(logs);
    ASSERT_EQ(peaks.size(), 1u);
    EXPECT_EQ(peaks[0].mBin, 4.25f);
    EXPECT_FLOAT_EQ(peaks[0].mMagnitude, std::exp(3.0f));
    EXPECT_FALSE(peaks[0].mMatched);
}

TEST(SpectralPeaksTest, TheLogMagnitudeIsThatOfTheBinBelowTheMaximum) {
    EXPECT_EQ(PeaksOf({0, 1, 7, 3, 0}).at(0).mLogMagnitude, 1.0f);
}

TEST(SpectralPeaksTest, InstantaneousFrequenciesAndPhasesAreThoseOfTheBinBelowTheMaximum) {
    const std::vector<float> logs{0, 1, 7, 3, 0};
    const std::vector<float> frequencies{1, 2, 3, 4, 5};
    const std::vector<float> phases{0.1f, 0.2f, 0.3f, 0.4f, 0.5f};
    PeakSpectrum spectrum = SpectrumOf(logs);
    spectrum.mFrequencies = frequencies.data();
    spectrum.mPhases = phases.data();
    const std::vector<Peak> peaks = PeaksOf(spectrum, kLow);
    ASSERT_EQ(peaks.size(), 1u);
    EXPECT_EQ(peaks[0].mFrequency, 2.0f);
    EXPECT_EQ(peaks[0].mPhase, -0.2f);
}

TEST(SpectralPeaksTest, APlateauCountsAtItsLeftEnd) {
    // Through 0, 4, 4 goes 6 u - 2 u^2, whose vertex is at 1.5, half a bin beyond the left end.
    EXPECT_EQ(BinsOf({0, 0, 4, 4, 4, 0}), std::vector<float>{2.5f});
    EXPECT_EQ(BinsOf({0, 4, 4, 5, 0}).size(), 2u);
}

TEST(SpectralPeaksTest, TheFirstAndTheLastBinAreNoPeaks) {
    EXPECT_TRUE(BinsOf({9, 1, 0, 1, 9}).empty());
    EXPECT_EQ(BinsOf({0, 5, 0}), std::vector<float>{1.0f});
    EXPECT_TRUE(BinsOf({0, 5}).empty());
    EXPECT_TRUE(BinsOf({5}).empty());
    EXPECT_TRUE(BinsOf({}).empty());
}

TEST(SpectralPeaksTest, AFlatSpectrumHasNoPeaks) {
    EXPECT_TRUE(BinsOf(std::vector<float>(512, std::log(0.001f)), -kInfinity).empty());
}

TEST(SpectralPeaksTest, OnlyWhatExceedsTheThresholdIsAPeak) {
    const std::vector<float> logs{0, 2, 0, 3, 0, 1, 0};
    EXPECT_EQ(BinsOf(logs, 2.0f), std::vector<float>{3.0f});
    EXPECT_EQ(BinsOf(logs, 1.0f), (std::vector<float>{1.0f, 3.0f}));
}

TEST(SpectralPeaksTest, PeaksStandInRisingOrderAndFitTheirMost) {
    std::vector<float> logs(512);
    for (std::size_t k = 1; k < logs.size(); k += 2) {
        logs[k] = 1.0f;
    }
    const std::vector<float> bins = BinsOf(logs);
    ASSERT_EQ(bins.size(), MostPeaks(512));
    for (std::size_t i = 0; i < bins.size(); ++i) {
        EXPECT_EQ(bins[i], static_cast<float>(2 * i + 1));
    }
}

TEST(SpectralPeaksTest, ASteepSidePullsTheVertexByHalfABinAtMost) {
    EXPECT_NEAR(BinsOf({0, 0, 1, -60, -60}).at(0), 1.5f, 0.02f);
    EXPECT_NEAR(BinsOf({-60, -60, 1, 0.99f, 0}).at(0), 2.5f, 0.01f);
}

TEST(SpectralPeaksTest, InfinitiesAndNotANumberMakeNoPeaks) {
    const float nan = std::numeric_limits<float>::quiet_NaN();
    EXPECT_TRUE(BinsOf({0, kInfinity, 0, 1}).empty());
    EXPECT_TRUE(BinsOf({-kInfinity, 1, 0, 0}).empty());
    EXPECT_TRUE(BinsOf({0, nan, 0, 1}).empty());
    EXPECT_TRUE(BinsOf({nan, 1, nan, 1}).empty());
    EXPECT_EQ(BinsOf({0, 1, 0, kInfinity, 0}), std::vector<float>{1.0f});
}

// Of all lengths up to many vectors and with plateaus, as the definition has it.
TEST(SpectralPeaksTest, EveryMaximumOfARandomSpectrumIsFound) {
    std::mt19937 random(11);
    for (std::size_t count = 3; count < 220; ++count) {
        std::vector<float> logs(count);
        for (float& log : logs) {
            log = static_cast<float>(random() % 8);
        }
        constexpr float kThreshold = 2.0f;
        std::vector<float> levels;
        for (std::size_t k = 1; k + 1 < count; ++k) {
            if (logs[k] > logs[k - 1] && logs[k] >= logs[k + 1] && logs[k] > kThreshold) {
                levels.push_back(logs[k - 1]);
            }
        }
        std::vector<float> found;
        for (const Peak& peak : PeaksOf(logs, kThreshold)) {
            found.push_back(peak.mLogMagnitude);
        }
        ASSERT_EQ(found, levels) << count;
    }
}

TEST(SpectralPeaksTest, EveryInstructionSetFindsTheSamePeaks) {
    std::mt19937 random(13);
    std::vector<float> logs(515);
    for (float& log : logs) {
        log = static_cast<float>(random() % 1000) / 100.0f;
    }
    std::vector<Peak> expected;
    qel::testing::ForEachInstructionSet([&] {
        const std::vector<Peak> peaks = PeaksOf(SpectrumOf(logs), 1.0f);
        if (expected.empty()) {
            expected = peaks;
        }
        ASSERT_EQ(peaks.size(), expected.size());
        for (std::size_t i = 0; i < peaks.size(); ++i) {
            EXPECT_EQ(peaks[i].mBin, expected[i].mBin) << i;
            EXPECT_EQ(peaks[i].mLogMagnitude, expected[i].mLogMagnitude) << i;
            // Exponentials are not the same to the last bit.
            EXPECT_FLOAT_EQ(peaks[i].mMagnitude, expected[i].mMagnitude) << i;
        }
    });
    EXPECT_GT(expected.size(), 100u);
}

TEST(SpectralPeaksTest, PeaksThatShareAVectorWithPlacelessOnesStay) {
    std::vector<float> logs(40);
    for (std::size_t k = 1; k < logs.size(); k += 2) {
        logs[k] = 1.0f;
    }
    logs[10] = kInfinity; // the bins beside it are no maxima, and it has no vertex
    const std::vector<Peak> peaks = PeaksOf(SpectrumOf(logs), kLow);
    std::vector<float> bins;
    for (const Peak& peak : peaks) {
        bins.push_back(peak.mBin);
        EXPECT_FLOAT_EQ(peak.mMagnitude, std::exp(1.0f));
        EXPECT_EQ(peak.mLogMagnitude, 0.0f);
    }
    EXPECT_EQ(bins,
              (std::vector<float>{1, 3, 5, 7, 13, 15, 17, 19, 21, 23, 25, 27, 29, 31, 33, 35, 37}));
}

// In units of the last place of the double-precision logarithm, rounded; near 1, where logarithms
// are small, of the last place of 1/8. fdlibm states less than 1 for its function.
TEST(LogarithmTest, LogarithmsAreThoseOfDoublePrecisionToTheLastPlaceOrSo) {
    std::mt19937 random(12);
    std::vector<float> magnitudes;
    for (int i = 0; i < 200003; ++i) {
        magnitudes.push_back(std::exp2(static_cast<float>(random() % 138000) / 1000.0f - 9.9f));
    }
    for (float x = 0.5f; x < 2.0f; x += 1.0f / 16384.0f) {
        magnitudes.push_back(x);
    }
    std::vector<float> logs(magnitudes.size());
    std::vector<float> raised = magnitudes;
    RaiseAndTakeLogarithms(raised.data(), static_cast<UInt32>(raised.size()), 0.001f, logs.data());
    EXPECT_EQ(raised, magnitudes);
    double worst = 0.0;
    for (std::size_t i = 0; i < logs.size(); ++i) {
        const double expected = std::log(static_cast<double>(magnitudes[i]));
        const auto size = std::max(std::fabs(static_cast<float>(expected)), 0.125f);
        const double place = static_cast<double>(std::nextafter(size, kInfinity) - size);
        worst = std::max(worst, std::fabs(static_cast<double>(logs[i]) - expected) / place);
    }
    EXPECT_LT(worst, 1.0);
}

TEST(LogarithmTest, WhatIsBelowTheLeastOrNoNumberIsRaised) {
    const float nan = std::numeric_limits<float>::quiet_NaN();
    std::vector<float> magnitudes{0, 1e-40f, 0.00099f, 0.001f, 1, nan, kInfinity, 2, 0, nan, 1};
    std::vector<float> logs(magnitudes.size());
    RaiseAndTakeLogarithms(magnitudes.data(), 11, 0.001f, logs.data());
    EXPECT_EQ(magnitudes, (std::vector<float>{0.001f, 0.001f, 0.001f, 0.001f, 1, 0.001f, kInfinity,
                                              2, 0.001f, 0.001f, 1}));
    for (std::size_t i = 0; i < logs.size(); ++i) {
        EXPECT_FLOAT_EQ(logs[i], std::log(magnitudes[i])) << i;
    }
}

} // namespace
} // namespace qel::core
