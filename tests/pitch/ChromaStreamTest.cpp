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

} // namespace
} // namespace qel::test
