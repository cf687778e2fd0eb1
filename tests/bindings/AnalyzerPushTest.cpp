// Ways to push audio, and the places in time of what comes out.
#include "tests/harness/Waveforms.h"

#include <QelAudioAnalysis.hpp>

#include <gtest/gtest.h>

#include <array>
#include <utility>

namespace qel {
namespace {

constexpr std::size_t kLength = 2048;
const StreamSetup kStereo{.sampleRateHz = 44100, .channels = 2, .maxFrames = kLength};
const std::initializer_list<std::string_view> kAllBuilt = {
    "temporal properties",      "generic spectrum properties", "spectrum histogram properties",
    "spectrum peak properties", "spectrum flux properties",    "spectrum"};

// Everything that `push` makes an analyzer of these keys deliver.
template <class Push>
std::vector<StoredResult> resultsOf(std::initializer_list<std::string_view> keys,
                                    const StreamSetup& setup, Push push) {
    std::vector<StoredResult> results;
    Analyzer analyzer(keys, setup);
    analyzer.onResult([&](const Result& result) { results.push_back(result.store()); });
    push(analyzer);
    analyzer.finish();
    return results;
}

void expectSame(const std::vector<StoredResult>& left, const std::vector<StoredResult>& right) {
    ASSERT_FALSE(left.empty());
    ASSERT_EQ(left.size(), right.size());
    for (std::size_t i = 0; i < left.size(); ++i) {
        EXPECT_EQ(left[i].key, right[i].key);
        EXPECT_EQ(left[i].frameIndex, right[i].frameIndex);
        EXPECT_EQ(left[i].channels, right[i].channels);
    }
}

template <class Action>
SInt32 statusOf(Action action) {
    try {
        action();
    } catch (const Error& error) {
        return error.status();
    }
    return 0;
}

TEST(AnalyzerPushTest, SineHasTheCrossingRateAndRootMeanSquareOfItsFormula) {
    // 16 periods of 64 samples: 31 sign changes inside of the push, amplitude / sqrt(2).
    const auto results = resultsOf({"temporal properties"}, {.sampleRateHz = 44100},
                                   [](Analyzer& a) { a.push(test::Sine(1024, 64, 0.5)); });
    ASSERT_EQ(results.size(), 1u);
    EXPECT_EQ(results[0].value("zero crossing rate"), 31.0f / 1024);
    // The sum of 1024 squares in single precision is good to some units of 2^-24.
    EXPECT_NEAR(results[0].value("root mean square energy"), 0.5 / std::sqrt(2.0), 1e-6);
}

TEST(AnalyzerPushTest, InterleavedEqualsPlanarEqualsPointers) {
    const std::vector<float> left = test::Noise(kLength, 1.0f, 1);
    const std::vector<float> right = test::Sine(kLength, 50, 0.5);
    std::vector<float> both;
    for (std::size_t i = 0; i < kLength; ++i) {
        both.push_back(left[i]);
        both.push_back(right[i]);
    }
    const auto planar = resultsOf(kAllBuilt, kStereo, [&](Analyzer& a) {
        const std::array<std::span<const float>, 2> channels{left, right};
        a.push(channels);
    });
    const auto interleaved =
        resultsOf(kAllBuilt, kStereo, [&](Analyzer& a) { a.pushInterleaved(both); });
    const auto pointers = resultsOf(kAllBuilt, kStereo, [&](Analyzer& a) {
        const std::array<const float*, 2> channels{left.data(), right.data()};
        a.push(channels, kLength);
    });
    expectSame(planar, interleaved);
    expectSame(planar, pointers);
}

TEST(AnalyzerPushTest, ChannelOfAStereoStreamEqualsTheMonoStream) {
    const std::vector<float> left = test::Noise(kLength, 1.0f, 1);
    const std::vector<float> right = test::Sine(kLength, 50, 0.5);
    const auto stereo = resultsOf(kAllBuilt, kStereo, [&](Analyzer& a) {
        const std::array<std::span<const float>, 2> channels{left, right};
        a.push(channels);
    });
    const auto mono = resultsOf(kAllBuilt, {.sampleRateHz = 44100, .maxFrames = kLength},
                                [&](Analyzer& a) { a.push(right); });
    ASSERT_EQ(stereo.size(), mono.size());
    for (std::size_t i = 0; i < mono.size(); ++i) {
        ASSERT_EQ(stereo[i].channels.size(), 2u);
        EXPECT_EQ(stereo[i].channels[1], mono[i].channels.at(0)) << mono[i].key;
    }
}

TEST(AnalyzerPushTest, LongestPushIsTakenAndOneMoreSampleIsRefusedWhole) {
    const StreamSetup setup{.sampleRateHz = 44100, .maxFrames = 1024};
    const auto results = resultsOf({"spectrum"}, setup, [](Analyzer& a) {
        EXPECT_EQ(statusOf([&] { a.push(test::Noise(1025, 1.0f, 1)); }),
                  kAudioAnalysisErr_TooManyFrames);
        a.push(test::Noise(1024, 1.0f, 2));
    });
    const auto expected =
        resultsOf({"spectrum"}, setup, [](Analyzer& a) { a.push(test::Noise(1024, 1.0f, 2)); });
    expectSame(results, expected);
}

TEST(AnalyzerPushTest, LengthBeyondThirtyTwoBitsIsRefusedUnread) {
    Analyzer analyzer({"spectrum"}, {.sampleRateHz = 44100});
    const float sample = 0;
    const std::array<const float*, 1> channels{&sample};
    EXPECT_EQ(statusOf([&] { analyzer.push(channels, (std::size_t{1} << 32) + 1); }),
              kAudioAnalysisErr_TooManyFrames);
}

TEST(AnalyzerPushTest, AudioThatDoesNotFitTheStreamIsRefused) {
    Analyzer analyzer({"spectrum"}, kStereo);
    const std::vector<float> samples(100);
    const std::array<std::span<const float>, 2> uneven{samples, std::span(samples).first(99)};
    const std::array<std::span<const float>, 3> three{samples, samples, samples};
    const std::array<const float*, 2> null{samples.data(), nullptr};
    EXPECT_EQ(statusOf([&] { analyzer.push(samples); }), kAudioAnalysisErr_BadFormat);
    EXPECT_EQ(statusOf([&] { analyzer.push(uneven); }), kAudioAnalysisErr_BadFormat);
    EXPECT_EQ(statusOf([&] { analyzer.push(three); }), kAudioAnalysisErr_BadFormat);
    EXPECT_EQ(statusOf([&] { analyzer.push(null, 100); }), kAudioAnalysisErr_BadFormat);
    EXPECT_EQ(statusOf([&] { analyzer.pushInterleaved(std::span(samples).first(99)); }),
              kAudioAnalysisErr_BadFormat);
    EXPECT_EQ(statusOf([&] { analyzer.pushInterleaved(samples); }), 0);
}

TEST(AnalyzerPushTest, EmptyPushIsAPushOfNoSamples) {
    const auto results = resultsOf({"temporal properties", "spectrum"}, {.sampleRateHz = 44100},
                                   [](Analyzer& a) { a.push(std::span<const float>()); });
    ASSERT_EQ(results.size(), 1u);
    EXPECT_TRUE(std::isnan(results[0].value("zero crossing rate")));
}

TEST(AnalyzerPushTest, FramesCountFromZeroAndStartHopByHop) {
    const auto results = resultsOf({"spectrum"}, {.sampleRateHz = 8000}, [](Analyzer& a) {
        a.push(test::Noise(1600, 1.0f, 1));
        a.push(test::Noise(1600, 1.0f, 2));
    });
    // Frames of 1024 every 512 samples: those that start at 0 to 2048 end within 3200 samples.
    ASSERT_EQ(results.size(), 5u);
    for (std::size_t i = 0; i < results.size(); ++i) {
        EXPECT_EQ(results[i].frameIndex, i);
        EXPECT_EQ(results[i].timeSeconds, static_cast<double>(i) * 512 / 8000);
    }
}

TEST(AnalyzerPushTest, PerPushResultsStartWhereTheirPushStarts) {
    const auto results =
        resultsOf({"temporal properties"}, {.sampleRateHz = 1000}, [](Analyzer& a) {
            for (const std::size_t length : {100u, 250u, 7u}) {
                a.push(std::vector<float>(length, 1.0f));
            }
        });
    ASSERT_EQ(results.size(), 3u);
    EXPECT_EQ(results[0].timeSeconds, 0);
    EXPECT_EQ(results[1].timeSeconds, 0.1);
    EXPECT_EQ(results[2].timeSeconds, 0.35);
    EXPECT_EQ(results[2].frameIndex, 2u);
}

TEST(AnalyzerPushTest, ResetStartsANewStreamAtTimeZero) {
    const std::vector<float> samples = test::Noise(kLength, 1.0f, 4);
    std::vector<StoredResult> results;
    Analyzer analyzer(kAllBuilt, {.sampleRateHz = 44100, .maxFrames = kLength});
    analyzer.onResult([&](const Result& result) { results.push_back(result.store()); });
    analyzer.push(samples);
    const std::vector<StoredResult> first = std::exchange(results, {});
    analyzer.push(test::Noise(700, 1.0f, 5));
    analyzer.reset();
    results.clear();
    analyzer.push(samples);
    expectSame(first, results);
    EXPECT_EQ(results.front().timeSeconds, 0);
}

} // namespace
} // namespace qel
