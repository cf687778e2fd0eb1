#include "readings/stream/RateChange.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <numbers>
#include <span>
#include <vector>

namespace qel::readings {
namespace {

using Samples = std::vector<float>;

constexpr double kToneHz = 1000;

Samples toneAt(double rateHz, std::size_t count, double hz = kToneHz) {
    Samples samples;
    for (std::size_t i = 0; i < count; ++i) {
        const double t = static_cast<double>(i) / rateHz;
        samples.push_back(static_cast<float>(std::sin(2 * std::numbers::pi * hz * t)));
    }
    return samples;
}

Samples changed(RateChange& change, const Samples& samples, std::size_t step) {
    Samples all;
    const auto take = [&](std::span<const float> some) {
        all.insert(all.end(), some.begin(), some.end());
    };
    for (std::size_t at = 0; at < samples.size(); at += step) {
        take(change.add(std::span(samples).subspan(at, std::min(step, samples.size() - at))));
    }
    take(change.end());
    return all;
}

float greatest(std::span<const float> samples) {
    float most = 0;
    for (const float sample : samples) {
        most = std::max(most, std::abs(sample));
    }
    return most;
}

TEST(RateChangeTest, CommonRatesStayAsTheyAre) {
    for (const double rateHz : {44100.0, 48000.0, 44056.0, 44099.5}) {
        EXPECT_TRUE(ratioToCommonRate(rateHz).isOne()) << rateHz;
    }
}

TEST(RateChangeTest, EveryRateComesBetween44And48500Hz) {
    for (double rateHz = 8000; rateHz <= 768000; rateHz *= 1.0123) {
        const double hz = rateHz * ratioToCommonRate(rateHz).value();
        EXPECT_GE(hz, 44000) << rateHz;
        EXPECT_LE(hz, 48500) << rateHz;
    }
}

TEST(RateChangeTest, TheSimplestRatioIsTaken) {
    const auto expect = [](double rateHz, std::uint32_t numerator, std::uint32_t denominator) {
        const RateRatio ratio = ratioToCommonRate(rateHz);
        EXPECT_EQ(ratio.numerator, numerator) << rateHz;
        EXPECT_EQ(ratio.denominator, denominator) << rateHz;
    };
    expect(8000, 6, 1);
    expect(11025, 4, 1);
    expect(22050, 2, 1);
    expect(32000, 3, 2);
    expect(88200, 1, 2);
    expect(96000, 1, 2);
    expect(192000, 1, 4);
}

class RateChangeRateTest : public testing::TestWithParam<double> {};

// The filter's ripple is below 1e-4.
TEST_P(RateChangeRateTest, AToneStaysWhereItIs) {
    const RateRatio ratio = ratioToCommonRate(GetParam());
    RateChange change(ratio);
    const auto count = static_cast<std::size_t>(GetParam() / 2);
    const Samples found = changed(change, toneAt(GetParam(), count), 512);
    const auto length = static_cast<std::size_t>(
        std::ceil(static_cast<double>(count) * ratio.numerator / ratio.denominator));
    ASSERT_EQ(found.size(), length);
    const Samples wanted = toneAt(GetParam() * ratio.value(), length);
    for (std::size_t i = 1000; i + 1000 < length; ++i) {
        ASSERT_NEAR(found[i], wanted[i], 1e-4) << i;
    }
}

TEST_P(RateChangeRateTest, CutsAndAResetChangeNothing) {
    RateChange change(ratioToCommonRate(GetParam()));
    const Samples samples = toneAt(GetParam(), 5000);
    const Samples whole = changed(change, samples, samples.size());
    for (const std::size_t step : {1u, 77u, 512u}) {
        change.reset();
        EXPECT_EQ(changed(change, samples, step), whole);
    }
}

INSTANTIATE_TEST_SUITE_P(Rates, RateChangeRateTest,
                         testing::Values(8000.0, 22050.0, 32000.0, 50000.0, 96000.0, 192000.0));

// 30 kHz at 96 kHz would be heard at 18 kHz.
TEST(RateChangeTest, WhatTheLowerRateDoesNotHoldIsGone) {
    RateChange change({1, 2});
    const Samples found = changed(change, toneAt(96000, 48000, 30000), 512);
    EXPECT_LE(greatest(std::span(found).subspan(1000, 20000)), 1e-4f); // -80 dB
}

TEST(RateChangeTest, AnEmptyStreamStaysEmpty) {
    RateChange change({1, 2});
    EXPECT_TRUE(changed(change, {}, 512).empty());
}

} // namespace
} // namespace qel::readings
