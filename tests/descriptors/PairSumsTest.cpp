// The sums of the pairs of peaks against one dot product after the other, to the bit.

#include "descriptors/PairSums.h"

#include <Accelerate/Accelerate.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <random>
#include <vector>

namespace qel::core {
namespace {

constexpr UInt32 kBins = 512;
const RoughnessCurves kCurves(kBins, 2 * kBins, 44100.0f);

// NaN after the bins: what is read there must not count.
std::vector<float> IndicatorsOf(const std::vector<unsigned int>& peaks) {
    std::vector<float> indicators(kBins + RoughnessCurves::kReadable,
                                  std::numeric_limits<float>::quiet_NaN());
    std::fill_n(indicators.begin(), kBins, 0.0f);
    for (const unsigned int bin : peaks) {
        indicators[bin] = 1.0f;
    }
    return indicators;
}

float SumOfDotProducts(const std::vector<unsigned int>& peaks) {
    const std::vector<float> indicators = IndicatorsOf(peaks);
    float sum = 0.0f;
    for (std::size_t i = 0; i + 1 < peaks.size(); ++i) {
        const auto fast = kCurves.FastFrom(peaks[i], peaks[i + 1] - peaks[i]);
        float product = 0.0f;
        vDSP_dotpr(fast.data(), 1, indicators.data() + peaks[i] + 1, 1, &product, fast.size());
        sum += product;
    }
    return sum;
}

float SumOf(const std::vector<unsigned int>& peaks) {
    return SumOfFastPairs(kCurves, peaks, IndicatorsOf(peaks).data());
}

TEST(PairSumsTest, SumsAreThoseOfTheDotProductsToTheBit) {
    std::mt19937 generator(3);
    for (const double share : {0.02, 0.1, 0.3, 0.5}) {
        std::bernoulli_distribution isPeak(share);
        for (int round = 0; round < 50; ++round) {
            std::vector<unsigned int> peaks;
            for (unsigned int bin = 1; bin + 1 < kBins; ++bin) {
                if (isPeak(generator) && (peaks.empty() || peaks.back() + 1 < bin)) {
                    peaks.push_back(bin);
                }
            }
            ASSERT_EQ(SumOf(peaks), SumOfDotProducts(peaks)) << share << ", round " << round;
        }
    }
}

TEST(PairSumsTest, APairHasTheValueOfItsCurve) {
    for (const unsigned int lower : {1u, 100u, 300u, 508u}) {
        EXPECT_EQ(SumOf({lower, lower + 2}), kCurves.Fast(lower)[1]) << lower;
    }
}

TEST(PairSumsTest, LessThanTwoPeaksHaveNoPair) {
    EXPECT_EQ(SumOf({}), 0.0f);
    EXPECT_EQ(SumOf({510}), 0.0f);
}

} // namespace
} // namespace qel::core
