// The beginning of a frame's spectrum, against its transform in double precision.

#include "pitch/FrameTransform.h"

#include "UniformNoise.h"
#include "tests/harness/DoubleTransform.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <vector>

namespace qel::core {
namespace {

using testing::Number;
using testing::Transform;
using testing::UniformNoise;

struct Result {
    bool isFinite;
    std::vector<Number> spectrum;
};

Result ResultOf(const FrameTransform& transform, const std::vector<float>& frame,
                std::size_t places) {
    std::vector<float> scratch(transform.ScratchFloats());
    std::vector<float> real(transform.SpectrumFloats(), 7.0f);
    std::vector<float> imag(transform.SpectrumFloats(), 7.0f);
    Result result{transform.Run(frame.data(), scratch.data(), {real.data(), imag.data()}), {}};
    for (std::size_t m = 0; m < places; ++m) {
        result.spectrum.emplace_back(static_cast<double>(real[m]), static_cast<double>(imag[m]));
    }
    return result;
}

void ExpectSpectrum(UInt32 log2Size, UInt32 frameSamples, UInt32 places) {
    const std::size_t size = std::size_t{1} << log2Size;
    const std::vector<float> frame = UniformNoise(frameSamples, frameSamples + places);
    std::vector<Number> expected(size);
    double power = 0.0;
    for (std::size_t n = 0; n < std::min<std::size_t>(frameSamples, size); ++n) {
        expected[n] = 2.0 * static_cast<double>(frame[n]);
        power += std::norm(expected[n]);
    }
    Transform(expected);
    const FrameTransform transform(log2Size, frameSamples, places);
    const Result result = ResultOf(transform, frame, places);
    ASSERT_TRUE(result.isFinite);
    // Each step of a transform rounds to 24 bits, and its errors add up as noise does.
    const double tolerance = 2.0 * std::sqrt(power) * log2Size / 16777216.0;
    for (std::size_t m = 0; m < places; ++m) {
        ASSERT_LE(std::abs(result.spectrum[m] - expected[m]), tolerance)
            << size << " points, " << frameSamples << " samples, place " << m;
    }
}

// The second half of the places are negative frequencies.
TEST(FrameTransformTest, AFrameThatFillsHalfOfTheTransform) {
    for (const UInt32 places : {1u, 2u, 8u, 2030u, 8191u, 8192u, 8193u, 8194u, 16384u}) {
        ExpectSpectrum(14, 8192, places);
    }
}

TEST(FrameTransformTest, SmallTransforms) {
    for (UInt32 log2Size = 1; log2Size < 10; ++log2Size) {
        const UInt32 size = UInt32{1} << log2Size;
        for (const UInt32 samples : {1u, size / 2, size - 1, size, size + 1, 3 * size}) {
            ExpectSpectrum(log2Size, samples, size);
            ExpectSpectrum(log2Size, samples, size / 2);
        }
    }
}

TEST(FrameTransformTest, ZerosFollowAFrameOfAnyLength) {
    for (const UInt32 samples : {1u, 100u, 1000u, 1023u, 1025u, 2047u}) {
        ExpectSpectrum(11, samples, 700);
    }
}

// Also if the places that are wanted are finite. What is found is left as it was.
TEST(FrameTransformTest, APlaceThatIsNotFiniteIsTold) {
    constexpr UInt32 kPlaces = 100;
    for (const UInt32 samples : {512u, 1000u}) {
        const FrameTransform transform(10, samples, kPlaces);
        for (const float odd : {std::nanf(""), std::numeric_limits<float>::infinity(), 1e38f}) {
            std::vector<float> frame(samples);
            // Two neighbours of opposite sign are loud at half the rate only, where 4e38 overflows.
            frame[100] = odd;
            frame[101] = -odd;
            const Result result = ResultOf(transform, frame, kPlaces);
            EXPECT_FALSE(result.isFinite) << samples << " " << odd;
            EXPECT_EQ(result.spectrum, std::vector<Number>(kPlaces, Number(7.0, 7.0)));
        }
    }
}

// The sum of all values overflows, none of them does.
TEST(FrameTransformTest, ALoudFrameIsFinite) {
    for (const UInt32 samples : {512u, 1000u}) {
        const FrameTransform transform(10, samples, 100);
        std::vector<float> frame(samples);
        frame[0] = 1e38f;
        EXPECT_TRUE(ResultOf(transform, frame, 100).isFinite);
    }
}

} // namespace
} // namespace qel::core
