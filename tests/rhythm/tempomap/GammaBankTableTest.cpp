// The gammatone bank against its published scale and figures given beforehand.

#include "rhythm/tempomap/GammaBankTable.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <map>
#include <vector>

namespace qel::core {
namespace {

// The moduli of the narrow bands, as given: by band, column and modulus.
using Moduli = std::map<UInt32, double>;
const std::vector<Moduli> kLowBands = {
    {{0, 0.3168}, {1, 0.0095}, {511, 0.0124}},
    {{0, 0.0295}, {1, 0.0673}, {511, 0.0952}},
    {{1, 0.3025}, {511, 0.4466}},
    {{1, 0.6976}, {511, 0.7094}},
    {{1, 0.5614}, {2, 0.0349}, {510, 0.0445}, {511, 0.4105}},
    {{1, 0.1214}, {2, 0.3490}, {510, 0.4665}, {511, 0.0941}},
    {{2, 0.8400}, {510, 0.8443}},
    {{2, 0.5533}, {3, 0.2083}, {509, 0.2612}, {510, 0.4387}},
    {{2, 0.0567}, {3, 0.8882}, {509, 0.9596}, {510, 0.0475}},
    {{2, 0.0265}, {3, 0.6751}, {4, 0.3483}, {508, 0.4196}, {509, 0.5642}, {510, 0.0234}},
    {{3, 0.0731}, {4, 1.0501}, {5, 0.0808}, {507, 0.0940}, {508, 1.0280}, {509, 0.0632}},
    {{4, 0.3111}, {5, 0.9235}, {6, 0.0603}, {506, 0.0682}, {507, 1.0196}, {508, 0.2684}},
    {{4, 0.0646},
     {5, 0.7630},
     {6, 0.6692},
     {7, 0.0575},
     {505, 0.0640},
     {506, 0.7540},
     {507, 0.6775},
     {508, 0.0581}},
    {{5, 0.1141},
     {6, 1.0117},
     {7, 0.5419},
     {8, 0.0603},
     {504, 0.0664},
     {505, 0.6056},
     {506, 0.9312},
     {507, 0.1026}},
    {{6, 0.1600},
     {7, 1.0731},
     {8, 0.5982},
     {9, 0.0817},
     {503, 0.0895},
     {504, 0.6583},
     {505, 1.0054},
     {506, 0.1450}},
    {{6, 0.0366},
     {7, 0.1783},
     {8, 0.9969},
     {9, 0.8170},
     {10, 0.1386},
     {11, 0.0302},
     {501, 0.0323},
     {502, 0.1512},
     {503, 0.8793},
     {504, 0.9343},
     {505, 0.1632},
     {506, 0.0342}},
};

std::vector<double> Row(UInt32 band) {
    std::vector<double> row(kGammaColumns);
    for (UInt32 k = 0; k < kGammaColumns; ++k) {
        row[k] = GammaBankModulus(band, k);
    }
    return row;
}

TEST(GammaBankTableTest, TheNarrowBandsHaveTheirGivenModuli) {
    for (UInt32 band = 0; band < kLowBands.size(); ++band) {
        for (const auto& [column, modulus] : kLowBands[band]) {
            EXPECT_EQ(GammaBankModulus(band, column), modulus) << band << " at " << column;
        }
    }
}

TEST(GammaBankTableTest, TheOtherEntriesOfTheNarrowBandsAreSkirts) {
    for (UInt32 band = 0; band < kLowBands.size(); ++band) {
        const std::vector<double> row = Row(band);
        const double largest = *std::max_element(row.begin(), row.end());
        for (UInt32 k = 0; k < kGammaColumns; ++k) {
            EXPECT_GT(row[k], 0);
            if (!kLowBands[band].contains(k)) {
                // Every entry of at least 3 % of the largest is given.
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
