#include "VectorTesting.h"

#include <Accelerate/vDSP.h>

#include <algorithm>

namespace qel::testing {
namespace {

TEST(vDSPGenerateTest, VrampMultipliesTheIndexInsteadOfAccumulating) {
    const float start = 0.3f;
    const float step = 0.1f;
    for (const std::size_t count : Sizes{0, 1, 2, 3, 5, 7, 8, 15, 16, 17, 33, 1023, 100000}) {
        for (const vDSP_Stride stride : {1L, 2L, -1L}) {
            FloatVector out(std::vector<float>(count), stride, 1);
            vDSP_vramp(&start, &step, out.Data(), stride, count);
            const std::vector<float> actual = out.Values();
            for (std::size_t n = 0; n < count; ++n) {
                const auto product =
                    static_cast<float>(static_cast<double>(n) * static_cast<double>(step));
                const auto expected =
                    static_cast<float>(static_cast<double>(start) + static_cast<double>(product));
                ASSERT_EQ(actual[n], expected) << n;
            }
            EXPECT_TRUE(out.GapsAreIntact());
        }
    }
}

TEST(vDSPGenerateTest, VrampOfStepOneCountsExactly) {
    const float start = 0.0f;
    const float step = 1.0f;
    std::vector<float> ramp(1001);
    vDSP_vramp(&start, &step, ramp.data(), 1, ramp.size());
    for (std::size_t n = 0; n < ramp.size(); ++n) {
        ASSERT_EQ(ramp[n], static_cast<float>(n));
    }
}

TEST(vDSPGenerateTest, VpolyTakesTheHighestPowerFirst) {
    // 2 x^3 - 3 x + 5 at 2 is 15, at -1 is 6, at 0 is 5.
    const float coefficients[] = {2.0f, 0.0f, -3.0f, 5.0f};
    const float x[] = {2.0f, -1.0f, 0.0f};
    float y[3];
    vDSP_vpoly(coefficients, 1, x, 1, y, 1, 3, 3);
    EXPECT_EQ(std::vector<float>(y, y + 3), (std::vector<float>{15.0f, 6.0f, 5.0f}));
}

TEST(vDSPGenerateTest, VpolyIsHornersRule) {
    ForEachShape([](const Shape& shape) {
        for (const std::size_t degree : Sizes{0, 1, 2, 7}) {
            const std::vector<float> a = Noise(degree + 1, 61);
            const std::vector<float> b = Noise(shape.count, 62);
            FloatVector coefficients(a, shape.second, shape.offset);
            FloatVector x(b, shape.first, shape.offset);
            FloatVector y(std::vector<float>(shape.count), shape.output, shape.offset);
            vDSP_vpoly(coefficients.Data(), coefficients.Stride(), x.Data(), x.Stride(), y.Data(),
                       y.Stride(), shape.count, degree);
            const std::vector<float> actual = y.Values();
            for (std::size_t n = 0; n < shape.count; ++n) {
                double expected = 0.0;
                for (std::size_t p = 0; p <= degree; ++p) {
                    expected +=
                        static_cast<double>(a[p]) *
                        std::pow(static_cast<double>(b[n]), static_cast<double>(degree - p));
                }
                // Two roundings per step, each relative to a value below degree + 1.
                const auto steps = static_cast<double>(degree);
                ASSERT_NEAR(static_cast<double>(actual[n]), expected,
                            2.0 * (steps + 1.0) * (steps + 1.0) * kRounding);
            }
            EXPECT_TRUE(y.GapsAreIntact());
        }
    });
}

TEST(vDSPGenerateTest, VrvrsReversesInPlace) {
    ForEachShape([](const Shape& shape) {
        std::vector<float> values = Noise(shape.count, 63);
        FloatVector vector(values, shape.first, shape.offset);
        vDSP_vrvrs(vector.Data(), vector.Stride(), shape.count);
        std::reverse(values.begin(), values.end());
        EXPECT_EQ(vector.Values(), values);
        EXPECT_TRUE(vector.GapsAreIntact());
    });
}

} // namespace
} // namespace qel::testing
