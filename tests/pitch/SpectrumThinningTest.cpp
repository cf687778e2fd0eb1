// Weights moved to a coarser spectrum, against the sums over the fine one in double precision.

#include "pitch/SpectrumThinning.h"

#include "tests/harness/DoubleTransform.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <utility>
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

// The coarse spectrum of a frame, which is weighted first.
std::vector<Number> CoarseSpectrum(const SpectrumThinning& thinning, std::vector<Number> frame) {
    const std::vector<double> weights = thinning.FrameWeights();
    EXPECT_EQ(weights.size(), frame.size());
    for (std::size_t n = 0; n < frame.size(); ++n) {
        frame[n] *= weights[n];
    }
    return SpectrumOf(std::move(frame), thinning.Size());
}

void Add(const SpectrumThinning& thinning, UInt32 finePlace, Number weight,
         std::vector<Number>& coarse) {
    std::vector<Number> neighbours(thinning.Reach());
    thinning.Add(finePlace, weight, neighbours.data());
    for (std::size_t i = 0; i < neighbours.size(); ++i) {
        const std::size_t place =
            static_cast<std::size_t>(thinning.First(finePlace) + static_cast<int>(coarse.size())) +
            i;
        coarse[place % coarse.size()] += neighbours[i];
    }
}

std::vector<Number> Thinned(const SpectrumThinning& thinning, const std::vector<Number>& weights) {
    std::vector<Number> coarse(thinning.Size());
    for (UInt32 m = 0; m < weights.size(); ++m) {
        Add(thinning, m, weights[m], coarse);
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

TEST(SpectrumThinningTest, WhereNothingIsLeftOutFramesAreNotWeighted) {
    const SpectrumThinning thinning(kFineSize, kFineSize / 2);
    EXPECT_EQ(thinning.Step(), 1u);
    EXPECT_EQ(thinning.Reach(), 1u);
    EXPECT_EQ(thinning.FrameWeights(), std::vector<double>(kFineSize / 2, 1.0));
}

// Greater weights would raise the rounding of single precision with the ends of frames.
TEST(SpectrumThinningTest, FrameWeightsAreSymmetricAndGrowToThreeTimesAtTheEnds) {
    const SpectrumThinning thinning(kFineSize, 512);
    const std::vector<double> weights = thinning.FrameWeights();
    ASSERT_EQ(weights.size(), 512u);
    for (std::size_t n = 1; n < 256; ++n) {
        EXPECT_NEAR(weights[n], weights[512 - n], 1e-12 * weights[n]);
        EXPECT_GT(weights[n - 1], weights[n]);
    }
    EXPECT_LT(weights[0], 4.0 * weights[256]);
    EXPECT_GT(weights[0], 2.0 * weights[256]);
}

// One weight at each place, those around both ends of the spectrum among them.
TEST(SpectrumThinningTest, EveryPlaceIsToldByTheCoarseSpectrum) {
    for (const UInt32 samples : {512u, 500u, 256u, 129u, 32u, 20u, 5u, 1u}) {
        const SpectrumThinning thinning(kFineSize, samples);
        EXPECT_LT(thinning.Size(), kFineSize);
        const std::vector<Number> frame = Noise(samples, samples);
        const std::vector<Number> fine = SpectrumOf(frame, kFineSize);
        const std::vector<Number> coarse = CoarseSpectrum(thinning, frame);
        const double tolerance = SpectrumThinning::kRelativeError * SumOfMagnitudes(frame);
        for (UInt32 m = 0; m < kFineSize; ++m) {
            std::vector<Number> weights(thinning.Size());
            Add(thinning, m, 1.0, weights);
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
        const std::vector<Number> coarse = CoarseSpectrum(thinning, frame);
        for (const UInt32 m : {1u, 2u, 3u, kFineSize / 2 + 2}) {
            std::vector<Number> weights(thinning.Size());
            Add(thinning, m, 1.0, weights);
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
    const Number coarse = Product(Thinned(thinning, weights), CoarseSpectrum(thinning, frame));
    EXPECT_LE(std::abs(coarse - fine),
              SpectrumThinning::kRelativeError * SumOfMagnitudes(weights) * SumOfMagnitudes(frame));
    EXPECT_GT(std::abs(fine), 1.0); // there is something to lose
}

} // namespace
} // namespace qel::core
