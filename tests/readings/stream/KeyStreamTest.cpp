#include "readings/stream/KeyStream.h"

#include "tests/readings/Signals.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace qel::readings {
namespace {

using Frames = std::vector<std::vector<float>>;

// Of "mel spectrum", whose frames of 4096 samples come every 2048.
Frames melOf(std::span<const float> samples, std::size_t cut, std::uint64_t declared = 0) {
    Frames frames;
    KeyStream stream({"mel spectrum"}, 44100, declared, [&](const Result& result) {
        frames.emplace_back(result.floats().begin(), result.floats().end());
    });
    for (std::size_t first = 0; first < samples.size(); first += cut) {
        stream.add(samples.subspan(first, std::min(cut, samples.size() - first)));
    }
    stream.end();
    return frames;
}

TEST(KeyStreamTest, FramesThatEndAfterTheStreamAreNotGiven) {
    const std::vector<float> samples = test::noise(1);
    const std::span<const float> all(samples);
    EXPECT_EQ(melOf(all.first(4095), 4096).size(), 0u);
    EXPECT_EQ(melOf(all.first(4096), 4096).size(), 1u);
    EXPECT_EQ(melOf(all.first(6143), 4096).size(), 1u);
    EXPECT_EQ(melOf(all.first(6144), 4096).size(), 2u);
}

TEST(KeyStreamTest, CutsDoNotMatter) {
    const std::vector<float> samples = test::noise(0.5);
    const Frames whole = melOf(samples, samples.size());
    ASSERT_FALSE(whole.empty());
    for (const std::size_t cut : {1u, 511u, 512u, 513u, 5000u}) {
        EXPECT_EQ(melOf(samples, cut), whole) << cut;
    }
}

TEST(KeyStreamTest, TheDeclaredLengthDoesNotMatter) {
    const std::vector<float> samples = test::noise(0.5);
    const Frames unknown = melOf(samples, 1000);
    EXPECT_EQ(melOf(samples, 1000, samples.size()), unknown);
    EXPECT_EQ(melOf(samples, 1000, 100), unknown);
    EXPECT_EQ(melOf(samples, 1000, 1'000'000), unknown);
}

TEST(KeyStreamTest, ResultsOfTheWholeStreamComeAtItsEnd) {
    std::vector<std::string> keys;
    KeyStream stream({"global tempo"}, 44100, 0,
                     [&](const Result& result) { keys.emplace_back(result.key()); });
    stream.add(test::noise(10));
    EXPECT_TRUE(keys.empty());
    stream.end();
    EXPECT_EQ(keys, std::vector<std::string>{"global tempo"});
}

TEST(KeyStreamTest, WithoutKeysNothingIsAnalyzed) {
    KeyStream stream({}, 44100, 0, [](const Result&) { ADD_FAILURE() << "a result came"; });
    stream.add(test::noise(0.2));
    stream.end();
    stream.reset();
}

TEST(KeyStreamTest, ResetBeginsAnotherStream) {
    Frames frames;
    KeyStream stream({"mel spectrum"}, 44100, 0, [&](const Result& result) {
        frames.emplace_back(result.floats().begin(), result.floats().end());
    });
    stream.add(test::tone(440, 0.3));
    stream.end();
    frames.clear();
    stream.reset();
    const std::vector<float> samples = test::noise(0.3);
    stream.add(samples);
    stream.end();
    EXPECT_EQ(frames, melOf(samples, samples.size()));
}

TEST(KeyStreamTest, HopsAreThoseOfTheKeysAtTheRate) {
    const KeyStream stream({"mel spectrum"}, 48000, 0, [](const Result&) {});
    EXPECT_DOUBLE_EQ(stream.hopSeconds("mel spectrum"), 2048 / 48000.0);
    EXPECT_DOUBLE_EQ(stream.hopSeconds("spectrum"), 512 / 48000.0);
    EXPECT_EQ(stream.sampleRateHz(), 48000);
}

} // namespace
} // namespace qel::readings
