// The sums of the pairs of peaks against one product after the other, to the bit.

#include "descriptors/PairSums.h"

#include <Accelerate/Accelerate.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <functional>
#include <iterator>
#include <limits>
#include <numeric>
#include <random>
#include <vector>

namespace qel::core {
namespace {

constexpr UInt32 kBins = 512;
const RoughnessCurves kCurves({kBins, 2 * kBins, 44100.0f});

// NaN after the bins: what is read there must not count.
std::vector<float> IndicatorsOf(const std::vector<unsigned int>& peaks) {
    std::vector<float> indicators(kBins + RoughnessCurves::kBlock,
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

// Peaks at a share of the bins, no two of them neighbours.
std::vector<unsigned int> RandomPeaks(double share, std::mt19937& generator) {
    std::bernoulli_distribution isPeak(share);
    std::vector<unsigned int> peaks;
    for (unsigned int bin = 1; bin + 1 < kBins; ++bin) {
        if (isPeak(generator) && (peaks.empty() || peaks.back() + 1 < bin)) {
            peaks.push_back(bin);
        }
    }
    return peaks;
}

TEST(PairSumsTest, SumsAreThoseOfTheDotProductsToTheBit) {
    std::mt19937 generator(3);
    for (const double share : {0.02, 0.1, 0.3, 0.5}) {
        for (int round = 0; round < 50; ++round) {
            const std::vector<unsigned int> peaks = RandomPeaks(share, generator);
            ASSERT_EQ(SumOf(peaks), SumOfDotProducts(peaks)) << share << ", round " << round;
        }
    }
}

// Amplitudes by bin, of the peaks at bins below the number of peaks. NaN after the bins.
std::vector<float> AmplitudesOf(const std::vector<unsigned int>& peaks,
                                const std::function<float()>& amplitude) {
    std::vector<float> amplitudes(kBins + RoughnessCurves::kBlock,
                                  std::numeric_limits<float>::quiet_NaN());
    std::fill_n(amplitudes.begin(), kBins, 0.0f);
    for (const unsigned int bin : peaks) {
        amplitudes[bin] = bin < peaks.size() ? amplitude() : 0.0f;
    }
    return amplitudes;
}

// One number at a time: distance n goes to sum n % 8, but for what is after the last whole eight.
float SumOfLimitedProducts(const std::vector<unsigned int>& peaks,
                           const std::vector<float>& amplitudes) {
    float sum = 0.0f;
    for (std::size_t i = 0; i + 1 < peaks.size(); ++i) {
        const auto slow = kCurves.Slow(peaks[i]);
        float sums[8] = {};
        for (std::size_t n = 0; n < slow.size(); ++n) {
            const float lesser = std::min(amplitudes[peaks[i]], amplitudes[peaks[i] + 1 + n]);
            sums[n < slow.size() / 8 * 8 ? n % 8 : 0] += slow[n] * lesser;
        }
        sum += std::accumulate(std::begin(sums), std::end(sums), 0.0f);
    }
    return sum;
}

TEST(PairSumsTest, SlowSumsAreThoseOfAPlainLoopToTheBit) {
    std::mt19937 generator(4);
    std::exponential_distribution<float> amplitude(1.0f);
    for (const double share : {0.02, 0.1, 0.3, 0.5, 1.0}) {
        for (int round = 0; round < 50; ++round) {
            const std::vector<unsigned int> peaks = RandomPeaks(share, generator);
            const std::vector<float> amplitudes =
                AmplitudesOf(peaks, [&] { return amplitude(generator); });
            ASSERT_EQ(SumOfSlowPairs(kCurves, peaks, amplitudes.data()),
                      SumOfLimitedProducts(peaks, amplitudes))
                << share << ", round " << round;
        }
    }
}

TEST(PairSumsTest, SlowSumsOfEqualTinyAndInfiniteAmplitudesAreThoseOfAPlainLoop) {
    std::mt19937 generator(5);
    const std::array<float, 5> odd{1.0f, std::numeric_limits<float>::infinity(),
                                   std::numeric_limits<float>::denorm_min(), 1e-30f,
                                   std::numeric_limits<float>::max()};
    std::uniform_int_distribution<std::size_t> index(0, odd.size() - 1);
    for (int round = 0; round < 50; ++round) {
        const std::vector<unsigned int> peaks = RandomPeaks(0.5, generator);
        const std::vector<float> amplitudes =
            AmplitudesOf(peaks, [&] { return odd[round % 2 == 0 ? 0 : index(generator)]; });
        ASSERT_EQ(SumOfSlowPairs(kCurves, peaks, amplitudes.data()),
                  SumOfLimitedProducts(peaks, amplitudes))
            << "round " << round;
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
    EXPECT_EQ(SumOfSlowPairs(kCurves, {}, IndicatorsOf({}).data()), 0.0f);
}

} // namespace
} // namespace qel::core
