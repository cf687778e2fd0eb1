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
