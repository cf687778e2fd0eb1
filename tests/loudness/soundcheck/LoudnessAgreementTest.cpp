// Half a minute of sound like music through the sound-check analyzers, cut in every way, against
// the reference in double precision.

#include "tests/loudness/soundcheck/LoudnessAgreementTesting.h"
#include "tests/loudness/soundcheck/LoudnessFiguresTesting.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <span>

namespace qel::test {
namespace {

constexpr unsigned kRate = 44100;
// 43 steps and some frames that fill none.
constexpr std::size_t kFrames = 32 * kRate;

void ExpectBufferedAgreement(unsigned rateHz, unsigned channels, const Stream& stream,
                             std::span<const std::size_t> pushes) {
    ReferenceLoudness reference(rateHz, channels);
    reference.AddStream(stream, RunsOfPushes(pushes));
    core::BufferedSoundCheckAnalyzer analyzer("agreement");
    ASSERT_EQ(0, analyzer.Start(FloatFormat(rateHz, channels), nullptr, nullptr, 0));
    std::size_t start = 0;
    for (const std::size_t frames : pushes) {
        // Samples of its own, so that no place in memory is kept beyond the push.
        Stream piece(stream.begin() + static_cast<std::ptrdiff_t>(start * channels),
                     stream.begin() + static_cast<std::ptrdiff_t>((start + frames) * channels));
        piece.resize(std::max<std::size_t>(piece.size(), 1));
        AudioBufferList list{1, {{channels, static_cast<UInt32>(frames * channels * 4), nullptr}}};
        list.mBuffers[0].mData = piece.data();
        ASSERT_EQ(0, analyzer.ProcessBuffer(static_cast<UInt32>(frames), list, nullptr));
        start += frames;
    }
    EXPECT_EQ(0, analyzer.Finish());
    ExpectAgreement(reference, analyzer, channels);
}

TEST(LoudnessAgreementTest, MonoAgreesHoweverItIsCut) {
    const Stream stream = MusicWithQuietPassages(kRate, 1, kFrames, 21);
    for (const Cut& cut : Cuts(kFrames)) {
        SCOPED_TRACE(cut.name);
        ExpectBufferedAgreement(kRate, 1, stream, cut.pushes);
    }
}

TEST(LoudnessAgreementTest, StereoAgreesHoweverItIsCut) {
    const Stream stream = MusicWithQuietPassages(kRate, 2, kFrames, 22);
    for (const Cut& cut : Cuts(kFrames)) {
        SCOPED_TRACE(cut.name);
        ExpectBufferedAgreement(kRate, 2, stream, cut.pushes);
    }
}

TEST(LoudnessAgreementTest, SingleFramesAgree) {
    constexpr std::size_t kSomeFrames = 10 * 32768 + 5;
    const std::vector<std::size_t> pushes(kSomeFrames, 1);
    for (const unsigned channels : {1u, 2u}) {
        const Stream stream = MusicWithQuietPassages(kRate, channels, kSomeFrames, 23);
        ExpectBufferedAgreement(kRate, channels, stream, pushes);
    }
}

TEST(LoudnessAgreementTest, OtherRatesAgree) {
    for (const unsigned rateHz : {8000u, 22050u, 32000u, 48000u, 96000u, 192000u}) {
        SCOPED_TRACE(rateHz);
        for (const unsigned channels : {1u, 2u}) {
            const Stream stream = MusicWithQuietPassages(rateHz, channels, 800000, rateHz);
            ExpectBufferedAgreement(rateHz, channels, stream,
                                    std::vector<std::size_t>{100, 40000, 500000, 200000, 59900});
        }
    }
}

// Every mono step is looked at, however many come together; of a stereo run the first half, at
// every half step.
TEST(LoudnessAgreementTest, RunsOfSeveralStepsAgree) {
    constexpr std::size_t kSteps = 44;
    for (const unsigned channels : {1u, 2u}) {
        const Stream stream = MusicWithQuietPassages(kRate, channels, kSteps * kStepFrames, 24);
        for (const std::size_t steps : {std::size_t{1}, std::size_t{2}, std::size_t{11}, kSteps}) {
            SCOPED_TRACE(testing::Message() << channels << " channels, " << steps << " steps");
            const std::vector<std::size_t> runs(kSteps / steps, steps * kStepFrames);
            ReferenceLoudness reference(kRate, channels);
            reference.AddStream(stream, runs);
            core::SoundCheckAnalyzer analyzer;
            const core::CAStreamBasicDescription format = FloatFormat(kRate, channels);
            ASSERT_EQ(0, analyzer.Start(&format, nullptr));
            const float* samples = stream.data();
            for (const std::size_t frames : runs) {
                ASSERT_EQ(0, analyzer.Process(static_cast<UInt32>(frames), samples));
                samples += frames * channels;
            }
            EXPECT_EQ(0, analyzer.Finish());
            ExpectAgreement(reference, analyzer, channels);
        }
    }
}

// A buffer list of one buffer is the same as its samples; refused calls in between change nothing.
TEST(LoudnessAgreementTest, RefusedRunsChangeNothing) {
    const Stream stream = MusicWithQuietPassages(kRate, 1, 8 * kStepFrames, 25);
    ReferenceLoudness reference(kRate, 1);
    core::SoundCheckAnalyzer analyzer;
    const core::CAStreamBasicDescription format = FloatFormat(kRate, 1);
    ASSERT_EQ(0, analyzer.Start(&format, nullptr));
    for (std::size_t step = 0; step < 8; ++step) {
        Stream piece(stream.begin() + static_cast<std::ptrdiff_t>(step * kStepFrames),
                     stream.begin() + static_cast<std::ptrdiff_t>((step + 1) * kStepFrames));
        reference.AddRun(piece.data(), kStepFrames);
        AudioBufferList list{1, {{1, kStepFrames * 4, piece.data()}}};
        for (const UInt32 frames : {1u, 1024u, 32767u, 32769u, 40000u}) {
            EXPECT_EQ(-50, analyzer.Process(frames, piece.data()));
            EXPECT_EQ(-50, analyzer.Process(frames, &list));
        }
        EXPECT_EQ(0, analyzer.Process(0, piece.data()));
        EXPECT_EQ(0, analyzer.Process(kStepFrames, &list));
        list.mNumberBuffers = 2;
        EXPECT_EQ(-50, analyzer.Process(kStepFrames, &list));
    }
    EXPECT_EQ(0, analyzer.Finish());
    ExpectAgreement(reference, analyzer, 1);
}

// At 65536000 Hz steps are half a millisecond long, exactly, and halves are rounded upwards. Each
// excerpt has a higher peak than the one before.
TEST(LoudnessAgreementTest, TimesAreRoundedToTheNearestMillisecond) {
    constexpr std::uint32_t kTimes[] = {0, 1, 1, 2, 2, 3, 3, 4};
    core::SoundCheckAnalyzer analyzer;
    const core::CAStreamBasicDescription format = FloatFormat(65536000, 1);
    ASSERT_EQ(0, analyzer.Start(&format, nullptr));
    Stream step(kStepFrames);
    for (const std::uint32_t time : kTimes) {
        step[5] += 0.1f;
        ASSERT_EQ(0, analyzer.Process(kStepFrames, step.data()));
        EXPECT_EQ(time, analyzer.GetData()->peakTime[0]);
    }
}

// 32768 frames at 44100 Hz are 743.04 ms, and four of them 2972.15 ms. A new start goes back to 0,
// with the rate and channels that it says.
TEST(LoudnessAgreementTest, ANewStartIsANewTrack) {
    core::BufferedSoundCheckAnalyzer analyzer("restart");
    const Stream mono = MusicWithQuietPassages(kRate, 1, 20 * kStepFrames, 26);
    const Stream stereo = MusicWithQuietPassages(48000, 2, 20 * kStepFrames, 27);
    for (int round = 0; round < 2; ++round) {
        // What the track before left unfinished is forgotten.
        for (const auto& [rateHz, channels, stream] :
             {std::tuple{kRate, 1u, &mono}, std::tuple{48000u, 2u, &stereo}}) {
            ReferenceLoudness reference(rateHz, channels);
            reference.AddStream(*stream, std::vector<std::size_t>{19 * kStepFrames});
            ASSERT_EQ(0, analyzer.Start(FloatFormat(rateHz, channels), nullptr, nullptr, 0));
            ASSERT_EQ(0, analyzer.ProcessFloats(20 * kStepFrames - 100, stream->data()));
            EXPECT_EQ(0, analyzer.Finish());
            ExpectAgreement(reference, analyzer, channels);
        }
    }
}

// Less than a step gives no excerpt.
TEST(LoudnessAgreementTest, ATrackBelowOneStepHasNoFigures) {
    core::BufferedSoundCheckAnalyzer analyzer("short");
    const Stream stream(kStepFrames - 1, 0.5f);
    ASSERT_EQ(0, analyzer.Start(FloatFormat(kRate, 1), nullptr, nullptr, 0));
    ASSERT_EQ(0, analyzer.ProcessFloats(kStepFrames - 1, stream.data()));
    EXPECT_EQ(0, analyzer.Finish());
    ExpectFigures({}, *analyzer.GetData(), 0);
    ExpectStatistics({}, *analyzer.GetData(), 0);
    ASSERT_EQ(0, analyzer.ProcessFloats(1, stream.data()));
    EXPECT_EQ(16384, analyzer.GetData()->peak[0]);
}

} // namespace
} // namespace qel::test
