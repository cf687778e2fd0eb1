#include "InstructionSets.h"
#include "VectorTesting.h"

#include <Accelerate/vDSP.h>

#include <cfenv>
#include <limits>
#include <utility>

namespace qel::testing {
namespace {

constexpr int kSmallest = std::numeric_limits<int>::min();

TEST(vDSPConvertTest, Vfixr32GivesTheNearestInteger) {
    ForEachShape([](const Shape& shape) {
        const std::vector<float> a = Noise(shape.count, 3, -3000.0f, 3000.0f);
        std::vector<int> expected;
        for (const float x : a) {
            expected.push_back(static_cast<int>(std::nearbyint(static_cast<double>(x))));
        }
        FloatVector in(a, shape.first, shape.offset);
        StridedVector<int> out(std::vector<int>(shape.count), shape.output, shape.offset);
        vDSP_vfixr32(in.Data(), in.Stride(), out.Data(), out.Stride(), shape.count);
        EXPECT_EQ(out.Values(), expected);
        EXPECT_TRUE(out.GapsAreIntact());
    });
}

// Each value alone and in a run, so that single lanes and full vectors meet it.
void ExpectRounded(float value, int expected) {
    for (const std::size_t count : Sizes{1, 67}) {
        const std::vector<float> in(count, value);
        std::vector<int> out(count);
        vDSP_vfixr32(in.data(), 1, out.data(), 1, count);
        EXPECT_EQ(out, std::vector<int>(count, expected)) << value;
    }
}

TEST(vDSPConvertTest, Vfixr32TakesTheEvenOfTwoThatAreEquallyNear) {
    ForEachInstructionSet([] {
        for (const auto& [value, expected] : {std::pair{0.5f, 0},
                                              {1.5f, 2},
                                              {2.5f, 2},
                                              {-0.5f, 0},
                                              {-1.5f, -2},
                                              {8388607.5f, 8388608}}) {
            ExpectRounded(value, expected);
        }
    });
}

TEST(vDSPConvertTest, Vfixr32GivesTheSmallestIntegerForWhatDoesNotFit) {
    constexpr float kInfinity = std::numeric_limits<float>::infinity();
    ForEachInstructionSet([] {
        for (const float value : {2147483648.0f, 3e9f, -3e9f, kInfinity, -kInfinity,
                                  std::numeric_limits<float>::quiet_NaN(), -2147483648.0f}) {
            ExpectRounded(value, kSmallest);
        }
        ExpectRounded(2147483520.0f, 2147483520);
        ExpectRounded(-2147483520.0f, -2147483520);
    });
}

#if defined(__x86_64__)
TEST(vDSPConvertTest, Vfixr32FollowsTheRoundingMode) {
    for (const auto& [mode, expected] : {std::pair{FE_UPWARD, 2}, {FE_DOWNWARD, 1}}) {
        ASSERT_EQ(std::fesetround(mode), 0);
        std::vector<int> out(67);
        const std::vector<float> in(out.size(), 1.25f);
        vDSP_vfixr32(in.data(), 1, out.data(), 1, in.size());
        std::fesetround(FE_TONEAREST);
        EXPECT_EQ(out, std::vector<int>(out.size(), expected));
    }
}
#endif

} // namespace
} // namespace qel::testing
