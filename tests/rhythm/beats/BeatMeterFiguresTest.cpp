// "global number of beats per bar" and "down beat data".

#include "tests/harness/TestSignals.h"
#include "tests/rhythm/beats/BeatAssertions.h"

#include <algorithm>
#include <limits>

namespace qel::test {
namespace {

constexpr double kRate = 44100.0;
constexpr SInt32 kNoMeter = -3;

Meters ReferenceMeters(const Audio& audio, double rateHz) {
    std::vector<std::vector<double>> signals;
    for (const std::vector<float>& channel : audio) {
        signals.push_back(ResampleTo100Hz(RectifiedAudio(channel), rateHz));
    }
    return FindMeters(signals);
}

using MeterOfDrums = testing::TestWithParam<std::tuple<double, double, int>>;

// Every bar the same: the audio repeats after a bar and, but for the accent, after every beat.
TEST_P(MeterOfDrums, IsTheDistanceOfTheAccents) {
    const auto [rateHz, bpm, meter] = GetParam();
    const std::vector<float> samples =
        DrumTrack(rateHz, {.bpm = bpm, .meter = meter, .seconds = 16.0, .loudest = -1});
    const BeatResults results = Analyze({samples}, rateHz, {kMeterKey});
    EXPECT_EQ(0, results.status);
    EXPECT_EQ(std::vector<std::string>{kMeterKey}, results.order);
    EXPECT_EQ(std::vector<UInt32>{static_cast<UInt32>(meter)}, results.meters);
}

INSTANTIATE_TEST_SUITE_P(TempiMetersRates, MeterOfDrums,
                         testing::Combine(testing::Values(44100.0, 48000.0),
                                          testing::Values(90.0, 120.0, 150.0),
                                          testing::Values(3, 4, 5, 7)));

TEST(BeatMeterFiguresTest, AccentsOnEverySixthBeatCountAsThree) {
    const Audio audio = {DrumTrack(kRate, {.meter = 6, .seconds = 14.0, .loudest = -1})};
    EXPECT_EQ(std::vector<UInt32>{3}, ReferenceMeters(audio, kRate).meters);
    EXPECT_EQ(std::vector<UInt32>{3}, Analyze(audio, kRate, {kMeterKey}).meters);
}

TEST(BeatMeterFiguresTest, TheReferenceAgreesOnMusic) {
    const Audio audio = MusicLike(48000.0, 1, 48000 * 10);
    const Meters expected = ReferenceMeters(audio, 48000.0);
    const BeatResults results = Analyze(audio, 48000.0, {kMeterKey});
    EXPECT_EQ(expected.meters, results.meters);
    EXPECT_EQ(expected.anyFailed ? kNoMeter : 0, results.status);
}

// Required by the contract: matrices and scores of a channel add to those of the channels before.
TEST(BeatMeterFiguresTest, ChannelsAddUp) {
    const std::vector<float> three = DrumTrack(kRate, {.meter = 3, .seconds = 14.0});
    const std::vector<float> four = DrumTrack(kRate, {.bpm = 100.0, .meter = 4, .seconds = 14.0});
    std::vector<float> quietFour = four;
    std::transform(four.begin(), four.end(), quietFour.begin(),
                   [](float sample) { return 0.1f * sample; });
    const std::vector<float> silence(three.size());
    for (const Audio& audio :
         {Audio{three, four}, Audio{four, three}, Audio{three, quietFour}, Audio{three, silence}}) {
        const Meters expected = ReferenceMeters(audio, kRate);
        const BeatResults results = Analyze(audio, kRate, {kMeterKey});
        EXPECT_EQ(0, results.status);
        EXPECT_EQ(expected.meters, results.meters);
    }
    // In a silent channel what the channel before left is all there is.
    const BeatResults results = Analyze({three, silence}, kRate, {kMeterKey});
    EXPECT_EQ((std::vector<UInt32>{3, 3}), results.meters);
}

// The failed channel reports 0, the others what they have; the status tells of the failure.
TEST(BeatMeterFiguresTest, AChannelWithoutMeterDoesNotStopTheOthers) {
    const std::vector<float> three = DrumTrack(kRate, {.meter = 3, .seconds = 14.0});
    const std::vector<float> silence(three.size());
    const BeatResults results = Analyze({silence, three}, kRate, {kMeterKey});
    EXPECT_EQ(kNoMeter, results.status);
    EXPECT_EQ((std::vector<UInt32>{0, 3}), results.meters);
}

TEST(BeatMeterFiguresTest, SilenceHasNoMeter) {
    const BeatResults results = Analyze(Silence(1, 44100 * 4), kRate, {kMeterKey});
    EXPECT_EQ(kNoMeter, results.status);
    EXPECT_EQ(std::vector<std::string>{kMeterKey}, results.order);
    EXPECT_EQ(std::vector<UInt32>{0}, results.meters);
}

TEST(BeatMeterFiguresTest, AudioShorterThanTheResamplerHasNoMeter) {
    for (const std::size_t frames : {std::size_t{0}, std::size_t{1}, std::size_t{20000}}) {
        const BeatResults results = Analyze(Noise(0.5f, 1, frames, 1), kRate, {kMeterKey});
        EXPECT_EQ(kNoMeter, results.status) << frames;
        EXPECT_EQ(std::vector<UInt32>{0}, results.meters) << frames;
    }
}

TEST(BeatMeterFiguresTest, ValuesThatAreNoNumbersHaveNoMeter) {
    for (const float value :
         {std::numeric_limits<float>::quiet_NaN(), std::numeric_limits<float>::infinity()}) {
        Audio audio = {DrumTrack(kRate, {.meter = 3})};
        audio[0][30000] = value;
        const BeatResults results = Analyze(audio, kRate, {kMeterKey});
        EXPECT_EQ(kNoMeter, results.status);
        EXPECT_EQ(std::vector<UInt32>{0}, results.meters);
    }
}

// After a failure there is no new segment: what was stored stays, and more audio adds to it.
TEST(BeatMeterFiguresTest, AFailureKeepsTheStoredAudio) {
    const Audio audio = {DrumTrack(kRate, {.meter = 5, .seconds = 14.0})};
    BeatRun run({kMeterKey}, {kRate, 1, 4096, 0});
    EXPECT_EQ(kNoMeter, run.Process().status);
    run.Push({{audio[0].begin(), audio[0].begin() + 20000}});
    EXPECT_EQ(kNoMeter, run.Process().status);
    run.Push({{audio[0].begin() + 20000, audio[0].end()}});
    const BeatResults whole = run.Process();
    EXPECT_EQ(0, whole.status);
    EXPECT_EQ(std::vector<UInt32>{5}, whole.meters);
    // The success began a new segment, which is empty.
    EXPECT_EQ(kNoMeter, run.Process().status);
}

// The down beats that follow from the delivered beats, whose order of finding is the last first.
void ExpectDownBeats(const std::vector<Event>& beats, UInt32 meter,
                     const std::vector<Event>& actual) {
    std::vector<float> strengths;
    for (auto beat = beats.rbegin(); beat != beats.rend(); ++beat) {
        strengths.push_back(beat->strength);
    }
    const std::vector<std::size_t> indices = DownBeatIndices(strengths, meter);
    ASSERT_EQ(indices.size(), actual.size());
    for (std::size_t i = 0; i < actual.size(); ++i) {
        const Event& beat = beats[beats.size() - 1 - indices[indices.size() - 1 - i]];
        EXPECT_EQ(beat.timeSeconds, actual[i].timeSeconds) << i;
        EXPECT_EQ(beat.strength, actual[i].strength) << i;
    }
}

TEST(DownBeatTest, EveryBeatABarApartFromTheStrongest) {
    for (const int meter : {3, 4, 5, 7}) {
        SCOPED_TRACE(meter);
        const Audio audio = {DrumTrack(kRate, {.meter = meter, .seconds = 16.0, .loudest = 14})};
        const BeatResults results = Analyze(audio, kRate);
        ASSERT_EQ(0, results.status);
        EXPECT_EQ(kAllBeatKeys, results.order);
        ASSERT_EQ(static_cast<UInt32>(meter), results.meters.at(0));
        ExpectDownBeats(results.beats.at(0), results.meters[0], results.downBeats.at(0));
        EXPECT_GE(results.downBeats[0].size(), 2u);
    }
}

TEST(DownBeatTest, EachChannelHasItsOwn) {
    const Audio audio = {DrumTrack(kRate, {.meter = 3, .seconds = 14.0}),
                         DrumTrack(kRate, {.bpm = 150.0, .meter = 4, .seconds = 14.0})};
    const BeatResults results = Analyze(audio, kRate);
    ASSERT_EQ(0, results.status);
    ASSERT_EQ(2u, results.downBeats.size());
    for (std::size_t c = 0; c < 2; ++c) {
        ExpectDownBeats(results.beats.at(c), results.meters.at(c), results.downBeats[c]);
    }
}

// Asked for alone, they need the meter and the beats, and deliver neither.
TEST(DownBeatTest, AskedForAloneTheyAreTheSame) {
    const Audio audio = {DrumTrack(kRate, {.meter = 3, .seconds = 14.0})};
    const BeatResults all = Analyze(audio, kRate);
    const BeatResults alone = Analyze(audio, kRate, {kDownBeatKey});
    EXPECT_EQ(0, alone.status);
    EXPECT_EQ(std::vector<std::string>{kDownBeatKey}, alone.order);
    BeatResults expected;
    expected.order = {kDownBeatKey};
    expected.downBeats = all.downBeats;
    ASSERT_FALSE(all.downBeats.at(0).empty());
    EXPECT_EQ(expected.Bytes(), alone.Bytes());
}

// One channel without a tempo is enough for nothing to be delivered at all.
TEST(DownBeatTest, AChannelWithoutTempoStopsEverything) {
    const Audio audio = {DrumTrack(kRate, {.seconds = 12.0}), std::vector<float>(44100 * 12)};
    const BeatResults results = Analyze(audio, kRate);
    EXPECT_EQ(-1, results.status);
    EXPECT_TRUE(results.order.empty());
}

} // namespace
} // namespace qel::test
