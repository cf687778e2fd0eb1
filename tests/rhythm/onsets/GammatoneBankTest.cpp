// The bank's scale, its grid of bands and the design of its filters, against closed forms.

#include "rhythm/onsets/GammatoneBank.h"

#include "tests/rhythm/onsets/GammatoneBankOwner.h"
#include "tests/support/runtime/Sanitized.h"

#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <cstring>
#include <numbers>
#include <string>

namespace qel::core {
namespace {

using test::BankOwner;
using test::Captured;
using test::kOnsetBank;

constexpr double kErbPerLog = 9.265;
constexpr double kErbCornerHz = 24.7 * 9.265;
const std::string kTooManyBands = "ERROR: constant MAX_N_BANDS is too small\n";

double ErbOf(double hz) {
    return kErbPerLog * std::log(1.0 + hz / kErbCornerHz);
}

// The quotient and the result are rounded to single precision, and so are the two constants.
TEST(GammatoneBankTest, TheScaleIsALogarithmOfOnePlusTheFrequency) {
    EXPECT_EQ(0.0f, Gfb_hz2erbscale(0.0f));
    EXPECT_EQ(0.0f, Gfb_erbscale2hz(0.0f));
    for (const float hz : {20.0f, 100.0f, 235.0f, 1000.0f, 4000.0f, 14500.0f, 96000.0f}) {
        const double erb = ErbOf(static_cast<double>(hz));
        EXPECT_NEAR(erb, Gfb_hz2erbscale(hz), 4e-7 * (erb + kErbPerLog)) << hz;
        EXPECT_NEAR(hz, Gfb_erbscale2hz(static_cast<float>(erb)), 2e-6 * hz) << hz;
    }
}

TEST(GammatoneBankTest, TheScaleGoesThereAndBack) {
    for (const float hz : {1.0f, 235.0f, 1000.0f, 14500.0f}) {
        EXPECT_NEAR(hz, Gfb_erbscale2hz(Gfb_hz2erbscale(hz)), 2e-6 * hz + 1e-4) << hz;
    }
}

TEST(GammatoneBankTest, FactorialsAreFloats) {
    EXPECT_EQ(1.0f, Gfb_factorial(0));
    EXPECT_EQ(1.0f, Gfb_factorial(1));
    EXPECT_EQ(6.0f, Gfb_factorial(3));
    EXPECT_EQ(720.0f, Gfb_factorial(6));
    EXPECT_EQ(479001600.0f, Gfb_factorial(12));
    EXPECT_NEAR(std::tgamma(31.0), Gfb_factorial(30), 2e-6 * std::tgamma(31.0));
    EXPECT_TRUE(std::isfinite(Gfb_factorial(34)));
    EXPECT_TRUE(std::isinf(Gfb_factorial(35)));
}

TEST(GammatoneBankTest, ComplexAbsIsTheModulus) {
    EXPECT_EQ(0.0f, complexAbs({0.0f, 0.0f}));
    EXPECT_EQ(5.0f, complexAbs({3.0f, -4.0f}));
    EXPECT_EQ(2.5f, complexAbs({-2.5f, 0.0f}));
    EXPECT_NEAR(std::numbers::sqrt2, complexAbs({1.0f, 1.0f}), 1e-7);
}

TEST(GammatoneBankTest, MemoryComesWithAStatus) {
    int status = 7;
    void* memory = utMalloc(100, &status);
    EXPECT_NE(nullptr, memory);
    EXPECT_EQ(0, status);
    std::memset(memory, 1, 100);
    utFree(&memory);
    EXPECT_EQ(nullptr, memory);
    utFree(&memory); // null: nothing happens
    EXPECT_EQ(nullptr, memory);

    status = 7;
    auto* zeros = static_cast<float*>(utCalloc(5, 4, &status));
    ASSERT_NE(nullptr, zeros);
    EXPECT_EQ(0, status);
    for (int i = 0; i < 5; ++i) {
        EXPECT_EQ(0.0f, zeros[i]);
    }
    utFree(&zeros);
    EXPECT_EQ(nullptr, zeros);
}

TEST(GammatoneBankTest, WhereMemoryIsExhaustedTheStatusIsOne) {
    if (testing_support::kIsSanitized) {
        GTEST_SKIP() << "the checker ends a process that asks for so much";
    }
    int status = 7;
    EXPECT_EQ(nullptr, utCalloc(INT_MAX, INT_MAX, &status));
    EXPECT_EQ(1, status);
}

TEST(GammatoneBankTest, AFilterFollowsFromItsFrequencyAndOrder) {
    for (const unsigned order : {2u, 3u, 4u, 5u}) {
        for (const double rate : {44100.0, 48000.0, 96000.0}) {
            for (const double centre : {235.0, 1000.0, 14439.0}) {
                Gfb_Filter filter;
                std::memset(static_cast<void*>(&filter), 0x7f, sizeof filter);
                Gfb_Filter_new_3arg(&filter, static_cast<float>(rate), static_cast<float>(centre),
                                    order, 1);
                const double n = order;
                const double shape = std::numbers::pi * std::tgamma(2.0 * n - 1.0) *
                                     std::pow(2.0, -(2.0 * n - 2.0)) /
                                     std::pow(std::tgamma(n), 2.0);
                const double bandwidth = (24.7 + centre / kErbPerLog) / shape;
                const double radius = std::exp(-2.0 * std::numbers::pi * bandwidth / rate);
                const double angle = 2.0 * std::numbers::pi * centre / rate;
                // A few roundings of values up to 1; an angle of up to 3 is as exact as itself.
                EXPECT_NEAR(radius * std::cos(angle), filter.realPole, 6e-7);
                EXPECT_NEAR(radius * std::sin(angle), filter.imagPole, 6e-7);
                // The error of the radius, 1e-7, is one of its distance to 1, to that power.
                const double gain = 2.0 * std::pow(1.0 - radius, n);
                EXPECT_NEAR(gain, filter.gain, gain * (n * 1.5e-7 / (1.0 - radius) + 1e-6));
                EXPECT_EQ(static_cast<float>(order), filter.order);
            }
        }
    }
}

// The shape of order 4 is 5 / 16 pi.
TEST(GammatoneBankTest, TheBandwidthOfOrderFourIsTheErbByItsShape) {
    Gfb_Filter filter;
    Gfb_Filter_new_3arg(&filter, 44100.0f, 1000.0f, 4, 1);
    const double radius = std::hypot(static_cast<double>(filter.realPole), filter.imagPole);
    const double bandwidth = -std::log(radius) * 44100.0 / (2.0 * std::numbers::pi);
    EXPECT_NEAR((24.7 + 1000.0 / 9.265) / 0.98175, bandwidth, 2e-3);
}

TEST(GammatoneBankTest, AFilterBeginsAtRest) {
    for (const int withHairCell : {0, 1}) {
        Gfb_Filter filter;
        std::memset(static_cast<void*>(&filter), 0x7f, sizeof filter);
        Gfb_Filter_new_3arg(&filter, 44100.0f, 1000.0f, 4, withHairCell);
        for (int stage = 0; stage < 4; ++stage) {
            EXPECT_EQ(0.0f, filter.realState[stage]);
            EXPECT_EQ(0.0f, filter.imagState[stage]);
        }
        EXPECT_EQ(0u, filter.delayActive);
        EXPECT_EQ(0u, filter.ihcState);
    }
}

// Required by the contract: the weights are exchanged against those of a low-pass of 1 kHz. At
// 44.1 kHz the newest sample has the weight 0.867.
TEST(GammatoneBankTest, TheHairCellWeighsTheNewestSampleMost) {
    for (const double rate : {8000.0, 44100.0, 96000.0}) {
        Gfb_Filter filter;
        Gfb_Filter_new_3arg(&filter, static_cast<float>(rate), 1000.0f, 4, 1);
        const double forward = std::exp(-2.0 * std::numbers::pi * 1000.0 / rate);
        EXPECT_NEAR(forward, filter.ihcForward, 3e-7);
        EXPECT_EQ(1.0f - filter.ihcForward, filter.ihcBack);
        EXPECT_EQ(2.9999999242136255e-05f, filter.ihcConstant);
    }
}

TEST(GammatoneBankTest, TheOnsetBankHas33BandsAtAnyRate) {
    for (const float rate : {32000.0f, 44100.0f, 48000.0f, 192000.0f}) {
        Gfb_Parameters parameters = kOnsetBank;
        parameters.sampleRate = rate;
        const BankOwner bank(parameters);
        EXPECT_EQ(0, bank.status);
        ASSERT_EQ(33, bank->bandCount);
        EXPECT_NEAR(235.0, bank->centreFrequencies[0], 1e-3);
        EXPECT_NEAR(14439.0, bank->centreFrequencies[32], 1.0);
        for (int i = 0; i < 33; ++i) {
            const double erb = ErbOf(235.0) + i;
            const double hz = kErbCornerHz * (std::exp(erb / kErbPerLog) - 1.0);
            EXPECT_NEAR(hz, bank->centreFrequencies[i], 5e-6 * hz) << i;
            // Each has the filter of its centre.
            Gfb_Filter filter;
            Gfb_Filter_new_3arg(&filter, rate, bank->centreFrequencies[i], 4, 1);
            ASSERT_NE(nullptr, bank->filters[i]);
            EXPECT_EQ(filter.realPole, bank->filters[i]->realPole) << i;
            EXPECT_EQ(filter.imagPole, bank->filters[i]->imagPole) << i;
            EXPECT_EQ(filter.gain, bank->filters[i]->gain) << i;
            EXPECT_EQ(filter.ihcForward, bank->filters[i]->ihcForward) << i;
        }
    }
}

TEST(GammatoneBankTest, TheRecordKeepsWhatItWasTold) {
    const BankOwner bank({48000.0f, 300.0f, 5000.0f, 1000.0f, 2.0f, 0});
    EXPECT_EQ(0u, bank->reserved);
    EXPECT_EQ(48000.0f, bank->sampleRate);
    EXPECT_EQ(300.0f, bank->lowerCutoff);
    EXPECT_EQ(5000.0f, bank->upperCutoff);
    EXPECT_EQ(1000.0f, bank->baseFrequency);
    EXPECT_EQ(2.0f, bank->filtersPerERB);
    EXPECT_EQ(0u, bank->reserved2);
    EXPECT_EQ(nullptr, bank->scratchReal);
    EXPECT_EQ(nullptr, bank->scratchImag);
}

TEST(GammatoneBankTest, TheGridHasTheBaseOnItAndFillsTheRange) {
    for (const float density : {0.5f, 1.0f, 1.7f}) {
        for (const float base : {100.0f, 300.0f, 1000.0f, 4999.0f}) { // 100 lies below the range
            const BankOwner bank({44100.0f, 300.0f, 5000.0f, base, density, 0});
            EXPECT_EQ(0, bank.status);
            const double step = 1.0 / static_cast<double>(density);
            const double low = ErbOf(300.0);
            const double high = ErbOf(5000.0);
            const double baseErb = ErbOf(static_cast<double>(base));
            const double start = baseErb - std::floor((baseErb - low) / step) * step;
            const auto count = static_cast<int>(std::floor((high - start) / step)) + 1;
            ASSERT_EQ(count, bank->bandCount) << density << ' ' << base;
            double nearest = 1e9;
            for (int i = 0; i < count; ++i) {
                const double erb = ErbOf(static_cast<double>(bank->centreFrequencies[i]));
                EXPECT_NEAR(start + i * step, erb, 1e-4) << i;
                nearest = std::min(nearest, std::abs(erb - baseErb));
            }
            if (base >= 300.0f) {
                EXPECT_LT(nearest, 1e-4) << density << ' ' << base;
            }
            EXPECT_GE(bank->centreFrequencies[0], 299.99f);
            EXPECT_LE(bank->centreFrequencies[count - 1], 5000.01f);
        }
    }
}

TEST(GammatoneBankTest, AnEmptyRangeHasNoBands) {
    const BankOwner bank({44100.0f, 500.0f, 400.0f, 500.0f, 1.0f, 0});
    EXPECT_EQ(0, bank->bandCount);
}

// From 235 to 14500 Hz there are 32.04 bandwidths: 50 bands at 1.55 per bandwidth, 52 at 1.6.
TEST(GammatoneBankTest, MoreThanFiftyBandsAreReportedAndLeftOut) {
    Gfb_Parameters parameters = kOnsetBank;
    parameters.filtersPerERB = 1.55f;
    EXPECT_EQ("", Captured([&] { EXPECT_EQ(50, BankOwner(parameters)->bandCount); }));
    for (const float density : {1.6f, 3.0f}) {
        parameters.filtersPerERB = density;
        EXPECT_EQ(kTooManyBands, Captured([&] {
                      const BankOwner bank(parameters);
                      EXPECT_EQ(0, bank.status);
                      EXPECT_EQ(50, bank->bandCount);
                      EXPECT_NEAR(ErbOf(235.0) + 49.0 / static_cast<double>(density),
                                  ErbOf(static_cast<double>(bank->centreFrequencies[49])), 1e-4);
                      EXPECT_NE(nullptr, bank->filters[49]);
                  }));
    }
}

TEST(GammatoneBankTest, WithoutCompensationNothingIsPrinted) {
    EXPECT_EQ("", Captured([] { EXPECT_EQ(0, BankOwner(kOnsetBank).status); }));
}

} // namespace
} // namespace qel::core
