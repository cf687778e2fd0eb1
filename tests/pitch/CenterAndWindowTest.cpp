#include "pitch/CenterAndWindow.h"

#include <Accelerate/Accelerate.h>

#include <gtest/gtest.h>

#include <random>
#include <vector>

namespace qel::core {
namespace {

using Vector = std::vector<float>;

Vector Noise(std::size_t length, unsigned seed) {
    std::mt19937 random(seed);
    std::normal_distribution<float> normal(0.1f, 0.3f);
    Vector noise(length);
    for (float& value : noise) {
        value = normal(random);
    }
    return noise;
}

TEST(CenterAndWindowTest, AllLengthsAreAsStepByStepToTheLastBit) {
    for (std::size_t length = 1; length < 70; ++length) {
        const Vector samples = Noise(length, 1);
        const Vector window = Noise(length, 2);
        Vector expected = samples;
        float mean = 0.0f;
        vDSP_meanv(expected.data(), 1, &mean, length);
        const float offset = -mean;
        vDSP_vsadd(expected.data(), 1, &offset, expected.data(), 1, length);
        vDSP_vmul(expected.data(), 1, window.data(), 1, expected.data(), 1, length);
        Vector actual = samples;
        CenterAndWindow(actual.data(), window.data(), static_cast<UInt32>(length));
        EXPECT_EQ(actual, expected) << length;
    }
}

TEST(CenterAndWindowTest, TheMeanGoesBeforeTheWindow) {
    Vector values{3.0f, 5.0f, 7.0f, 9.0f};
    const Vector window{0.5f, 1.0f, 2.0f, 0.0f};
    CenterAndWindow(values.data(), window.data(), 4);
    EXPECT_EQ(values, (Vector{-1.5f, -1.0f, 2.0f, 0.0f}));
}

} // namespace
} // namespace qel::core
