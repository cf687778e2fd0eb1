// Streams longer and shorter than declared, resets, and Process more than once.

#include "tests/pitch/ChromaRun.h"
#include "tests/pitch/ChromaSounds.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>

namespace qel::test {
namespace {

constexpr double kRate = 44100.0;
constexpr std::size_t kSamples = 70001;

Audio KeysAndMusic() {
    return Joined(Silence(2, 10000), MusicLike(kRate, 2, kSamples - 10000, 31));
}

std::vector<ChromaDelivery> DeliverDeclared(const Audio& audio, SInt64 declared) {
    ChromaRun run(kAllChromaKeys, {kRate, static_cast<UInt32>(audio.size()), 4096, declared});
    run.Push(audio);
    EXPECT_EQ(0, run.Process());
    return run.Deliveries();
}

TEST(ChromaStreamTest, TheDeclaredLengthDoesNotMatter) {
    const Audio audio = KeysAndMusic();
    const auto right = DeliverDeclared(audio, kSamples);
    ASSERT_EQ(4 * ChromaFramesIn(kSamples) + 1, right.size());
    // Unknown, less than a frame, a frame's overlap, somewhat less, somewhat more, much more.
    for (const SInt64 declared : {0, 1, 7680, 8192, 8193, 40000, 70000, 70002, 100000, 10000000}) {
        EXPECT_EQ(right, DeliverDeclared(audio, declared)) << declared;
    }
}

// A stream of keys that are told apart, so that a lost frame shows: the first stretch alone has
// the least key, the last the most frames.
TEST(ChromaStreamTest, TheFirstAndTheLastFrameCountBeyondTheDeclaredLength) {
    const std::array<KeyStretch, 3> stretches = {{{2, 3}, {23, 60}, {14, 80}}};
    const Audio audio = KeyStretches(stretches, kRate);
    for (const SInt64 declared : {SInt64{0}, SInt64{9000}, static_cast<SInt64>(audio[0].size())}) {
        const auto deliveries = DeliverDeclared(audio, declared);
        // 14 is (14 - 2) * 24 / 22, the class 13; from 14 on it would be 0.
        EXPECT_EQ("C# Minor", deliveries.back().names.at(0)) << declared;
    }
}

TEST(ChromaStreamTest, ASecondProcessSaysTheSame) {
    ChromaRun run(kAllChromaKeys, {kRate, 2, 4096, static_cast<SInt64>(kSamples)});
    run.Push(KeysAndMusic());
    run.Forget();
    EXPECT_EQ(0, run.Process(1));
    EXPECT_EQ(0, run.Process(1));
    EXPECT_EQ(0, run.Process(0));
    ASSERT_EQ(3u, run.Deliveries().size());
    EXPECT_EQ(run.Deliveries()[0], run.Deliveries()[1]);
    EXPECT_EQ(run.Deliveries()[0], run.Deliveries()[2]);
}

TEST(ChromaStreamTest, ProcessLeavesTheStreamAsItIs) {
    const Audio audio = KeysAndMusic();
    ChromaRun run(kAllChromaKeys, {kRate, 2, 4096, 0});
    for (std::size_t at = 0; at < kSamples; at += 3000) {
        run.PushPart(audio, at, static_cast<UInt32>(std::min<std::size_t>(3000, kSamples - at)));
        EXPECT_EQ(0, run.Process());
    }
    const auto whole = DeliverChroma(audio, kRate);
    std::vector<ChromaDelivery> frames;
    for (const ChromaDelivery& delivery : run.Deliveries()) {
        if (delivery.key != kGlobalKey) {
            frames.push_back(delivery);
        }
    }
    frames.push_back(run.Deliveries().back());
    EXPECT_EQ(whole, frames);
}

TEST(ChromaStreamTest, AResetBeginsAnew) {
    const Audio audio = KeysAndMusic();
    ChromaRun run(kAllChromaKeys, {kRate, 2, 4096, static_cast<SInt64>(kSamples)});
    run.Push(audio);
    EXPECT_EQ(0, run.Process());
    const auto first = run.Deliveries();
    for (int again = 0; again < 2; ++again) {
        EXPECT_EQ(0, run.Reset());
        run.Forget();
        run.Push(audio);
        EXPECT_EQ(0, run.Process());
        EXPECT_EQ(first, run.Deliveries());
    }
}

// In the middle of a frame and of a stretch: neither samples nor keys of before are left.
TEST(ChromaStreamTest, AResetForgetsSamplesAndKeys) {
    const std::array<KeyStretch, 2> stretches = {{{5, 10}, {9, 20}}};
    const Audio audio = KeyStretches(stretches, kRate);
    ChromaRun run(kAllChromaKeys, {kRate, 1, 4096, 0});
    run.Push(KeySound(23, kRate, 30011));
    EXPECT_EQ(0, run.Reset());
    run.Forget();
    EXPECT_EQ(0, run.Process());
    EXPECT_EQ(std::vector<std::string>{"C Major"}, run.GlobalKeys());
    run.Forget();
    run.Push(audio);
    EXPECT_EQ(0, run.Process());
    EXPECT_EQ(DeliverChroma(audio, kRate), run.Deliveries());
    EXPECT_EQ(std::vector<std::string>{"G Minor"}, run.GlobalKeys());
}

TEST(ChromaStreamTest, AnEmptyPushIsNoFrame) {
    const Audio audio = MusicLike(kRate, 1, SamplesForChroma(2));
    ChromaRun run(kAllChromaKeys, {kRate, 1, 4096, 0});
    run.PushPart(audio, 0, 0);
    run.Push(audio);
    run.PushPart(audio, 0, 0);
    EXPECT_EQ(0, run.Process());
    EXPECT_EQ(DeliverChroma(audio, kRate), run.Deliveries());
}

TEST(ChromaStreamTest, SingleSamplesGiveTheSame) {
    const Audio audio = MusicLike(kRate, 1, SamplesForChroma(3) + 17);
    EXPECT_EQ(DeliverChroma(audio, kRate), DeliverChroma(audio, kRate, 1));
}

TEST(ChromaStreamTest, TwoAnalyzersDoNotMeet) {
    const Audio one = MusicLike(kRate, 1, 30000, 1);
    const Audio other = KeySound(6, kRate, 30000);
    ChromaRun first(kAllChromaKeys, {kRate, 1, 4096, 0});
    ChromaRun second(kAllChromaKeys, {kRate, 1, 4096, 0});
    for (std::size_t at = 0; at < 30000; at += 1000) {
        first.PushPart(one, at, 1000);
        second.PushPart(other, at, 1000);
    }
    EXPECT_EQ(0, first.Process());
    EXPECT_EQ(0, second.Process());
    EXPECT_EQ(DeliverChroma(one, kRate), first.Deliveries());
    EXPECT_EQ(DeliverChroma(other, kRate), second.Deliveries());
}

} // namespace
} // namespace qel::test
