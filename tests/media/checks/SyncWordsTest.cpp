#include "media/checks/SyncWords.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <numbers>
#include <random>
#include <string>
#include <string_view>
#include <vector>

namespace qel::media {
namespace {

using namespace std::string_view_literals;
using Bytes = std::vector<std::uint8_t>;

Bytes BytesOf(const std::vector<std::int16_t>& samples) {
    Bytes bytes;
    for (const std::int16_t sample : samples) {
        bytes.push_back(static_cast<std::uint8_t>(sample & 0xFF));
        bytes.push_back(static_cast<std::uint8_t>(sample >> 8 & 0xFF));
    }
    return bytes;
}

// Noise of these levels about a sine. The first sample is not -1, which can begin a frame.
Bytes Music(double sine, double noise) {
    std::mt19937 random(7);
    std::normal_distribution<double> value(0, noise);
    std::vector<std::int16_t> samples(kSearchedBytes / 2);
    for (std::size_t i = 0; i < samples.size(); ++i) {
        const double angle = 2 * std::numbers::pi * 440 / 44100 * static_cast<double>(i);
        const double sample = sine * std::sin(angle) + value(random);
        samples[i] = static_cast<std::int16_t>(std::clamp(sample, -32768.0, 32767.0));
    }
    samples.front() = 1000;
    return BytesOf(samples);
}

// So many zeros, a text so many times, and noise up to the end.
Bytes Placed(std::string_view text, std::size_t zeros, std::size_t times) {
    Bytes bytes(zeros);
    for (std::size_t i = 0; i < times; ++i) {
        bytes.insert(bytes.end(), text.begin(), text.end());
        bytes.insert(bytes.end(), 40, 0x11);
    }
    bytes.resize(20000, 0x11);
    return bytes;
}

// A level of one step, of 256 where bytes of headers are most frequent, and clipped.
TEST(SyncWordsTest, NoLevelOfMusicOrNoiseLooksLikeFrames) {
    for (const double sine : {0.0, 1.0, 30.0, 300.0, 3000.0, 30000.0}) {
        for (const double noise : {0.3, 1.0, 3.0, 10.0, 30.0, 100.0, 256.0, 1000.0, 8000.0, 3e5}) {
            EXPECT_FALSE(MayHoldFrames(Music(sine, noise))) << sine << ' ' << noise;
        }
    }
}

TEST(SyncWordsTest, SilenceAndAFewBytesHoldNoFrames) {
    EXPECT_FALSE(MayHoldFrames({}));
    EXPECT_FALSE(MayHoldFrames(Bytes(kSearchedBytes)));
    EXPECT_FALSE(MayHoldFrames(Bytes(1, 0xFF)));
    EXPECT_FALSE(MayHoldFrames(Bytes(5000, 0xFF)));
}

TEST(SyncWordsTest, ALongSyncWordCountsWhereverItIs) {
    for (const std::string_view word :
         {"\x7F\xFE\x80\x01"sv, "\xFE\x7F\x01\x80"sv, "\x1F\xFF\xE8\x00\x07\xF5"sv,
          "\xFF\x1F\x00\xE8\xF5\x07"sv, "\x64\x58\x20\x25"sv, "\xF8\x72\x6F\xBA"sv,
          "\xF8\x72\x4E\x1F"sv, "\x72\xF8\x1F\x4E"sv}) {
        for (const std::size_t zeros : {0u, 1u, 777u, 19956u}) {
            EXPECT_TRUE(MayHoldFrames(Placed(word, zeros, 1))) << zeros;
        }
    }
}

TEST(SyncWordsTest, AShortSyncWordCountsAfterSilence) {
    for (const std::string_view word :
         {"\x0B\x77\xAB\xCD"sv, "\x77\x0B\xAB\xCD"sv, "\x56\xE5\x01\x02"sv, "\xFF\xFB\x90\x64"sv,
          "\xFF\xFD\xA0\x04"sv, "\xFF\xF1\x50\x80"sv, "ID3\x04"sv}) {
        EXPECT_TRUE(MayHoldFrames(Placed(word, 0, 1)));
        EXPECT_TRUE(MayHoldFrames(Placed(word, 3000, 1)));
    }
}

TEST(SyncWordsTest, AShortSyncWordInTheMiddleCountsWhenItIsFrequent) {
    const auto holds = [](std::string_view word, std::size_t times) {
        return MayHoldFrames(Placed("\x11" + std::string(word), 0, times));
    };
    for (const std::string_view word : {"\x0B\x77\xAB\xCD"sv, "\xFF\xFB\x90\x64"sv}) {
        EXPECT_FALSE(holds(word, 200));
        EXPECT_TRUE(holds(word, 201));
    }
    EXPECT_FALSE(holds("\xFF\xF1\x50\x80", 100));
    EXPECT_TRUE(holds("\xFF\xF1\x50\x80", 101));
}

// Two bytes after it decide about some words.
TEST(SyncWordsTest, ALongSyncWordCountsUpToTwoBytesBeforeTheEnd) {
    for (const std::size_t after : {0u, 1u, 2u}) {
        Bytes bytes(100, 0x11);
        for (const char byte : "\x7F\xFE\x80\x01"sv) {
            bytes.push_back(static_cast<std::uint8_t>(byte));
        }
        bytes.insert(bytes.end(), after, 0x11);
        EXPECT_EQ(MayHoldFrames(bytes), after == 2) << after;
    }
}

TEST(SyncWordsTest, HeadersWithoutABitRateALayerOrASampleRateCountAsSamples) {
    EXPECT_FALSE(MayHoldFrames(Placed("\xFF\xFB\x00\x64"sv, 0, 300)));
    EXPECT_FALSE(MayHoldFrames(Placed("\xFF\xFB\xF0\x64"sv, 0, 300)));
    EXPECT_FALSE(MayHoldFrames(Placed("\xFF\xEB\x90\x64"sv, 0, 300)));
    EXPECT_FALSE(MayHoldFrames(Placed("\xFF\xF1\xFF\x80"sv, 0, 300)));
}

} // namespace
} // namespace qel::media
