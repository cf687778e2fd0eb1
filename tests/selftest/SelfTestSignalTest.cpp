#include "tools/selftest/SelfTestSignal.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>

namespace qel::selftest {
namespace {

TEST(SelfTestSignalTest, SamplesAreWhole24BitNumbersWithinFullScale) {
    for (const std::vector<float>& channel : MakeSignal(kWholeSignal)) {
        ASSERT_EQ(kWholeSignal.frames, channel.size());
        for (const float sample : channel) {
            const float scaled = sample * 8388608.0f;
            ASSERT_EQ(std::rint(scaled), scaled);
            ASSERT_LT(std::abs(sample), 1.0f);
        }
    }
}

TEST(SelfTestSignalTest, ChannelsDiffer) {
    const auto signal = MakeSignal(kShortSignal);
    ASSERT_EQ(2u, signal.size());
    EXPECT_NE(signal[0], signal[1]);
}

// The greatest magnitude within 10 ms of a place.
float PeakAt(const std::vector<float>& samples, std::size_t place, std::uint32_t rateHz) {
    float peak = 0.0f;
    for (std::size_t i = place; i < place + rateHz / 100; ++i) {
        peak = std::max(peak, std::abs(samples[i]));
    }
    return peak;
}

TEST(SelfTestSignalTest, EveryFourthStrokeIsTheLoudestOfItsBar) {
    const auto signal = MakeSignal(kWholeSignal);
    const std::size_t period = kWholeSignal.rateHz / 2;
    for (std::size_t stroke = 0; (stroke + 1) * period < kWholeSignal.frames; ++stroke) {
        const float peak = PeakAt(signal[0], stroke * period, kWholeSignal.rateHz);
        if (stroke % 4 == 0) {
            EXPECT_LT(0.45f, peak) << stroke;
        } else {
            EXPECT_GT(0.45f, peak) << stroke;
        }
    }
}

} // namespace
} // namespace qel::selftest
