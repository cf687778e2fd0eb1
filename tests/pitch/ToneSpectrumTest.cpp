// The spectrum of a kernel in closed form, against its transform in double precision.

#include "pitch/ToneSpectrum.h"

#include "TransformedKernel.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <utility>
#include <vector>

namespace qel::core {
namespace {

using testing::Number;
using testing::TransformedKernel;

constexpr float kQFactor = 51.438606f;

double Greatest(const std::vector<Number>& values) {
    double greatest = 0.0;
    for (const Number& value : values) {
        greatest = std::max(greatest, std::abs(value));
    }
    return greatest;
}

// The last ones are those of 44100 Hz.
TEST(ToneSpectrumTest, ItIsTheTransformOfTheKernelAroundItsCentre) {
    for (const UInt32 length : {64u, 65u, 100u, 434u, 1000u, 4096u, 8191u, 16384u, 25205u}) {
        constexpr UInt32 kSize = 32768;
        const std::vector<Number> expected = TransformedKernel(length, kQFactor, kSize);
        const double tolerance = ToneSpectrum::kRelativeError * Greatest(expected);
        const ToneSpectrum tone(length, kQFactor, kSize);
        EXPECT_LT(tone.First(), tone.End());
        EXPECT_LT(tone.End() - tone.First(), kSize / 4);
        for (UInt32 m = tone.First(); m < tone.End(); ++m) {
            ASSERT_LE(std::abs(tone.At(m) - expected[m]), tolerance) << length << " " << m;
        }
    }
}

// Short kernels are of interest everywhere. Of others, what is far from the centre is below any
// threshold of use; there the rounding of the phases, which is noise, is known less well.
TEST(ToneSpectrumTest, FarFromTheCentreItIsTheTransformToTheRoundingOfThePhases) {
    constexpr double kOfPhases = 2e-6;
    for (const UInt32 length : {1u, 2u, 3u, 10u, 63u, 434u, 2000u}) {
        constexpr UInt32 kSize = 2048;
        const std::vector<Number> expected = TransformedKernel(length, kQFactor, kSize);
        const ToneSpectrum tone(length, kQFactor, kSize);
        for (UInt32 m = 0; m < kSize; ++m) {
            ASSERT_LE(std::abs(tone.At(m) - expected[m]), kOfPhases * Greatest(expected))
                << length << " " << m;
        }
    }
}

TEST(ToneSpectrumTest, BeyondTheMainLobeAllIsBelowTheSideLobes) {
    for (const UInt32 length : {ToneSpectrum::kLeastLength, 65u, 80u, 127u, 300u, 1000u}) {
        for (const float qFactor : {16.8f, 25.0f, kQFactor}) {
            constexpr UInt32 kSize = 16384; // sixteen places per bin and more, to meet the peaks
            const ToneSpectrum tone(length, qFactor, kSize);
            const std::vector<Number> expected = TransformedKernel(length, qFactor, kSize);
            double greatest = 0.0;
            for (UInt32 m = 0; m < kSize; ++m) {
                if (m < tone.First() || m >= tone.End()) {
                    greatest = std::max(greatest, std::abs(expected[m]));
                }
            }
            EXPECT_LT(greatest, static_cast<double>(ToneSpectrum::kSideLobes)) << length;
            EXPECT_GT(greatest, 0.0038) << length; // or the bound says nothing
        }
    }
}

TEST(ToneSpectrumTest, ShortKernelsAndThoseAroundTheEndsOfTheCircleMayBeAnywhere) {
    for (const auto& [length, qFactor] :
         {std::pair{1u, kQFactor}, std::pair{63u, kQFactor}, std::pair{1000u, 1.0f}}) {
        const ToneSpectrum tone(length, qFactor, 2048);
        EXPECT_EQ(tone.First(), 0u);
        EXPECT_EQ(tone.End(), 2048u);
    }
}

} // namespace
} // namespace qel::core
