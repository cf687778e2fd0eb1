#include "loudness/range/AAT2F.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <limits>
#include <numbers>
#include <random>
#include <vector>

namespace qel::core {
namespace {

// Single-precision transforms err by a few 2^-24 of the frame's whole energy per bin.
constexpr double kRelativeToTotal = 1e-6;

std::vector<float> Analyze(AAT2F& transform, const std::vector<float>& frame) {
    std::copy(frame.begin(), frame.end(), transform.Frame());
    transform.dftAnalysis();
    return transform.Power();
}

// The plain transform in double precision, by its definition.
std::vector<double> ReferencePowers(const std::vector<float>& frame) {
    const std::size_t size = frame.size();
    std::vector<double> powers(size / 2 + 1);
    for (std::size_t k = 0; k < powers.size(); ++k) {
        std::complex<double> sum = 0.0;
        for (std::size_t n = 0; n < size; ++n) {
            sum += double{frame[n]} *
                   std::polar(1.0, -2.0 * std::numbers::pi * static_cast<double>(k * n % size) /
                                       static_cast<double>(size));
        }
        powers[k] = std::norm(2.0 * sum) * 0.5 / static_cast<double>(size);
    }
    return powers;
}

TEST(AAT2FTest, EveryBinIsThePlainTransformsPower) {
    for (const UInt32 size : {8u, 64u, 1024u}) {
        std::mt19937 random(size);
        std::uniform_real_distribution<float> uniform(-1.0f, 1.0f);
        std::vector<float> frame(size);
        for (float& sample : frame) {
            sample = uniform(random);
        }
        AAT2F transform(size, 1);
        const std::vector<float> power = Analyze(transform, frame);
        const std::vector<double> reference = ReferencePowers(frame);
        ASSERT_EQ(power.size(), reference.size());
        const double total = *std::max_element(reference.begin(), reference.end());
        for (std::size_t k = 0; k < power.size(); ++k) {
            EXPECT_NEAR(std::pow(10.0, double{power[k]} / 10.0), reference[k],
                        total * kRelativeToTotal * 10.0)
                << "bin " << k << " of " << size;
        }
    }
}

TEST(AAT2FTest, ASineAtABinHasItsClosedForm) {
    constexpr UInt32 kSize = 1024;
    std::vector<float> frame(kSize);
    for (UInt32 i = 0; i < kSize; ++i) {
        frame[i] = static_cast<float>(0.5 * std::cos(2.0 * std::numbers::pi * 100.0 * i / kSize));
    }
    AAT2F transform(kSize, 2);
    const std::vector<float> power = Analyze(transform, frame);
    // X is a N / 2, so 2 X is a N, and its square over 2 N is a^2 N / 2: 128.
    EXPECT_NEAR(power[100], 10.0 * std::log10(128.0), 1e-4); // 2^-24 of 21 dB, and the logarithm's
    EXPECT_LT(power[99], -60.0f);
    EXPECT_LT(power[101], -60.0f);
}

TEST(AAT2FTest, TheEndsOfTheSpectrumAreApart) {
    constexpr UInt32 kSize = 16;
    AAT2F transform(kSize, 1);
    // A constant is all bin 0: X is N c, (2 N c)^2 / (2 N) is 2 N c^2. What is 0 exactly has no
    // level.
    const std::vector<float> constant = Analyze(transform, std::vector<float>(kSize, 0.5f));
    EXPECT_NEAR(constant[0], 10.0 * std::log10(8.0), 1e-5);
    EXPECT_EQ(constant[kSize / 2], -std::numeric_limits<float>::infinity());

    std::vector<float> alternating(kSize);
    for (UInt32 i = 0; i < kSize; ++i) {
        alternating[i] = i % 2 == 0 ? 0.5f : -0.5f;
    }
    const std::vector<float> highest = Analyze(transform, alternating);
    EXPECT_EQ(highest[0], -std::numeric_limits<float>::infinity());
    EXPECT_NEAR(highest[kSize / 2], 10.0 * std::log10(8.0), 1e-5);
}

TEST(AAT2FTest, SilenceHasNoLevelAnywhere) {
    AAT2F transform(1024, 1);
    for (const float level : Analyze(transform, std::vector<float>(1024))) {
        EXPECT_EQ(level, -std::numeric_limits<float>::infinity());
    }
}

TEST(AAT2FTest, TheFrameIsKept) {
    AAT2F transform(1024, 1);
    std::vector<float> frame(1024);
    for (std::size_t i = 0; i < frame.size(); ++i) {
        frame[i] = std::sin(0.1f * static_cast<float>(i));
    }
    const std::vector<float> first = Analyze(transform, frame);
    EXPECT_TRUE(std::equal(frame.begin(), frame.end(), transform.Frame()));
    transform.dftAnalysis();
    EXPECT_EQ(transform.Power(), first);
}

} // namespace
} // namespace qel::core
