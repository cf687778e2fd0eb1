#include "tests/keys/KeyChecks.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <numbers>

namespace qel::test {
namespace {

constexpr double kRateHz = 44100.0;

// A row per result. Fails the test if there is none.
std::vector<std::vector<float>> RowsOf(const KeyResults& results, std::size_t channel) {
    std::vector<std::vector<float>> rows;
    for (const KeyResult& result : results) {
        rows.push_back(result.Floats(channel));
        EXPECT_FALSE(rows.back().empty());
    }
    EXPECT_FALSE(rows.empty());
    return rows;
}

template <class Predicate>
void ExpectEach(const KeyResults& results, std::size_t channel, Predicate holds) {
    for (const std::vector<float>& row : RowsOf(results, channel)) {
        for (std::size_t i = 0; i < row.size(); ++i) {
            ASSERT_TRUE(holds(row[i])) << "number " << i << " is " << row[i];
        }
    }
}

// From the result of the given index on.
void ExpectAlike(const KeyResults& results, std::size_t channel, std::size_t first) {
    ASSERT_GT(results.size(), first + (first == 0 ? 0 : 1));
    for (std::size_t n = first; n < results.size(); ++n) {
        ASSERT_FALSE(results[n].channels.at(channel).empty());
        EXPECT_EQ(results[first].channels[channel], results[n].channels[channel]) << n;
    }
}

void ExpectRange(const KeyResults& results, std::size_t channel, int step) {
    ASSERT_EQ(1u, results.size());
    const QelAudioAnalysisRange range = results[0].Range(channel);
    EXPECT_NEAR((step - 1) / 511.0, range.mHeadroom, 2e-7); // an edge in single precision
    EXPECT_EQ(100.0f, range.mNoiseFloor);
    EXPECT_EQ(-1.0f, range.mCutoff);
    EXPECT_EQ(1, range.mHeadroomValid);
    EXPECT_EQ(0, range.mNoiseFloorValid);
    EXPECT_EQ(0, range.mCutoffValid);
}

} // namespace

void AreUnstated(const KeyResults&, std::size_t) {
    ADD_FAILURE() << "nothing is stated for this key";
}

void AreNone(const KeyResults& results, std::size_t) {
    EXPECT_TRUE(results.empty());
}

void AreAlike(const KeyResults& results, std::size_t channel) {
    ExpectAlike(results, channel, 0);
}

void AreAlikeAfterThree(const KeyResults& results, std::size_t channel) {
    ExpectAlike(results, channel, 3);
}

void AreEmpty(const KeyResults& results, std::size_t channel) {
    EXPECT_FALSE(results.empty());
    for (const KeyResult& result : results) {
        EXPECT_TRUE(result.channels.at(channel).empty());
    }
}

void AreZero(const KeyResults& results, std::size_t channel) {
    ExpectEach(results, channel, [](float value) { return value == 0.0f; });
}

void AreZeroAfterTheFirst(const KeyResults& results, std::size_t channel) {
    ASSERT_GT(results.size(), 1u);
    AreZero({results.begin() + 1, results.end()}, channel);
    for (const float value : results[0].Floats(channel)) {
        EXPECT_GT(value, 0.0f);
    }
}

void AreNoNumbers(const KeyResults& results, std::size_t channel) {
    ExpectEach(results, channel, [](float value) { return std::isnan(value); });
}

void AreFinite(const KeyResults& results, std::size_t channel) {
    ExpectEach(results, channel, [](float value) { return std::isfinite(value); });
}

void AreOneUnitVector(const KeyResults& results, std::size_t channel) {
    ExpectAlike(results, channel, 0);
    double squares = 0.0;
    for (const float value : results.at(0).Floats(channel)) {
        squares += static_cast<double>(value) * static_cast<double>(value);
    }
    EXPECT_NEAR(1.0, squares, 2e-6); // 13 squares of numbers of single precision
}

void AreTemporalOfHalf(const KeyResults& results, std::size_t channel) {
    float envelope = 0.0f;
    for (const std::vector<float>& row : RowsOf(results, channel)) {
        ASSERT_EQ(3u, row.size());
        EXPECT_EQ(0.0f, row[0]); // no crossing of zero
        EXPECT_FLOAT_EQ(0.5f, row[1]);
        EXPECT_GT(row[2], envelope); // rises from 0 to the root mean square
        envelope = row[2];
    }
}

// The spectrum is empty: zeros, but for two levels of 1e-8 and 1e-4, and the rolloff, whose sum
// reaches its share of nothing not before the last bin.
void AreGenericOfSilence(const KeyResults& results, std::size_t channel) {
    constexpr std::size_t kEnergyDecibels = 4;
    constexpr std::size_t kPowerDecibels = 5;
    constexpr std::size_t kRolloff = 10;
    for (const std::vector<float>& row : RowsOf(results, channel)) {
        ASSERT_EQ(16u, row.size());
        for (std::size_t i = 0; i < row.size(); ++i) {
            if (i == kEnergyDecibels || i == kPowerDecibels) {
                EXPECT_FLOAT_EQ(i == kEnergyDecibels ? -80.0f : -40.0f, row[i]);
            } else if (i == kRolloff) {
                EXPECT_FLOAT_EQ(static_cast<float>(511.0 * kRateHz / 1024.0), row[i]);
            } else {
                EXPECT_EQ(0.0f, row[i]) << "value " << i;
            }
        }
    }
}

void HaveGreatestMagnitudeAtZeroHertz(const KeyResults& results, std::size_t channel) {
    constexpr std::size_t kMaximumFrequency = 8;
    ExpectAlike(results, channel, 0);
    EXPECT_EQ(0.0f, results.at(0).Floats(channel).at(kMaximumFrequency));
    AreFinite(results, channel);
}

// All 512 magnitudes are in one of 40 classes, so that the other 39 lie below the mean by all of
// it.
void AreHistogramsOfOneClass(const KeyResults& results, std::size_t channel) {
    const double low = -512.0 / 40.0;
    const double high = 512.0 + low;
    const double s2 = high * high + 39.0 * low * low;
    const double s3 = std::pow(high, 3.0) + 39.0 * std::pow(low, 3.0);
    const double s4 = std::pow(high, 4.0) + 39.0 * std::pow(low, 4.0);
    for (const std::vector<float>& row : RowsOf(results, channel)) {
        ASSERT_EQ(2u, row.size());
        EXPECT_NEAR(s4 / (s2 * s2), row[0], 1e-5); // sums of 40 powers in single precision
        EXPECT_NEAR(s3 / std::pow(s2, 1.5), row[1], 1e-5);
    }
}

void ArePhasesOfSilence(const KeyResults& results, std::size_t channel) {
    for (const std::vector<float>& row : RowsOf(results, channel)) {
        ASSERT_EQ(5u, row.size());
        EXPECT_NEAR(0.0, row[0], 1e-6); // wrapping takes 0 to 8.7e-8
        EXPECT_EQ(std::vector<float>(4), std::vector<float>(row.begin() + 1, row.end()));
    }
}

// A Hann window of length 1025 sums to 1025 / 2, and its transform has half of that beside it.
// All other bins see the window's missing last sample alone.
void AreHannSpectraOfHalf(const KeyResults& results, std::size_t channel) {
    constexpr double kSum = 2.0 * 0.5 * 1025.0 / 2.0;
    for (const std::vector<float>& row : RowsOf(results, channel)) {
        ASSERT_EQ(1024u, row.size());
        EXPECT_NEAR(kSum, row[0], 0.01); // 1e-5 of it
        EXPECT_NEAR(0.0, row[1], 0.01);  // the term at half the rate
        EXPECT_NEAR(kSum / 2.0, std::hypot(row[2], row[3]), 0.5);
        for (std::size_t bin = 2; bin < 512; ++bin) {
            EXPECT_NEAR(0.0, std::hypot(row[2 * bin], row[2 * bin + 1]), 0.5) << bin;
        }
    }
}

void AreMelSpectraOfHalf(const KeyResults& results, std::size_t channel) {
    constexpr double kSum = 2.0 * 0.5 * 4097.0 / 2.0;
    for (const std::vector<float>& row : RowsOf(results, channel)) {
        ASSERT_EQ(2048u, row.size());
        EXPECT_NEAR(kSum, row[0], 0.02); // 1e-5 of it
        EXPECT_NEAR(kSum / 2.0, row[1], 0.5);
        for (std::size_t bin = 2; bin < row.size(); ++bin) {
            EXPECT_NEAR(0.0, row[bin], 0.5) << bin;
        }
    }
}

// Every magnitude is raised to 0.001, so that the window of 256 values alone, times its logarithm,
// is transformed.
void AreCepstraOfSilence(const KeyResults& results, std::size_t channel) {
    const double factor = 2.0 * std::abs(std::log(static_cast<double>(0.001f)));
    std::vector<double> expected(128);
    for (std::size_t q = 0; q < expected.size(); ++q) {
        std::complex<double> sum = 0.0;
        double alternating = 0.0;
        for (std::size_t n = 0; n < 256; ++n) {
            const double window = std::sin(static_cast<double>(n) * std::numbers::pi / 255.0);
            const double turns = static_cast<double>(q * n % 256) / 256.0;
            sum += std::polar(window, -2.0 * std::numbers::pi * turns);
            alternating += n % 2 == 0 ? window : -window;
        }
        // Bin 0 has the term at half the rate as its other side.
        expected[q] = factor * (q == 0 ? std::hypot(sum.real(), alternating) : std::abs(sum));
    }
    for (const std::vector<float>& row : RowsOf(results, channel)) {
        ASSERT_EQ(expected.size(), row.size());
        for (std::size_t q = 0; q < row.size(); ++q) {
            ASSERT_NEAR(expected[q], row[q], 2e-3) << q; // of 2250, some roundings to 24 bits
        }
    }
}

// Bin 0 is the mean of the windowed frame, bin 1 is half of that. The lowest band sees them by the
// moduli 0.3168 and 0.0095.
void AreGammaEnergiesOfHalf(const KeyResults& results, std::size_t channel) {
    ExpectAlike(results, channel, 0);
    const double mean = 0.5 * 1025.0 / 2048.0;
    const double expected = mean * mean * (0.3168 * 0.3168 + 0.25 * 0.0095 * 0.0095);
    EXPECT_NEAR(expected, results.at(0).Floats(channel).at(0), 1e-3 * expected);
}

void AreLowestTempi(const KeyResults& results, std::size_t channel) {
    ExpectEach(results, channel, [](float bpm) { return bpm == 20.0f; });
}

void AreTempi(const KeyResults& results, std::size_t channel) {
    ExpectEach(results, channel, [](float bpm) { return bpm >= 20.0f && bpm <= 280.0f; });
}

// Of a constant, rounding decides whether the decay of its start has a peak.
void AreGlobalTempiOrNone(const KeyResults& results, std::size_t channel) {
    ASSERT_LE(results.size(), 1u);
    for (const KeyResult& result : results) {
        const std::vector<float> tempi = result.Floats(channel);
        EXPECT_GT(tempi.at(0), 20.0f);
        EXPECT_LT(tempi.at(0), 220.0f);
        EXPECT_TRUE(tempi.at(2) >= 0.0f && tempi.at(2) <= 1.0f) << tempi.at(2);
    }
}

void AreCMajor(const KeyResults& results, std::size_t channel) {
    EXPECT_FALSE(results.empty());
    for (const KeyResult& result : results) {
        EXPECT_EQ("C Major", result.Name(channel));
    }
}

void AreNoMeter(const KeyResults& results, std::size_t channel) {
    ASSERT_EQ(1u, results.size());
    EXPECT_EQ(std::vector<std::byte>(4), results[0].channels.at(channel));
}

void AreMetersOrNone(const KeyResults& results, std::size_t channel) {
    ASSERT_EQ(1u, results.size());
    const std::vector<std::byte>& number = results[0].channels.at(channel);
    ASSERT_EQ(4u, number.size());
    EXPECT_LE(std::to_integer<int>(number[0]), 16);
    EXPECT_EQ(std::vector<std::byte>(3), std::vector<std::byte>(number.begin() + 1, number.end()));
}

void AreBeatsOrNone(const KeyResults& results, std::size_t channel) {
    ASSERT_LE(results.size(), 1u);
    for (const KeyResult& result : results) {
        double last = -1.0;
        for (const QelAudioAnalysisEvent& event : result.Events(channel)) {
            EXPECT_GT(event.mTime, last);
            last = event.mTime;
        }
    }
}

void BeginWithAnOnset(const KeyResults& results, std::size_t channel) {
    ASSERT_EQ(1u, results.size());
    const std::vector<QelAudioAnalysisEvent> onsets = results[0].Events(channel);
    ASSERT_FALSE(onsets.empty());
    EXPECT_LT(onsets[0].mTime, 0.001);
}

// Zeros are in step 511 of 1023, the middle one.
void AreRangesOfSilence(const KeyResults& results, std::size_t channel) {
    ExpectRange(results, channel, 511);
}

// 0.5 is in step 766 (1.5 * 511 = 766.5), which is taken with step 257.
void AreRangesOfHalf(const KeyResults& results, std::size_t channel) {
    ExpectRange(results, channel, 257);
}

} // namespace qel::test
