// How "onset data" takes a stream: pushes, channels, lengths, flushes, segments, resets, odd audio.

#include "tests/harness/TestSignals.h"
#include "tests/rhythm/onsets/OnsetAssertions.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>

namespace qel::test {
namespace {

constexpr double kRate = 44100.0;

SInt64 LengthOf(const Audio& audio) {
    return static_cast<SInt64>(audio[0].size());
}

Audio Part(const Audio& audio, std::size_t first, std::size_t end) {
    Audio part;
    for (const std::vector<float>& channel : audio) {
        part.emplace_back(channel.begin() + static_cast<std::ptrdiff_t>(first),
                          channel.begin() + static_cast<std::ptrdiff_t>(end));
    }
    return part;
}

// Everything in blocks, then Process without a flush.
OnsetResults Unflushed(const Audio& audio, UInt32 blockFrames = 4096) {
    OnsetRun run({kRate, static_cast<UInt32>(audio.size()), 4096, LengthOf(audio)});
    run.Push(audio, blockFrames);
    return run.Process(0);
}

// Required by the contract: the filters run straight on from one channel's block into the next. So
// channels leak into each other, and the cut into pushes matters.
TEST(OnsetStreamTest, ChannelsShareTheFilters) {
    const Audio music = MusicLike(kRate, 1, 3 * 44100, 5);
    const OnsetResults mono = AnalyzeOnsets(music, kRate);
    const OnsetResults twice = AnalyzeOnsets({music[0], music[0]}, kRate, 512);
    ASSERT_EQ(2u, twice.onsets.size());
    OnsetResults first = twice;
    first.onsets = {twice.onsets[0]};
    EXPECT_NE(mono.Bytes(), first.Bytes());

    // The silent channel has the rests of the other one's blocks.
    const Audio besideSilence = {music[0], std::vector<float>(music[0].size())};
    const OnsetResults leaked = AnalyzeOnsets(besideSilence, kRate, 512);
    EXPECT_FALSE(leaked.onsets.at(1).empty());
    ExpectReferenceOnsets(besideSilence, kRate, {.blockFrames = 512}, leaked);
    EXPECT_NE(leaked.Bytes(), AnalyzeOnsets(besideSilence, kRate, 4096).Bytes());
}

TEST(OnsetStreamTest, SixChannelsAreTakenInTurn) {
    Audio audio;
    for (const std::uint32_t seed : {1u, 2u, 3u}) {
        const Audio pair = MusicLike(kRate, 2, 44100, seed);
        audio.insert(audio.end(), pair.begin(), pair.end());
    }
    ExpectReferenceOnsets(audio, kRate, {.blockFrames = 1000}, AnalyzeOnsets(audio, kRate, 1000));
}

// A short push may leave its samples to the next one, with as many channels as it has.
TEST(OnsetStreamTest, ShortPushesOfSeveralChannelsAreTakenInTurn) {
    const Audio audio = MusicLike(kRate, 2, 44100, 4);
    for (const UInt32 blockFrames : {16u, 64u, 65u}) {
        ExpectReferenceOnsets(audio, kRate, {.blockFrames = blockFrames},
                              AnalyzeOnsets(audio, kRate, blockFrames));
    }
}

// Whichever push of two pages of the store comes last, and without a flush after it. Its samples
// are loud, so that they count.
TEST(OnsetStreamTest, TheLastShortPushIsAnalyzed) {
    for (std::size_t frames = 8192; frames < 8192 + 2048; frames += 64) {
        Audio audio = MusicLike(kRate, 1, frames, 4);
        std::fill(audio[0].end() - 20, audio[0].end(), 1.0f);
        EXPECT_EQ(Unflushed(audio).Bytes(), Unflushed(audio, 64).Bytes()) << frames;
    }
}

TEST(OnsetStreamTest, AnEmptyPushAddsNothing) {
    const Audio audio = MusicLike(kRate, 2, 44100, 6);
    OnsetRun run({kRate, 2, 4096, LengthOf(audio)});
    EXPECT_EQ(0, run.Analyzer().Push(audio, 0, 0));
    for (std::size_t at = 0; at < audio[0].size(); at += 4096) {
        const auto frames = static_cast<UInt32>(std::min<std::size_t>(4096, audio[0].size() - at));
        EXPECT_EQ(0, run.Analyzer().Push(audio, at, frames));
        EXPECT_EQ(0, run.Analyzer().Push(audio, at, 0));
    }
    EXPECT_EQ(AnalyzeOnsets(audio, kRate).Bytes(), run.Process().Bytes());
}

// And so the times stay those of the stream.
TEST(OnsetStreamTest, AFlushIsOnePushOfSilence) {
    for (const UInt32 channels : {1u, 2u}) {
        const Audio audio = MusicLike(kRate, channels, 50000, 8);
        OnsetRun run({kRate, channels, 4096, LengthOf(audio)});
        run.Push(audio);
        run.Push(Silence(channels, kFlushFrames));
        EXPECT_EQ(AnalyzeOnsets(audio, kRate).Bytes(), run.Process(0).Bytes());
    }
}

TEST(OnsetStreamTest, AFlushIsAsLongAsTheLargestPush) {
    const Audio audio = MusicLike(kRate, 1, 50000, 8);
    OnsetRun run({kRate, 1, 20000, LengthOf(audio)});
    run.Push(audio, 1000);
    const OnsetResults results = run.Process();
    ExpectReferenceOnsets(audio, kRate, {.silentFrames = 20000}, results);
    EXPECT_EQ(Unflushed(Joined(audio, Silence(1, 20000))).Bytes(), results.Bytes());
}

// What is stored stays, so a second call tells of the whole stream again.
TEST(OnsetStreamTest, ProcessDoesNotEndTheStream) {
    const Audio audio = MusicLike(kRate, 2, 3 * 44100, 9);
    OnsetRun run({kRate, 2, 4096, LengthOf(audio)});
    run.Push(Part(audio, 0, 40960));
    const OnsetResults first = run.Process(0);
    EXPECT_EQ(Unflushed(Part(audio, 0, 40960)).Bytes(), first.Bytes());
    EXPECT_EQ(first.Bytes(), run.Process(0).Bytes());
    run.Push(Part(audio, 40960, audio[0].size()));
    EXPECT_EQ(Unflushed(audio).Bytes(), run.Process(0).Bytes());
    // Each flush adds its silence.
    EXPECT_EQ(AnalyzeOnsets(audio, kRate).Bytes(), run.Process().Bytes());
    const Audio longer = Joined(audio, Silence(2, kFlushFrames));
    OnsetRun whole({kRate, 2, 4096, LengthOf(longer)});
    whole.Push(audio);
    whole.Push(Silence(2, kFlushFrames));
    EXPECT_EQ(whole.Process().Bytes(), run.Process().Bytes());
}

// Of silence alone the rests of what was in the filters would be onsets.
TEST(OnsetStreamTest, ResetClearsTheFilters) {
    OnsetRun run({kRate, 1, 4096, 0});
    run.Push(Noise(0.9f, 1, 10000, 3));
    EXPECT_FALSE(run.Process().onsets.at(0).empty());
    run.Push(Noise(0.9f, 1, 10000, 3));
    EXPECT_EQ(0, run.Analyzer().Reset());
    run.Push(Silence(1, 10000));
    EXPECT_TRUE(run.Process().onsets.at(0).empty());
}

TEST(OnsetStreamTest, FewerThanThreeFramesHaveNoOnsets) {
    for (const UInt32 channels : {1u, 2u}) {
        for (const std::size_t frames : {0u, 1u, 2u}) {
            OnsetRun run({kRate, channels, 4096, 0});
            if (frames > 0) {
                run.Push(Constant(1.0f, channels, frames));
            }
            const OnsetResults results = run.Process(0);
            EXPECT_EQ(0, results.status);
            EXPECT_EQ(1, results.deliveries);
            ASSERT_EQ(channels, results.onsets.size());
            for (const std::vector<Event>& list : results.onsets) {
                EXPECT_TRUE(list.empty());
            }
        }
    }
    OnsetRun run({kRate, 1, 1, 0}); // one frame, and one of the flush
    run.Push(Constant(1.0f, 1, 1), 1);
    EXPECT_TRUE(run.Process().onsets.at(0).empty());
}

TEST(OnsetStreamTest, OddAudioEndsInAListWithinTheStream) {
    const float infinity = std::numeric_limits<float>::infinity();
    for (const float odd : {std::nanf(""), infinity, -infinity, 3e38f, 1e-40f}) {
        Audio audio = MusicLike(kRate, 1, 40000, 13);
        audio[0][20000] = odd;
        OnsetRun run({kRate, 1, 4096, 0});
        run.Push(audio);
        const OnsetResults results = run.Process();
        EXPECT_EQ(0, results.status) << odd;
        double last = -1.0;
        for (const Event& onset : results.onsets.at(0)) {
            EXPECT_GT(onset.timeSeconds, last) << odd;
            last = onset.timeSeconds;
            EXPECT_LE(onset.strength, 1.0f) << odd;
        }
        EXPECT_LT(last * kRate, 44096.0);
        // A reset leaves nothing of it.
        const Audio music = MusicLike(kRate, 1, 40000, 13);
        EXPECT_EQ(0, run.Analyzer().Reset());
        run.Push(music);
        EXPECT_EQ(AnalyzeOnsets(music, kRate).Bytes(), run.Process().Bytes()) << odd;
    }
}

} // namespace
} // namespace qel::test
