// Every key there is, all in one analyzer.
#include "tests/harness/Waveforms.h"

#include <QelAudioAnalysis.hpp>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <iterator>
#include <map>
#include <string>
#include <vector>

namespace qel {
namespace {

constexpr double kRateHz = 44100;
constexpr std::uint32_t kMaxFrames = 4096;

// Drums over a chord and a whisper of noise, clipped so that the loudest samples are many: what is
// left of the streams before a reset then changes no headroom.
std::vector<float> music(double chordHz, unsigned seed) {
    std::vector<float> samples = test::Drums(10, 120, 4);
    const std::vector<float> hiss = test::Noise(samples.size(), 1.0f, seed);
    for (const double ratio : {1.0, 1.25, 1.5}) {
        const auto tone = test::Sine(samples.size(), kRateHz / (chordHz * ratio), 0.2);
        for (std::size_t i = 0; i < samples.size(); ++i) {
            samples[i] += tone[i];
        }
    }
    for (std::size_t i = 0; i < samples.size(); ++i) {
        samples[i] = std::clamp(samples[i] + 0.01f * hiss[i], -0.5f, 0.5f);
    }
    return samples;
}

using Results = std::map<std::string, std::vector<StoredResult>>;

// Pushes of all kinds of sizes, a good part of them multiples of 512.
void pushAll(Analyzer& analyzer, const std::vector<std::vector<float>>& channels) {
    const std::size_t sizes[] = {512, 1000, 4096, 1, 2048, 63, 0, 1536, 4095, 3584, 777};
    const std::size_t length = channels.front().size();
    std::size_t turn = 0;
    for (std::size_t at = 0; at < length; ++turn) {
        const std::size_t count = std::min(sizes[turn % std::size(sizes)], length - at);
        std::vector<std::span<const float>> part;
        for (const std::vector<float>& channel : channels) {
            part.push_back(std::span(channel).subspan(at, count));
        }
        try {
            analyzer.push(part);
        } catch (const Error& error) {
            EXPECT_NE(count % 512, 0u) << error.what();
        }
        at += count;
    }
}

// Bit by bit, as a value that is no number equals itself here.
void expectSame(const std::vector<float>& first, const std::vector<float>& second) {
    ASSERT_EQ(first.size(), second.size());
    EXPECT_EQ(std::memcmp(first.data(), second.data(), first.size() * sizeof(float)), 0);
}

void expectSame(const StoredResult& first, const StoredResult& second) {
    EXPECT_EQ(first.frameIndex, second.frameIndex);
    EXPECT_EQ(first.timeSeconds, second.timeSeconds);
    EXPECT_EQ(first.events, second.events);
    EXPECT_EQ(first.counts, second.counts);
    EXPECT_EQ(first.names, second.names);
    EXPECT_EQ(first.partials, second.partials);
    EXPECT_EQ(first.ranges, second.ranges);
    ASSERT_EQ(first.channels.size(), second.channels.size());
    for (std::size_t c = 0; c < first.channels.size(); ++c) {
        expectSame(first.channels[c], second.channels[c]);
    }
}

TEST(AllKeysContractTest, ThirtyKeysAtOnceDeliverAllOfTheirResultsAndTheSameAgainAfterAReset) {
    const std::vector<std::string> keys = Analyzer::allKeys();
    ASSERT_EQ(keys.size(), 30u);
    const std::vector<std::vector<float>> audio = {music(220, 1), music(261.6, 2)};
    Analyzer analyzer(keys, {.sampleRateHz = kRateHz,
                             .channels = 2,
                             .maxFrames = kMaxFrames,
                             .lengthFrames = static_cast<std::uint32_t>(audio[0].size())});
    Results runs[2];
    for (Results& results : runs) {
        analyzer.onResult([&results](const Result& result) {
            results[std::string(result.key())].push_back(result.store());
        });
        pushAll(analyzer, audio);
        EXPECT_TRUE(analyzer.finish());
        analyzer.reset();
    }
    for (const std::string& key : keys) {
        SCOPED_TRACE(key);
        const std::vector<StoredResult>& first = runs[0][key];
        const std::vector<StoredResult>& second = runs[1][key];
        ASSERT_FALSE(first.empty());
        ASSERT_EQ(first.size(), second.size());
        for (std::size_t i = 0; i < first.size(); ++i) {
            expectSame(first[i], second[i]);
        }
    }
    EXPECT_EQ(runs[0].size(), keys.size()) << "no other key";
}

} // namespace
} // namespace qel
