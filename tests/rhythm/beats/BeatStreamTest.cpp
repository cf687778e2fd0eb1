// How the beat keys take a stream: pushes, lengths, segments, statuses, odd audio.

#include "tests/harness/TestSignals.h"
#include "tests/rhythm/beats/BeatAssertions.h"

#include <cmath>
#include <limits>

namespace qel::test {
namespace {

constexpr double kRate = 44100.0;
constexpr SInt32 kNotEnoughData = -3864;
const std::vector<std::string> kTempoAndBeats = {kTempoKey, kBeatKey};

// Two channels that differ, with a meter each.
Audio StereoDrums(double seconds = 8.0) {
    return {DrumTrack(kRate, {.bpm = 120.0, .meter = 3, .seconds = seconds}),
            DrumTrack(kRate, {.bpm = 150.0, .meter = 4, .seconds = seconds})};
}

SInt64 LengthOf(const Audio& audio) {
    return static_cast<SInt64>(audio[0].size());
}

// Each segment is analyzed as a stream of its own; the times carry on where the function frames of
// the segments before ended.
TEST(BeatStreamTest, TimesCarryOnOverSegments) {
    const std::vector<float> first = DrumTrack(kRate, {.bpm = 120.0, .seconds = 6.0});
    const std::vector<float> second = DrumTrack(kRate, {.bpm = 150.0, .seconds = 5.0});
    BeatRun run(kTempoAndBeats, {kRate, 1, 4096, 0});
    run.Push({first});
    EXPECT_EQ(Analyze({first}, kRate, kTempoAndBeats).Bytes(), run.Process().Bytes());
    double framesBefore = 0.0;
    std::size_t lastLength = first.size();
    for (int segment = 0; segment < 2; ++segment) {
        framesBefore += static_cast<double>(NumFunctionFrames(lastLength));
        lastLength = second.size();
        run.Push({second});
        const BeatResults results = run.Process();
        BeatResults expected = Analyze({second}, kRate, kTempoAndBeats);
        ASSERT_EQ(0, expected.status);
        for (Event& beat : expected.beats.at(0)) {
            const double frame = std::round(beat.timeSeconds * FunctionRate(kRate));
            beat.timeSeconds = (framesBefore + frame) / FunctionRate(kRate);
        }
        EXPECT_EQ(expected.Bytes(), results.Bytes()) << segment;
    }
}

TEST(BeatStreamTest, WithoutFlushItWaitsForTheDeclaredStream) {
    const Audio audio = StereoDrums(4.0);
    BeatRun run(kTempoAndBeats, {kRate, 2, 4096, LengthOf(audio)});
    const BeatResults empty = run.ProcessWithProgress(-1, 0);
    EXPECT_EQ(kNotEnoughData, empty.status);
    EXPECT_TRUE(empty.order.empty());
    EXPECT_TRUE(empty.progress.empty());

    // One function frame fewer than the length gives, the last one open: still one too few.
    const std::size_t frames = NumFunctionFrames(audio[0].size());
    const std::size_t enough = kBeatFrameSize + (frames - 1) * kBeatHopSize;
    std::size_t at = 0;
    const auto pushTo = [&](std::size_t end) {
        for (; at < end;) {
            const auto count = static_cast<UInt32>(std::min<std::size_t>(4096, end - at));
            ASSERT_EQ(0, run.Analyzer().Push(audio, at, count));
            at += count;
        }
    };
    pushTo(enough - kBeatHopSize - 1);
    EXPECT_EQ(kNotEnoughData, run.Process(0).status);
    pushTo(audio[0].size());
    const BeatResults results = run.Process(0);
    EXPECT_EQ(Analyze(audio, kRate, kTempoAndBeats).Bytes(), results.Bytes());
}

TEST(BeatStreamTest, WithoutFlushAStreamOfUnknownLengthIsTakenAsItStands) {
    const Audio audio = StereoDrums(4.0);
    BeatRun run(kTempoAndBeats, {kRate, 2, 4096, 0});
    run.Push(audio);
    EXPECT_EQ(Analyze(audio, kRate, kTempoAndBeats).Bytes(), run.Process(0).Bytes());
}

TEST(BeatStreamTest, TooLittleAudioHasNoResultAndStays) {
    const Audio audio = {DrumTrack(kRate, {.seconds = 4.0})};
    BeatRun run(kTempoAndBeats, {kRate, 1, 4096, 0});
    for (int i = 0; i < 2; ++i) {
        const BeatResults none = run.Process();
        EXPECT_EQ(-1, none.status);
        EXPECT_TRUE(none.order.empty());
    }
    run.Push({{audio[0].begin(), audio[0].begin() + 60000}});
    EXPECT_EQ(-1, run.Process().status);
    run.Push({{audio[0].begin() + 60000, audio[0].end()}});
    EXPECT_EQ(Analyze(audio, kRate, kTempoAndBeats).Bytes(), run.Process().Bytes());
}

// Both estimates of silence fail, and the toggled hint stays: 1 becomes 0, all others become 1.
TEST(BeatStreamTest, SilenceTogglesTheHint) {
    for (const float hint : {0.0f, 1.0f, 2.0f}) {
        BeatRun run({kTempoKey}, {kRate, 1, 4096, 0});
        EXPECT_EQ(0, run.SetGenreHint(hint));
        run.Push(Silence(1, 44100 * 3));
        EXPECT_EQ(-1, run.Process().status);
        EXPECT_EQ(hint == 1.0f ? 0.0f : 1.0f, run.GenreHint()) << hint;
    }
}

// A stream that is too short is not estimated at all: no toggling.
TEST(BeatStreamTest, AShortStreamKeepsTheHint) {
    BeatRun run({kTempoKey}, {kRate, 1, 4096, 0});
    run.Push(Silence(1, 44100));
    EXPECT_EQ(-1, run.Process().status);
    EXPECT_EQ(1.0f, run.GenreHint());
}

TEST(BeatStreamTest, FullScaleNoiseAtManyRatesGivesBeatsUpToTheEnd) {
    for (const double rateHz : {8000.0, 11025.0, 32000.0, 96000.0, 192000.0}) {
        const Audio audio = Noise(1.0f, 1, static_cast<std::size_t>(3.0 * rateHz), 9);
        const BeatResults results = Analyze(audio, rateHz, kTempoAndBeats);
        ASSERT_EQ(0, results.status) << rateHz;
        const auto last = static_cast<double>(NumFunctionFrames(audio[0].size()) - 1);
        EXPECT_EQ(last / FunctionRate(rateHz), results.beats.at(0).back().timeSeconds) << rateHz;
    }
}

} // namespace
} // namespace qel::test
