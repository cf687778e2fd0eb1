// "global key": one name for all frames of a stream, from a histogram between the least and the
// greatest of their keys whose classes are names by themselves.

#include "tests/pitch/ChromaRun.h"
#include "tests/pitch/ChromaSounds.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>

namespace qel::test {
namespace {

constexpr double kRate = 44100.0;
const std::vector<std::string> kTwoKeys = {kDominantKey, kGlobalKey};

std::string GlobalKeyOf(const Audio& audio, std::vector<std::size_t>* keys = nullptr) {
    ChromaRun run(kTwoKeys, {kRate, 1, 4096, 0});
    run.Push(audio);
    EXPECT_EQ(0, run.Process());
    if (keys != nullptr) {
        *keys = run.DominantKeys();
    }
    return run.GlobalKeys().at(0);
}

TEST(GlobalKeyFiguresTest, WithoutAFrameIsCMajor) {
    for (const std::size_t samples : {0u, 1u, 8191u}) {
        ChromaRun run(kTwoKeys, {kRate, 2, 4096, 0});
        run.Push(MusicLike(kRate, 2, samples));
        EXPECT_EQ(0, run.Process());
        EXPECT_EQ(std::vector<std::string>{kGlobalKey}, run.Order()) << samples;
        EXPECT_EQ((std::vector<std::string>{"C Major", "C Major"}), run.GlobalKeys());
    }
}

// All frames lie in the first of 24 classes, whichever key they have.
TEST(GlobalKeyFiguresTest, OneKeyThroughoutIsCMajor) {
    for (const std::size_t key : {0u, 5u, 7u, 12u, 23u}) {
        std::vector<std::size_t> keys;
        EXPECT_EQ("C Major", GlobalKeyOf(KeySound(key, kRate, SamplesForChroma(20)), &keys));
        EXPECT_EQ(std::vector<std::size_t>(20, key), keys);
    }
}

// The keys 5, 6, 7, 8, 9 are the classes 0, 4, 9, 14, 19 of a histogram from 5 to 9.
TEST(GlobalKeyFiguresTest, FiveKeysAreStretchedOverAllClasses) {
    const std::array<std::string, 5> expected = {"C Major", "E Major", "A Major", "D Minor",
                                                 "G Minor"};
    for (std::size_t most = 5; most <= 9; ++most) {
        const std::array<KeyStretch, 3> stretches = {{{5, 12}, {9, 12}, {most, 30}}};
        std::vector<std::size_t> keys;
        EXPECT_EQ(expected[most - 5], GlobalKeyOf(KeyStretches(stretches, kRate), &keys)) << most;
        EXPECT_EQ(5u, *std::min_element(keys.begin(), keys.end()));
        EXPECT_EQ(9u, *std::max_element(keys.begin(), keys.end()));
        EXPECT_GE(std::count(keys.begin(), keys.end(), most), 30);
    }
}

// Two neighbours are the classes 0 and 12, the two ends of the list 0 and 23.
TEST(GlobalKeyFiguresTest, TwoKeysAreTheirOwnHalves) {
    const auto keyOf = [](std::size_t few, std::size_t many) {
        const std::array<KeyStretch, 2> stretches = {{{few, 10}, {many, 20}}};
        return GlobalKeyOf(KeyStretches(stretches, kRate));
    };
    EXPECT_EQ("C Minor", keyOf(16, 17));
    EXPECT_EQ("C Major", keyOf(17, 16));
    EXPECT_EQ("B Minor", keyOf(0, 23));
    EXPECT_EQ("C Major", keyOf(23, 0));
}

TEST(GlobalKeyFiguresTest, IsThePlainCountWhereBothEndsOccur) {
    for (std::size_t most = 0; most < kKeys; ++most) {
        const std::array<KeyStretch, 3> stretches = {{{0, 10}, {23, 10}, {most, 25}}};
        EXPECT_EQ(KeyName(most), GlobalKeyOf(KeyStretches(stretches, kRate)));
    }
}

// Every frame counts, silent ones too, and of two classes alike the lower one is taken. Each
// Process decides from all frames so far, without an end to the stream.
TEST(GlobalKeyFiguresTest, EveryProcessDecidesFromAllFramesSoFar) {
    const Audio audio =
        Joined(Joined(Silence(1, SamplesForChroma(12)), KeySound(7, kRate, 40 * kChromaHop)),
               MusicLike(kRate, 1, 40000, 8));
    ChromaRun run(kTwoKeys, {kRate, 1, 512, 0});
    std::size_t ties = 0;
    std::size_t frames = 0;
    for (std::size_t at = 0; at + kChromaHop <= audio[0].size(); at += kChromaHop) {
        run.PushPart(audio, at, kChromaHop);
        for (const UInt8 flush : {UInt8{0}, UInt8{1}}) {
            EXPECT_EQ(0, run.Process(flush));
            const std::vector<std::size_t> keys = run.DominantKeys();
            frames = keys.size();
            ASSERT_EQ(ChromaFramesIn(at + kChromaHop), frames);
            ASSERT_EQ(KeyName(FullestClass(keys)), run.GlobalKeys().at(0)) << frames << " frames";
            const auto silent = std::count(keys.begin(), keys.end(), 0u);
            ties += silent > 0 && silent == std::count(keys.begin(), keys.end(), 7u) ? 1 : 0;
        }
    }
    EXPECT_GE(ties, 2u);
    EXPECT_GT(frames, 100u);
}

TEST(GlobalKeyFiguresTest, ChannelsHaveTheirOwnRange) {
    const std::array<KeyStretch, 2> low = {{{5, 10}, {9, 30}}};
    const std::array<KeyStretch, 2> all = {{{0, 10}, {23, 30}}};
    Audio audio = KeyStretches(low, kRate);
    audio.push_back(KeyStretches(all, kRate)[0]);
    audio.push_back(Silence(1, audio[0].size())[0]);
    ChromaRun run(kTwoKeys, {kRate, 3, 4096, 0});
    run.Push(audio);
    EXPECT_EQ(0, run.Process());
    EXPECT_EQ((std::vector<std::string>{"G Minor", "B Minor", "C Major"}), run.GlobalKeys());
}

// The order of the two reports of a Process, and a wish to stop, which comes too late.
TEST(GlobalKeyFiguresTest, ComesBeforeTheProgressOfAllDone) {
    struct Progress {
        const ChromaRun* run;
        std::vector<float> percents;
        std::vector<std::size_t> deliveriesBefore;
        int answer;
    };
    ChromaRun run(kTwoKeys, {kRate, 1, 4096, 0});
    for (const int answer : {0, 1}) {
        run.Forget();
        Progress progress{&run, {}, {}, answer};
        const auto report = [](void* unused, float percent, void* refCon) {
            EXPECT_EQ(nullptr, unused);
            auto* seen = static_cast<Progress*>(refCon);
            seen->percents.push_back(percent);
            seen->deliveriesBefore.push_back(seen->run->Deliveries().size());
            return seen->answer;
        };
        EXPECT_EQ(answer == 0 ? 0 : -1,
                  QelAudioAnalysisProcess(run.Handle(), 1, +report, &progress));
        EXPECT_EQ(std::vector<float>{100.0f}, progress.percents);
        EXPECT_EQ(std::vector<std::size_t>{1}, progress.deliveriesBefore);
        EXPECT_EQ(std::vector<std::string>{kGlobalKey}, run.Order());
    }
}

} // namespace
} // namespace qel::test
