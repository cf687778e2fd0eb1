// What holds for whole streams: order and number of deliveries, time, channels, cuts, resets, and
// audio that is no sound.

#include "tests/harness/TestSignals.h"
#include "tests/timbre/ReferencePartials.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace qel::test {
namespace {

constexpr double kRate = 44100.0;

TEST(PartialsStreamTest, OnlyWhatWasAskedForIsDeliveredInAFixedOrder) {
    const Audio audio = MusicLike(kRate, 2, SamplesForPartials(3));
    PartialsRun whole({kRate, 2});
    whole.Analyzer().PushInBlocks(audio, 4096);
    // The keys are asked for backwards; that doesn't matter.
    for (unsigned asked = 1; asked < 8; ++asked) {
        std::vector<std::string> keys;
        std::vector<std::string> expected;
        for (unsigned key = 0; key < 3; ++key) {
            if ((asked >> key) % 2 == 1) {
                keys.insert(keys.begin(), kPartialKeys[key]);
                expected.push_back(kPartialKeys[key]);
            }
        }
        PartialsRun run({kRate, 2}, keys);
        run.Analyzer().PushInBlocks(audio, 4096);
        ASSERT_EQ(3 * expected.size(), run.Order().size());
        for (std::size_t i = 0; i < run.Order().size(); ++i) {
            EXPECT_EQ(expected[i % expected.size()], run.Order()[i]);
        }
        // What is delivered does not depend on what else is.
        std::vector<PartialResults> part = whole.Channels();
        for (PartialResults& channel : part) {
            channel.partials.resize(asked % 2 == 1 ? 3 : 0);
            channel.fundamentalsHz.resize((asked >> 1) % 2 == 1 ? 3 : 0);
            channel.inharmonicities.resize((asked >> 2) % 2 == 1 ? 3 : 0);
        }
        EXPECT_TRUE(SameResults(part, run.Channels())) << asked;
    }
}

TEST(PartialsStreamTest, AFrameIsDeliveredWithItsLastSampleAndTheEndBringsNone) {
    const Audio audio = MusicLike(kRate, 1, SamplesForPartials(3) - 1);
    PartialsRun run({kRate, 1}, {kPartialsKey});
    ASSERT_EQ(0, run.Analyzer().Push(audio, 0, 1023));
    EXPECT_EQ(0u, run.Order().size());
    ASSERT_EQ(0, run.Analyzer().Push(audio, 1023, 1));
    EXPECT_EQ(1u, run.Order().size());
    ASSERT_EQ(0, run.Analyzer().Push(audio, 1024, 1023));
    EXPECT_EQ(2u, run.Order().size());
    EXPECT_EQ(0, run.Analyzer().Process(0));
    EXPECT_EQ(0, run.Analyzer().Process(1));
    EXPECT_EQ(2u, run.Order().size());
}

TEST(PartialsStreamTest, TimeIsTheNumberOfTheFrameForEveryTrack) {
    const std::size_t frames = 300;
    for (const PartialResults& channel :
         AnalyzePartials(MusicLike(48000.0, 2, SamplesForPartials(frames)), 48000.0)) {
        ASSERT_EQ(frames, channel.partials.size());
        for (std::size_t n = 0; n < frames; ++n) {
            ASSERT_FALSE(channel.partials[n].empty());
            for (const PartialRecord& record : channel.partials[n]) {
                EXPECT_EQ(static_cast<double>(n), record.mTime);
            }
        }
    }
}

TEST(PartialsStreamTest, CutsIntoPushesDoNotMatter) {
    const Audio audio = MusicLike(kRate, 2, SamplesForPartials(40) + 77);
    const std::vector<PartialResults> expected = AnalyzePartials(audio, kRate, 4096);
    EXPECT_GT(expected[0].Greatest(), 20u);
    for (const UInt32 blockFrames : {1u, 7u, 511u, 512u, 1025u}) {
        EXPECT_TRUE(SameResults(expected, AnalyzePartials(audio, kRate, blockFrames)))
            << blockFrames;
    }
}

TEST(PartialsStreamTest, ChannelsDoNotKnowOfEachOther) {
    const Audio audio = MusicLike(kRate, 3, SamplesForPartials(40));
    Audio mixed = {audio[0], Noise(0.7f, 1, audio[0].size(), 31)[0], audio[2],
                   Silence(1, audio[0].size())[0]};
    const std::vector<PartialResults> together = AnalyzePartials(mixed, kRate);
    ASSERT_EQ(4u, together.size());
    for (std::size_t c = 0; c < 4; ++c) {
        EXPECT_TRUE(SameResults(AnalyzePartials({mixed[c]}, kRate), {together[c]})) << c;
    }
    EXPECT_FALSE(SameResults({together[0]}, {together[2]}));
    EXPECT_EQ(0u, together[3].Greatest());
}

TEST(PartialsStreamTest, AResetStreamIsLikeAFreshOne) {
    const Audio audio = MusicLike(kRate, 2, SamplesForPartials(30));
    PartialsRun run({kRate, 2});
    run.Analyzer().PushInBlocks(MusicLike(kRate, 2, 7000, 5), 999);
    ASSERT_EQ(0, run.Analyzer().Reset());
    run.Forget();
    run.Analyzer().PushInBlocks(audio, 4096);
    EXPECT_TRUE(SameResults(AnalyzePartials(audio, kRate), run.Channels()));
    EXPECT_EQ(0.0, run.Channel().partials.at(0).at(0).mTime);
}

TEST(PartialsStreamTest, ValuesThatAreNoSoundDoNoHarm) {
    const float infinity = std::numeric_limits<float>::infinity();
    const Audio clean = MusicLike(kRate, 1, SamplesForPartials(10));
    for (const float value : {std::numeric_limits<float>::quiet_NaN(), infinity, -infinity,
                              std::numeric_limits<float>::max(), 1e-42f}) {
        SCOPED_TRACE(value);
        Audio audio = MusicLike(kRate, 1, SamplesForPartials(12));
        // One sample, then a whole frame of them.
        audio[0][2000] = value;
        std::fill_n(audio[0].begin() + 4096, 1024, value);
        PartialsRun run({kRate, 1});
        run.Analyzer().PushInBlocks(audio, 1000);
        EXPECT_EQ(0, run.Analyzer().Process());
        EXPECT_EQ(36u, run.Order().size());
        ASSERT_EQ(0, run.Analyzer().Reset());
        run.Forget();
        run.Analyzer().PushInBlocks(clean, 4096);
        EXPECT_TRUE(SameResults(AnalyzePartials(clean, kRate), run.Channels()));
    }
}

// Peaks need three bins each, so that noise has up to some 250 in a frame; what is not found again
// lives on for four frames besides.
TEST(PartialsStreamTest, NoiseForThousandsOfFramesStaysInOrder) {
    for (const float level : {1e-4f, 2e-4f, 0.9f}) {
        SCOPED_TRACE(level);
        const std::size_t frames = 3000;
        const Audio audio = Noise(level, 1, SamplesForPartials(frames), 41);
        const PartialResults results = AnalyzePartials(audio, kRate)[0];
        ASSERT_EQ(frames, results.partials.size());
        EXPECT_GT(results.Greatest(), 150u);
        for (std::size_t n = 0; n < frames; ++n) {
            const PartialRow& row = results.partials[n];
            ASSERT_FALSE(row.empty());
            EXPECT_EQ(row[0].mFrequency, results.fundamentalsHz[n]);
            EXPECT_NEAR(ReferenceInharmonicity(row), results.inharmonicities[n], 2.5e-4);
            for (const PartialRecord& record : row) {
                ASSERT_TRUE(record.mIndex >= 0 && record.mIndex <= 510);
                ASSERT_EQ(std::floor(record.mFrequency * 1024.0 / kRate + 1e-6), record.mIndex);
                ASSERT_EQ(static_cast<double>(n), record.mTime);
                ASSERT_GE(record.mMagnitude, 0.001f);
            }
        }
    }
}

} // namespace
} // namespace qel::test
