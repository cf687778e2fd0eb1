#include "spectral/Magnitudes.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <random>
#include <vector>

namespace qel::core {
namespace {

using Signal = std::vector<float>;

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
constexpr float kInfinity = std::numeric_limits<float>::infinity();

Signal Noise(std::size_t length, unsigned seed) {
    std::mt19937 random(seed);
    std::normal_distribution<float> normal(0.0f, 3.0f);
    Signal noise(length);
    for (float& value : noise) {
        value = normal(random);
    }
    return noise;
}

Signal Plain(const Signal& real, const Signal& imaginary) {
    Signal magnitudes(real.size());
    const DSPSplitComplex values{const_cast<float*>(real.data()),
                                 const_cast<float*>(imaginary.data())};
    vDSP_zvabs(&values, 1, magnitudes.data(), 1, magnitudes.size());
    return magnitudes;
}

TEST(MagnitudesTest, ValuesAndRangeAreThoseOfEachByItself) {
    for (std::size_t length = 1; length < 70; ++length) {
        Signal real = Noise(length, 1);
        Signal imaginary = Noise(length, 2);
        const Signal expected = Plain(real, imaginary);
        Signal actual(length);
        const MagnitudeRange range =
            MagnitudesAndRange({real.data(), imaginary.data()}, actual.data(), length);
        EXPECT_EQ(actual, expected) << length;
        EXPECT_EQ(range.least, *std::min_element(expected.begin(), expected.end())) << length;
        EXPECT_EQ(range.greatest, *std::max_element(expected.begin(), expected.end())) << length;
        // Right triangles are the closed form behind both.
        EXPECT_NEAR(static_cast<double>(actual[0]),
                    std::hypot(static_cast<double>(real[0]), static_cast<double>(imaginary[0])),
                    2e-7 * static_cast<double>(actual[0]));
    }
}

TEST(MagnitudesTest, WhatIsNoNumberIsNeitherLeastNorGreatest) {
    for (std::size_t at = 0; at < 19; ++at) {
        Signal real = Noise(19, 3);
        Signal imaginary(19, 0.0f);
        real[at] = kNaN;
        real[(at + 5) % 19] = kInfinity;
        real[(at + 9) % 19] = 0.0f;
        Signal out(19);
        const MagnitudeRange range =
            MagnitudesAndRange({real.data(), imaginary.data()}, out.data(), 19);
        EXPECT_TRUE(std::isnan(out[at]));
        EXPECT_EQ(range.least, 0.0f) << at;
        EXPECT_EQ(range.greatest, kInfinity) << at;
    }
}

TEST(MagnitudesTest, NoValuesHaveNoRange) {
    const MagnitudeRange range = MagnitudesAndRange({nullptr, nullptr}, nullptr, 0);
    EXPECT_EQ(range.least, kInfinity);
    EXPECT_EQ(range.greatest, 0.0f);
}

TEST(MagnitudesTest, ValuesMoveDownByOneAndTheLastStays) {
    for (std::size_t count = 0; count < 70; ++count) {
        Signal real = Noise(count + 1, 4);
        Signal imaginary = Noise(count + 1, 5);
        const auto moved = [](Signal signal) {
            std::copy(signal.begin() + 1, signal.end(), signal.begin());
            return signal;
        };
        const Signal expectedReal = moved(real);
        const Signal expectedImaginary = moved(imaginary);
        Signal expected = Plain(expectedReal, expectedImaginary);
        expected[count] = -1.0f;
        Signal actual(count + 1, -1.0f);
        MoveDownWithMagnitudes({real.data(), imaginary.data()}, actual.data(), count);
        EXPECT_EQ(real, expectedReal) << count;
        EXPECT_EQ(imaginary, expectedImaginary) << count;
        EXPECT_EQ(actual, expected) << count;
    }
}

} // namespace
} // namespace qel::core
