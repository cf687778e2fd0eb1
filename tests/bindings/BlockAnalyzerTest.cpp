#include <QelAudioAnalysis.hpp>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <map>
#include <span>
#include <stdexcept>
#include <string>
#include <vector>

namespace qel {
namespace {

constexpr std::size_t kSamples = 20000;

std::vector<float> Sweep() {
    std::vector<float> samples(kSamples);
    for (std::size_t n = 0; n < kSamples; ++n) {
        const double turns = 0.001 * static_cast<double>(n) + 1e-6 * static_cast<double>(n * n);
        samples[n] = static_cast<float>(0.5 * std::sin(6.28 * turns));
    }
    return samples;
}

using Values = std::map<std::string, std::vector<float>, std::less<>>;

Values Analyzed(const std::vector<std::string>& keys, std::uint32_t block) {
    Values values;
    BlockAnalyzer analyzer(keys, {}, {.maxFrames = block, .lengthFrames = kSamples});
    analyzer.onResult([&](const Result& result) {
        std::vector<float>& all = values[std::string(result.key())];
        const std::span<const float> numbers = result.floats();
        all.insert(all.end(), numbers.begin(), numbers.end());
    });
    const std::vector<float> samples = Sweep();
    for (std::size_t at = 0; at < kSamples; at += block) {
        const float* start = samples.data() + at;
        analyzer.push(std::span(&start, 1), std::min<std::size_t>(block, kSamples - at));
    }
    EXPECT_EQ(analyzer.finish(), 0);
    return values;
}

TEST(BlockAnalyzerTest, TheSizeOfBlocksChangesOnlyTheKeysPerPush) {
    const std::vector<std::string> keys{"temporal properties", "spectrum flux properties", "mfcc"};
    const Values expected = Analyzed(keys, 4096);
    for (const std::uint32_t block : {100u, 5000u, 65536u}) {
        const Values values = Analyzed(keys, block);
        ASSERT_EQ(values.size(), 3u);
        EXPECT_EQ(values.at("temporal properties").size(), (kSamples + block - 1) / block * 3);
        for (const char* key :
             {"spectrum flux properties", "mel frequency cepstral coefficients"}) {
            EXPECT_EQ(values.at(key), expected.at(key)) << key << " at " << block;
        }
    }
}

// The largest push, whose length of silence ends a stream, is the same for all sizes.
TEST(BlockAnalyzerTest, OneAnalyzerServesBlocksUpToTheLargestPush) {
    int pushes = 0;
    BlockAnalyzer analyzer({"temporal properties", "mfcc"}, {}, {.maxFrames = 4096});
    const std::vector<float> samples = Sweep();
    const float* start = samples.data();
    analyzer.push(std::span(&start, 1), 4096, [&] { ++pushes; });
    EXPECT_EQ(pushes, 1);
    BlockAnalyzer longer({"temporal properties", "mfcc"}, {}, {.maxFrames = 8192});
    pushes = 0;
    longer.push(std::span(&start, 1), 8192, [&] { ++pushes; });
    EXPECT_EQ(pushes, 1 + 2); // a whole block for the first key, two pieces for the second
}

TEST(BlockAnalyzerTest, ARestThatAKeyDoesNotTakeIsLeftOutForThatKeyAlone) {
    const std::vector<std::string> keys{"audio range", "spectrum flux properties"};
    std::map<std::string, int, std::less<>> counts;
    BlockAnalyzer analyzer(keys, {}, {.maxFrames = 1024});
    analyzer.onResult([&](const Result& result) { ++counts[std::string(result.key())]; });
    const std::vector<float> samples = Sweep();
    const float* start = samples.data();
    analyzer.push(std::span(&start, 1), 1024);
    start += 1024;
    EXPECT_NO_THROW(analyzer.push(std::span(&start, 1), 700));
    analyzer.finish();
    // Frames of 1024 samples that begin at 0 and 512; one that begins at 1024 would end at 2048.
    EXPECT_EQ(counts["spectrum flux properties"], 2);
    EXPECT_EQ(counts["audio range"], 1);
}

TEST(BlockAnalyzerTest, WhatIsThrownBeforeAPushEndsTheCall) {
    BlockAnalyzer analyzer({"mfcc"}, {}, {.maxFrames = 4096});
    const std::vector<float> samples = Sweep();
    const float* start = samples.data();
    EXPECT_THROW(
        analyzer.push(std::span(&start, 1), 4096, [] { throw std::runtime_error("stop"); }),
        std::runtime_error);
    EXPECT_NO_THROW(analyzer.push(std::span(&start, 1), 4096));
}

TEST(BlockAnalyzerTest, SilenceHasNoTempoAndThatIsNoError) {
    BlockAnalyzer analyzer({"global tempo"}, {}, {.maxFrames = 4096});
    const std::vector<float> silence(4096);
    const float* start = silence.data();
    analyzer.push(std::span(&start, 1), 4096);
    EXPECT_EQ(analyzer.finish(), kStatusNoTempo);
}

TEST(BlockAnalyzerTest, ParametersWorkFromTheFirstSampleOn) {
    const BlockAnalyzer analyzer({"tempo"}, {{"complexity", 2.0f}, {"Min BPM", 50.0f}}, {});
    EXPECT_EQ(analyzer.parameter("complexity"), 2.0f);
    EXPECT_EQ(analyzer.parameter("Min BPM"), 50.0f);
    EXPECT_EQ(analyzer.parameterNames().size(), 3u);
    EXPECT_THROW(BlockAnalyzer({"tempo"}, {{"volume", 1.0f}}, {}), Error);
}

TEST(BlockAnalyzerTest, MetaDataIsThatOfTheAnalyzerOfTheKey) {
    const BlockAnalyzer analyzer({"temporal properties", "mfcc"}, {}, {.maxFrames = 8192});
    EXPECT_EQ(analyzer.metaData("mfcc").hopSamples, 2048u);
    EXPECT_EQ(analyzer.metaData("temporal properties").hopSamples, 0u);
}

} // namespace
} // namespace qel
