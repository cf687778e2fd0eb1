#include "loudness/range/AATDPreprocess.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <numbers>
#include <vector>

namespace qel::core {
namespace {

constexpr UInt32 kSize = 1024;
constexpr UInt32 kHalf = kSize / 2;

struct Windowed {
    std::vector<float> output = std::vector<float>(kSize);
    int usable = -1;
};

Windowed Apply(const std::vector<float>& frame) {
    static const AATDPreprocess preprocess(kSize);
    // Apart from each other, as they are when a push begins.
    const std::vector<float> first(frame.begin(), frame.begin() + kHalf);
    const std::vector<float> second(frame.begin() + kHalf, frame.end());
    Windowed result;
    preprocess.ApplyWindow(first.data(), second.data(), result.output.data(), 0, 1, &result.usable);
    return result;
}

// Half of the samples up, half down: mean 0, variance level^2.
std::vector<float> Alternating(float level, float mean = 0.0f) {
    std::vector<float> frame(kSize);
    for (UInt32 i = 0; i < kSize; ++i) {
        frame[i] = i % 2 == 0 ? mean + level : mean - level;
    }
    return frame;
}

TEST(AATDPreprocessTest, TheWindowIsASineOfMeanSquareOne) {
    const AATDPreprocess preprocess(kSize);
    const std::vector<float>& window = preprocess.Window();
    ASSERT_EQ(window.size(), kSize);
    double sumOfSquares = 0.0;
    for (UInt32 i = 0; i < kSize; ++i) {
        // The squares of a sine at N points half a step off its zeros have the sum N / 2.
        const double expected =
            std::numbers::sqrt2 * std::sin((i + 0.5) * std::numbers::pi / kSize);
        EXPECT_FLOAT_EQ(window[i], static_cast<float>(expected));
        sumOfSquares += double{window[i]} * double{window[i]};
    }
    EXPECT_NEAR(sumOfSquares / kSize, 1.0, 1e-7); // each square is off by 2^-24 of itself at most
}

TEST(AATDPreprocessTest, BothHalvesAreWindowed) {
    std::vector<float> frame(kSize);
    for (UInt32 i = 0; i < kSize; ++i) {
        frame[i] = std::sin(0.37f * static_cast<float>(i)) + 0.25f;
    }
    const Windowed result = Apply(frame);
    const AATDPreprocess preprocess(kSize);
    EXPECT_EQ(result.usable, 1);
    for (UInt32 i = 0; i < kSize; ++i) {
        EXPECT_EQ(result.output[i], frame[i] * preprocess.Window()[i]) << i;
    }
}

TEST(AATDPreprocessTest, MoreThanATenthOfZerosIsUnusable) {
    // 102.4 is a tenth. Zeros of both halves count.
    for (const UInt32 zeros : {0u, 101u, 102u, 103u, 1024u}) {
        std::vector<float> frame = Alternating(0.5f);
        for (UInt32 i = 0; i < zeros; ++i) {
            frame[(i * 511) % kSize] =
                i % 3 == 0 ? -0.0f : 0.0f; // 511 and 1024 have no common factor
        }
        EXPECT_EQ(Apply(frame).usable, zeros <= 102 ? 1 : 0) << zeros;
    }
}

TEST(AATDPreprocessTest, ASampleThatTheWindowMakesSmallIsNoZero) {
    std::vector<float> frame = Alternating(0.5f);
    for (UInt32 i = 0; i < 200; ++i) {
        frame[i] = 1e-30f;
    }
    EXPECT_EQ(Apply(frame).usable, 1);
}

TEST(AATDPreprocessTest, AConstantIsUnusableWhateverItsLevel) {
    for (const float level : {1e-3f, 0.1f, -0.3f, 0.7f, 1.0f, -1.0f}) {
        EXPECT_EQ(Apply(std::vector<float>(kSize, level)).usable, 0) << level;
    }
}

TEST(AATDPreprocessTest, TheVarianceMustReachOneHundredMillionth) {
    // sqrt(1e-8) is 1e-4. A hundredth off it is far beyond what rounding does.
    EXPECT_EQ(Apply(Alternating(1.01e-4f)).usable, 1);
    EXPECT_EQ(Apply(Alternating(0.99e-4f)).usable, 0);
    // The mean does not count as variance; beside 0.25 samples are rounded to 3e-8.
    EXPECT_EQ(Apply(Alternating(1.01e-4f, 0.25f)).usable, 1);
    EXPECT_EQ(Apply(Alternating(0.99e-4f, 0.25f)).usable, 0);
}

TEST(AATDPreprocessTest, ASampleThatIsNoNumberLeavesTheFrameUsable) {
    for (const float odd :
         {std::numeric_limits<float>::quiet_NaN(), std::numeric_limits<float>::infinity()}) {
        std::vector<float> frame = Alternating(0.5f);
        frame[700] = odd;
        EXPECT_EQ(Apply(frame).usable, 1);
    }
}

} // namespace
} // namespace qel::core
