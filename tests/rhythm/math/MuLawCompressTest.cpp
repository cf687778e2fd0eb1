#include "rhythm/math/RhythmMath.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <vector>

namespace qel::core {
namespace {

using Vector = std::vector<float>;

constexpr float kInfinity = std::numeric_limits<float>::infinity();

Vector Compressed(const Vector& x, float mu) {
    Vector y(x.size() + 1, -77.0f);
    MuLawCompress(x.data(), static_cast<unsigned int>(x.size()), y.data(), mu);
    EXPECT_EQ(-77.0f, y.back());
    y.pop_back();
    return y;
}

// The definition, one value after the other.
float PlainCompressed(float x, float mu) {
    const float scaled = x * mu;
    return static_cast<float>(std::log(1.0 + double{scaled}) / std::log(1.0 + double{mu}));
}

// From the smallest normal number to beyond the largest energies.
TEST(MuLawCompressTest, EachValueIsThatOfTheDefinitionOrItsNeighbour) {
    Vector x = {0.0f};
    for (float value = std::numeric_limits<float>::min(); value < 1e8f; value *= 1.0037f) {
        x.push_back(value);
    }
    for (const float mu : {10.0f, 10000.0f}) {
        const Vector y = Compressed(x, mu);
        std::size_t numDifferent = 0;
        for (std::size_t i = 0; i < x.size(); ++i) {
            const float expected = PlainCompressed(x[i], mu);
            ASSERT_LE(std::nextafter(expected, 0.0f), y[i]) << x[i];
            ASSERT_GE(std::nextafter(expected, kInfinity), y[i]) << x[i];
            numDifferent += y[i] != expected ? 1 : 0;
        }
        // Four units of the last place of double precision seldom cross the middle between two
        // numbers of single precision.
        EXPECT_LE(numDifferent, 1u) << mu << ", of " << x.size();
    }
}

TEST(MuLawCompressTest, ZeroAndOneStay) {
    for (const float mu : {0.5f, 10.0f, 10000.0f}) {
        EXPECT_EQ((Vector{0.0f, 1.0f}), Compressed({0.0f, 1.0f}, mu));
    }
}

// A vector's lanes and the rest after it give the same.
TEST(MuLawCompressTest, AValueDoesNotDependOnItsPlace) {
    Vector x;
    for (int i = 0; i < 37; ++i) {
        x.push_back(0.003f * static_cast<float>(i * i));
    }
    const Vector whole = Compressed(x, 10.0f);
    for (std::size_t i = 0; i < x.size(); ++i) {
        EXPECT_EQ(Compressed({x[i]}, 10.0f)[0], whole[i]) << i;
    }
}

TEST(MuLawCompressTest, EndsOfTheRange) {
    const Vector y = Compressed({-0.1f, -0.05f, -0.2f, kInfinity, -kInfinity, 1e38f,
                                 std::numeric_limits<float>::quiet_NaN(), 0.5f},
                                10.0f);
    EXPECT_EQ(-kInfinity, y[0]); // 0.1 times 10 rounds to 1
    EXPECT_FLOAT_EQ(PlainCompressed(-0.05f, 10.0f), y[1]);
    EXPECT_TRUE(std::isnan(y[2]));
    EXPECT_EQ(kInfinity, y[3]);
    EXPECT_TRUE(std::isnan(y[4]));
    EXPECT_EQ(kInfinity, y[5]); // the product overflows
    EXPECT_TRUE(std::isnan(y[6]));
    EXPECT_FLOAT_EQ(PlainCompressed(0.5f, 10.0f), y[7]);
}

TEST(MuLawCompressTest, WorksInPlaceAndOnNothing) {
    Vector x = {0.1f, 0.2f, 0.3f, 0.4f, 0.5f, 0.6f, 0.7f};
    const Vector expected = Compressed(x, 10.0f);
    MuLawCompress(x.data(), 7, x.data(), 10.0f);
    EXPECT_EQ(expected, x);
    MuLawCompress(x.data(), 0, x.data(), 10.0f);
    EXPECT_EQ(expected, x);
}

} // namespace
} // namespace qel::core
