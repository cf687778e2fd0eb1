// Weights moved to a coarser spectrum, against the sums over the fine one in double precision.

#include "pitch/SpectrumThinning.h"

#include "DoubleTransform.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <vector>

namespace qel::core {
namespace {

using testing::Number;
using testing::Transform;

constexpr UInt32 kFineSize = 2048;

std::vector<Number> Noise(std::size_t count, unsigned seed) {
    std::mt19937 generator(seed);
    std::uniform_real_distribution<double> values(-1.0, 1.0);
    std::vector<Number> noise(count);
    for (Number& value : noise) {
        value = {values(generator), values(generator)};
    }
    return noise;
}

double SumOfMagnitudes(const std::vector<Number>& values) {
    double sum = 0.0;
    for (const Number& value : values) {
        sum += std::abs(value);
    }
    return sum;
}

Number Product(const std::vector<Number>& weights, const std::vector<Number>& spectrum) {
    Number sum = 0.0;
    for (std::size_t m = 0; m < weights.size(); ++m) {
        sum += weights[m] * spectrum[m];
    }
    return sum;
}

std::vector<Number> SpectrumOf(std::vector<Number> frame, std::size_t size) {
    frame.resize(size);
    Transform(frame);
    return frame;
}

std::vector<Number> Thinned(const SpectrumThinning& thinning, const std::vector<Number>& weights) {
    std::vector<Number> coarse(thinning.Size());
    for (UInt32 m = 0; m < weights.size(); ++m) {
        thinning.Add(m, weights[m], coarse.data());
    }
    return coarse;
}

TEST(SpectrumThinningTest, TheCoarseTransformHasTwiceTheFrameInAPowerOfTwo) {
    EXPECT_EQ(SpectrumThinning::CoarseSize(32768, 8192), 16384u);
    EXPECT_EQ(SpectrumThinning::CoarseSize(131072, 8192), 16384u);
    EXPECT_EQ(SpectrumThinning::CoarseSize(32768, 4097), 16384u);
    EXPECT_EQ(SpectrumThinning::CoarseSize(32768, 4096), 8192u);
    EXPECT_EQ(SpectrumThinning::CoarseSize(32768, 1), 2u);
}

TEST(SpectrumThinningTest, WhereTheFrameIsLongNothingIsLeftOut) {
    for (const UInt32 frame : {8193u, 16384u, 32767u, 32768u, 100000u, 4000000000u}) {
        EXPECT_EQ(SpectrumThinning::CoarseSize(32768, frame), 32768u) << frame;
    }
    const SpectrumThinning thinning(kFineSize, kFineSize / 2);
    const std::vector<Number> weights = Noise(kFineSize, 1);
    EXPECT_EQ(Thinned(thinning, weights), weights);
}

TEST(SpectrumThinningTest, PlacesThatBothTransformsHaveKeepTheirWeight) {
    const SpectrumThinning thinning(kFineSize, kFineSize / 8);
    ASSERT_EQ(thinning.Size(), kFineSize / 4);
    for (const UInt32 place : {0u, 1u, 100u, thinning.Size() - 1}) {
        std::vector<Number> expected(thinning.Size());
        expected[place] = {0.3, -0.7};
        std::vector<Number> coarse(thinning.Size());
        thinning.Add(4 * place, {0.3, -0.7}, coarse.data());
        EXPECT_EQ(coarse, expected) << place;
    }
}

// One weight at each place, those around both ends of the spectrum among them.
TEST(SpectrumThinningTest, EveryPlaceIsToldByTheCoarseSpectrum) {
    for (const UInt32 samples : {512u, 500u, 256u, 129u, 32u, 20u, 5u, 1u}) {
        const SpectrumThinning thinning(kFineSize, samples);
        EXPECT_LT(thinning.Size(), kFineSize);
        const std::vector<Number> frame = Noise(samples, samples);
        const std::vector<Number> fine = SpectrumOf(frame, kFineSize);
        const std::vector<Number> coarse = SpectrumOf(frame, thinning.Size());
        const double tolerance = SpectrumThinning::kRelativeError * SumOfMagnitudes(frame);
        for (UInt32 m = 0; m < kFineSize; ++m) {
            std::vector<Number> weights(thinning.Size());
            thinning.Add(m, 1.0, weights.data());
            ASSERT_LE(std::abs(Product(weights, coarse) - fine[m]), tolerance)
                << samples << " samples, place " << m;
        }
    }
}

// The worst a sample can do, at either end of a frame that fills half of the coarse transform: a
// spectrum of one frequency, whose coarse places lie as far apart as they may.
TEST(SpectrumThinningTest, OneSampleAnywhereStaysWithinTheBound) {
    constexpr UInt32 kSamples = kFineSize / 8;
    const SpectrumThinning thinning(kFineSize, kSamples);
    for (UInt32 at = 0; at < kSamples; ++at) {
        std::vector<Number> frame(kSamples);
        frame[at] = 1.0;
        const std::vector<Number> fine = SpectrumOf(frame, kFineSize);
        const std::vector<Number> coarse = SpectrumOf(frame, thinning.Size());
        for (const UInt32 m : {1u, 2u, 3u, kFineSize / 2 + 2}) {
            std::vector<Number> weights(thinning.Size());
            thinning.Add(m, 1.0, weights.data());
            ASSERT_LE(std::abs(Product(weights, coarse) - fine[m]),
                      SpectrumThinning::kRelativeError)
                << "sample " << at << ", place " << m;
        }
    }
}

TEST(SpectrumThinningTest, WeightsAddUp) {
    const SpectrumThinning thinning(kFineSize, 200);
    const std::vector<Number> frame = Noise(200, 3);
    const std::vector<Number> weights = Noise(kFineSize, 4);
    const Number fine = Product(weights, SpectrumOf(frame, kFineSize));
    const Number coarse = Product(Thinned(thinning, weights), SpectrumOf(frame, thinning.Size()));
    EXPECT_LE(std::abs(coarse - fine),
              SpectrumThinning::kRelativeError * SumOfMagnitudes(weights) * SumOfMagnitudes(frame));
    EXPECT_GT(std::abs(fine), 1.0); // there is something to lose
}

} // namespace
} // namespace qel::core
