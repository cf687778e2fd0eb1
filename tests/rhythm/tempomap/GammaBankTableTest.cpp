// The gammatone bank against its published scale and the frozen moduli of its narrow bands.

#include "rhythm/tempomap/GammaBankTable.h"

#include "tests/rhythm/tempomap/FrozenModuli.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <vector>

namespace qel::core {
namespace {

using test::kFrozenModuli;

std::vector<double> Row(UInt32 band) {
    std::vector<double> row(kGammaColumns);
    for (UInt32 k = 0; k < kGammaColumns; ++k) {
        row[k] = GammaBankModulus(band, k);
    }
    return row;
}

TEST(GammaBankTableTest, TheNarrowBandsHaveTheirFrozenModuli) {
    for (UInt32 band = 0; band < kFrozenModuli.size(); ++band) {
        for (const auto& [column, modulus] : kFrozenModuli[band]) {
            EXPECT_EQ(GammaBankModulus(band, static_cast<UInt32>(column)), modulus)
                << band << " at " << column;
        }
    }
}

TEST(GammaBankTableTest, TheOtherEntriesOfTheNarrowBandsAreSkirts) {
    for (UInt32 band = 0; band < kFrozenModuli.size(); ++band) {
        const std::vector<double> row = Row(band);
        const double largest = *std::max_element(row.begin(), row.end());
        for (UInt32 k = 0; k < kGammaColumns; ++k) {
            EXPECT_GT(row[k], 0);
            const bool isFrozen =
                std::ranges::count(kFrozenModuli[band], k, &test::FrozenModulus::column) == 1;
            if (!isFrozen) {
                EXPECT_LT(row[k], 0.03 * largest) << band << " at " << k;
            }
        }
    }
}

// Equally spaced on the ERB-rate scale of Glasberg and Moore: with 171.3 Hz per column, the 36
// bandwidths 1.019 (f / 9.26449 + 24.7) grow by a factor of 1.1275.
TEST(GammaBankTableTest, PeaksLieAtTheCentresOfTheScale) {
    double centre = 16.46; // band 20, in columns
    for (UInt32 band = 20; band < kGammaBands; ++band) {
        const std::vector<double> row = Row(band);
        const auto main = std::max_element(row.begin(), row.begin() + kGammaColumns / 2);
        const auto mirror = std::max_element(row.begin() + kGammaColumns / 2, row.end());
        // The nearest column, up to the rounding of the given centre over fifteen steps.
        EXPECT_NEAR(static_cast<double>(main - row.begin()), centre, 0.6) << band;
        EXPECT_NEAR(static_cast<double>(mirror - row.begin()), kGammaColumns - centre, 0.6) << band;
        const double offset = 9.26449 * 24.7 / 171.3;
        centre = (centre + offset) * 1.1275 - offset;
    }
}

TEST(GammaBankTableTest, TheHighestBandIsCentredAtColumn106) {
    const std::vector<double> row = Row(kGammaBands - 1);
    double weight = 0;
    double moment = 0;
    for (UInt32 k = 0; k < kGammaColumns / 2; ++k) {
        weight += row[k] * row[k];
        moment += k * row[k] * row[k];
    }
    // The response is symmetrical, so that its mean is its centre.
    EXPECT_NEAR(moment / weight, 106.35, 0.01);
}

TEST(GammaBankTableTest, WideBandsAreFourthOrderResponsesOfHeight1Point3) {
    // (1 + x^2)^-2 at the half-power bandwidth x = sqrt(sqrt(2) - 1) is 1 / 2, in columns 0.6436 b
    // from the centre, with b = 0.1104 (106.35 + 1.3356) = 11.888.
    const UInt32 band = kGammaBands - 1;
    EXPECT_NEAR(GammaBankModulus(band, 106), 1.30, 0.01);
    const double halfColumns = std::sqrt(std::sqrt(2.0) - 1.0) * 11.888;
    const double position = 106.35 + halfColumns;
    const auto below = static_cast<UInt32>(position);
    const double t = position - below;
    const double interpolated =
        (1 - t) * GammaBankModulus(band, below) + t * GammaBankModulus(band, below + 1);
    EXPECT_NEAR(interpolated, 0.65, 0.01); // the given numbers have four places
}

TEST(GammaBankTableTest, EnergiesOfWideBandsAreThoseOfTheirIntegrals) {
    // The integral of (1 + x^2)^-4 is 5 pi / 16; two lobes of height 1.30 and width b.
    // A sum over columns differs from the integral by twice its Fourier transform at one period per
    // column, 2 e^-w (1 + w + 2/5 w^2 + w^3 / 15) with w = 2 pi b: 0.17 % of it for band 20, less
    // for wider ones.
    constexpr double kTolerance = 0.002;
    double bandwidth = 0.1104 * (16.46 + 1.3356);
    for (UInt32 band = 20; band < kGammaBands; ++band) {
        double energy = 0;
        for (const double modulus : Row(band)) {
            energy += modulus * modulus;
        }
        const double expected = 2 * 1.3 * 1.3 * bandwidth * 5 * 3.14159265358979 / 16;
        EXPECT_NEAR(energy, expected, kTolerance * expected) << band;
        bandwidth *= 1.1275;
    }
}

TEST(GammaBankTableTest, WideBandsAreMirroredAboutColumn256) {
    for (UInt32 band = 16; band < kGammaBands; ++band) {
        for (UInt32 k = 1; k < kGammaColumns; ++k) {
            EXPECT_NEAR(GammaBankModulus(band, k), GammaBankModulus(band, kGammaColumns - k),
                        1e-12);
        }
    }
}

TEST(GammaBankTableTest, PowersAreTheSquaredModuli) {
    for (UInt32 band = 0; band < kGammaBands; ++band) {
        const float* const powers = GammaBankPowers(band);
        for (UInt32 k = 0; k < kGammaColumns; ++k) {
            const double modulus = GammaBankModulus(band, k);
            EXPECT_FLOAT_EQ(powers[k], static_cast<float>(modulus * modulus));
        }
    }
}

} // namespace
} // namespace qel::core
