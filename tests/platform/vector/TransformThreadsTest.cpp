// Threads that plan and transform at the same time get what one thread gets alone.

#include "VectorTesting.h"

#include <Accelerate/vDSP.h>

#include <thread>

namespace qel::testing {
namespace {

constexpr vDSP_Length kLargestLog2Size = 13;

// The bits of packed transforms of every size, each with a setup of its own.
std::vector<float> AllTransforms() {
    std::vector<float> results;
    for (int round = 0; round < 3; ++round) {
        for (vDSP_Length log2Size = 1; log2Size <= kLargestLog2Size; ++log2Size) {
            FFTSetup setup = vDSP_create_fftsetup(log2Size, kFFTRadix2);
            const std::size_t half = std::size_t{1} << (log2Size - 1);
            std::vector<float> re = Noise(half, 91);
            std::vector<float> im = Noise(half, 92);
            const DSPSplitComplex split{re.data(), im.data()};
            vDSP_fft_zrip(setup, &split, 1, log2Size, FFT_FORWARD);
            vDSP_fft_zip(setup, &split, 1, log2Size - 1, FFT_INVERSE);
            vDSP_destroy_fftsetup(setup);
            results.insert(results.end(), re.begin(), re.end());
            results.insert(results.end(), im.begin(), im.end());
        }
    }
    return results;
}

TEST(TransformThreadsTest, PlanningAndTransformingAtOnceGivesTheSameBits) {
    // This test is alone in its process when ctest runs it, so that all plans are made here, by
    // whichever thread comes first.
    std::vector<float> results[4];
    std::vector<std::thread> threads;
    for (std::vector<float>& result : results) {
        threads.emplace_back([&result] { result = AllTransforms(); });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    const std::vector<float> alone = AllTransforms();
    for (const std::vector<float>& result : results) {
        EXPECT_EQ(result, alone);
    }
}

TEST(TransformThreadsTest, OneSetupServesSeveralThreads) {
    constexpr vDSP_Length kLog2Size = 10;
    FFTSetup setup = vDSP_create_fftsetup(kLog2Size, kFFTRadix2);
    constexpr std::size_t kHalf = std::size_t{1} << (kLog2Size - 1);
    const auto transform = [setup](unsigned seed) {
        std::vector<float> re;
        for (int round = 0; round < 200; ++round) {
            re = Noise(kHalf, seed);
            std::vector<float> im = Noise(kHalf, seed + 1);
            const DSPSplitComplex split{re.data(), im.data()};
            vDSP_fft_zrip(setup, &split, 1, kLog2Size, FFT_FORWARD);
        }
        return re;
    };
    std::vector<float> first;
    std::vector<float> second;
    std::thread firstThread([&] { first = transform(1); });
    std::thread secondThread([&] { second = transform(5); });
    firstThread.join();
    secondThread.join();
    EXPECT_EQ(first, transform(1));
    EXPECT_EQ(second, transform(5));
    vDSP_destroy_fftsetup(setup);
}

} // namespace
} // namespace qel::testing
