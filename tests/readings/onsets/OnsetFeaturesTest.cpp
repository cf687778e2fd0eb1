#include "readings/onsets/OnsetFeatures.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstddef>
#include <numbers>
#include <vector>

namespace qel::readings {
namespace {

constexpr std::size_t kRanges = OnsetFeatures::kRanges;
constexpr std::size_t kShareOfLevel = 5 * kRanges;
// The range of bins 22 to 39 is the sixth.
constexpr std::size_t kBin = 30;
constexpr std::size_t kRangeOfBin = 5;
constexpr double kBinsOfRange = 18;

using Frame = std::vector<float>;

// A frame of "spectrum" with one sine of this amplitude in one bin, its phase in radians.
Frame sine(double amplitude, double phase = 0) {
    Frame pairs(1024);
    pairs[2 * kBin] = static_cast<float>(512 * amplitude * std::cos(phase));
    pairs[2 * kBin + 1] = static_cast<float>(512 * amplitude * std::sin(phase));
    return pairs;
}

// The values of the frame before the last of these.
OnsetFeatures::Values valuesOf(const std::vector<Frame>& frames) {
    OnsetFeatures features;
    OnsetFeatures::Values values{};
    for (const Frame& frame : frames) {
        values = features.add(frame);
    }
    return values;
}

double value(const OnsetFeatures::Values& values, std::size_t group, std::size_t range) {
    return values[group * kRanges + range];
}

TEST(OnsetFeaturesTest, SilenceHasNothingButALowLevel) {
    const auto values = valuesOf({Frame(1024), Frame(1024), Frame(1024)});
    for (std::size_t i = 0; i < values.size(); ++i) {
        EXPECT_NEAR(values[i], i == kShareOfLevel ? -2 : 0, 1e-6) << i; // log10(0.01 + 0)
    }
}

// In bin 30 the phase of a steady sine is the same in each frame.
TEST(OnsetFeaturesTest, ASteadySineHasNothingButItsLevel) {
    const auto values = valuesOf(std::vector<Frame>(8, sine(0.5)));
    for (std::size_t i = 0; i < values.size(); ++i) {
        EXPECT_NEAR(values[i], i == kShareOfLevel ? std::log10(1.01) : 0, 1e-6) << i;
    }
}

// A steady sine between two bins turns by the same angle from frame to frame.
TEST(OnsetFeaturesTest, ASineThatTurnsEvenlyIsNoSurprise) {
    std::vector<Frame> turning;
    for (int t = 0; t < 8; ++t) {
        turning.push_back(sine(0.5, 0.7 * t));
    }
    const auto steady = valuesOf(turning);
    turning[6] = sine(0.51, 0.7 * 6 + 1); // its magnitude has to rise to count
    const auto jumped = valuesOf(turning);
    for (std::size_t r = 0; r < kRanges; ++r) {
        EXPECT_NEAR(value(steady, 3, r), 0, 1e-4);
        if (r != kRangeOfBin) {
            EXPECT_NEAR(value(jumped, 3, r), 0, 1e-4);
        }
    }
    // The distance of 0.51 turned by 1 from 0.5, over the level, which is its amplitude / sqrt(1.5)
    // of a Hann window's three bins.
    const double distance = std::hypot(0.51 * std::cos(1) - 0.5, 0.51 * std::sin(1));
    const double level = 0.51 / std::sqrt(1.5);
    EXPECT_NEAR(value(jumped, 3, kRangeOfBin), std::log10(1 + 30 * distance / level), 1e-4);
}

// From an amplitude of 0.1 to 0.4: rises of the bin, with 1/300 of the level added to both, and of
// the power.
TEST(OnsetFeaturesTest, ALouderSineRisesInItsRangeAlone) {
    const auto values = valuesOf({sine(0.1), sine(0.1), sine(0.1), sine(0.4), sine(0.4)});
    const double level = 0.4 / std::sqrt(1.5);
    const double floor = level / 300;
    const double rise = std::log10((floor + 0.4) / (floor + 0.1)) / kBinsOfRange;
    for (std::size_t r = 0; r < kRanges; ++r) {
        const bool isIts = r == kRangeOfBin;
        EXPECT_NEAR(value(values, 2, r), isIts ? rise : 0, 1e-6) << r;
        EXPECT_NEAR(value(values, 4, r), isIts ? std::log10(1 + 30 * 0.3 / level) : 0, 1e-6) << r;
    }
    EXPECT_GT(value(values, 0, kRangeOfBin) + value(values, 0, kRangeOfBin - 1), 0);
    EXPECT_NEAR(values[kShareOfLevel], std::log10(1.01), 1e-6);
}

TEST(OnsetFeaturesTest, AFallIsNoRise) {
    const auto values = valuesOf({sine(0.4), sine(0.4), sine(0.4), sine(0.1), sine(0.1)});
    for (std::size_t i = 0; i < values.size(); ++i) {
        if (i != kShareOfLevel) {
            EXPECT_NEAR(values[i], 0, 1e-6) << i;
        }
    }
    // The level of the loud sine is kept, and halves in a second of 86.13 hops.
    const double kept = std::exp2(-1 / (44100.0 / 512));
    EXPECT_NEAR(values[kShareOfLevel], std::log10(0.01 + 0.25 / kept), 1e-5);
}

TEST(OnsetFeaturesTest, AQuietStreamHasTheValuesOfALoudOne) {
    std::vector<Frame> loud;
    std::vector<Frame> quiet;
    for (int t = 0; t < 8; ++t) {
        Frame frame(1024);
        for (std::size_t i = 2; i < frame.size(); ++i) {
            frame[i] = static_cast<float>(100 * std::sin(static_cast<double>(i) * (t + 1.3)));
        }
        loud.push_back(frame);
        for (float& number : frame) {
            number /= 64;
        }
        quiet.push_back(frame);
    }
    const auto loudValues = valuesOf(loud);
    const auto quietValues = valuesOf(quiet);
    for (std::size_t i = 0; i < loudValues.size(); ++i) {
        EXPECT_NEAR(loudValues[i], quietValues[i], 1e-5) << i;
    }
}

TEST(OnsetFeaturesTest, AResetForgetsAllFrames) {
    OnsetFeatures features;
    for (int t = 0; t < 5; ++t) {
        features.add(sine(0.9, t));
    }
    features.reset();
    const std::vector<Frame> frames = {sine(0.2), sine(0.3, 1), sine(0.1, 2)};
    OnsetFeatures::Values again{};
    for (const Frame& frame : frames) {
        again = features.add(frame);
    }
    EXPECT_EQ(again, valuesOf(frames));
}

} // namespace
} // namespace qel::readings
