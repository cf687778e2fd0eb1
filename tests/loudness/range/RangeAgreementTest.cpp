// "audio range" against the tests' own computation, over rates, channels, pushes and kinds of
// sound.

#include "tests/harness/TestSignals.h"
#include "tests/loudness/range/RangeFiguresSignals.h"
#include "tests/loudness/range/RangeStreamRun.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <string>

namespace qel::test {
namespace {

constexpr double kSeconds = 10.0;

std::size_t WholeFrames(double rateHz, double seconds) {
    return static_cast<std::size_t>(rateHz * seconds) / 4096 * 4096;
}

// To 16 bits, as recordings are. It keeps every spectrum off the rounding of the transform.
Audio Quantized(Audio audio) {
    for (std::vector<float>& channel : audio) {
        for (float& sample : channel) {
            sample = std::clamp(std::round(sample * 32768.0f), -32768.0f, 32767.0f) / 32768.0f;
        }
    }
    return audio;
}

Audio Music(double rateHz, UInt32 channels, std::size_t frames) {
    return Quantized(MusicLike(rateHz, channels, frames, 31));
}

// Falls of all depths at several frequencies, another in each channel.
Audio Banded(double rateHz, UInt32 channels, std::size_t frames) {
    Audio audio;
    for (UInt32 c = 0; c < channels; ++c) {
        std::size_t size = 1;
        while (size < frames) {
            size *= 2;
        }
        const double topHz = rateHz / 2.0;
        audio.push_back(BandedNoise(rateHz, size,
                                    {{0.2 * topHz, -20.0},
                                     {0.61 * topHz, -31.0},
                                     {(0.7 + 0.09 * c) * topHz, -40.0},
                                     {(0.93 - 0.03 * c) * topHz, -46.0 - 14.0 * c},
                                     {topHz, -61.0}},
                                    32 + c));
        audio.back().resize(frames);
    }
    return Quantized(audio);
}

// The mean of neighbours falls over all of the upper half, without an edge.
Audio Dull(double rateHz, UInt32 channels, std::size_t frames) {
    Audio audio = Noise(0.5f, channels, frames, 33);
    for (std::vector<float>& channel : audio) {
        float last = 0.0f;
        for (float& sample : channel) {
            const float here = sample;
            sample = 0.5f * (here + last) + 0.002f * here;
            last = here;
        }
    }
    static_cast<void>(rateHz);
    return audio;
}

// Sweeps, silences and a clipped end: the counts of frames differ from bin to bin.
Audio Changing(double rateHz, UInt32 channels, std::size_t frames) {
    Audio audio = Noise(0.001f, channels, frames, 34);
    for (UInt32 c = 0; c < channels; ++c) {
        for (std::size_t i = 0; i < frames; ++i) {
            const double at = static_cast<double>(i) / static_cast<double>(frames);
            const double seconds = static_cast<double>(i) / rateHz;
            const double phase = (0.5 + 0.2 * c) * rateHz * at * seconds;
            float& sample = audio[c][i];
            sample += static_cast<float>(2.0 * at * std::sin(phase));
            sample = at > 0.3 + 0.1 * c && at < 0.4 + 0.15 * c ? 0.0f : sample;
            sample = std::clamp(sample, -1.0f, 1.0f);
        }
    }
    return audio;
}

struct Sound {
    std::string name;
    std::function<Audio(double rateHz, UInt32 channels, std::size_t frames)> make;
};

const std::vector<Sound>& Sounds() {
    static const std::vector<Sound> sounds = {
        {"music", Music}, {"banded", Banded}, {"dull", Dull}, {"changing", Changing}};
    return sounds;
}

void ExpectSettled(const ReferenceRange& reference, std::size_t channels) {
    for (std::size_t c = 0; c < channels; ++c) {
        const ReferenceRangeFigures figures = reference.Figures(c);
        EXPECT_TRUE(figures.noiseFloorSettled) << c;
        EXPECT_EQ(1u, figures.cutoffs.size()) << c;
        EXPECT_EQ(figures.headroomLow, figures.headroomHigh) << c;
    }
}

// Pushes of these lengths in turn, to the reference and to the library.
void PushBoth(const Audio& audio, const std::vector<UInt32>& lengths, RangeStreamRun& run,
              ReferenceRange& reference) {
    std::size_t at = 0;
    for (std::size_t i = 0; at < audio[0].size(); ++i) {
        const UInt32 frames = lengths[i % lengths.size()];
        if (at + frames > audio[0].size()) {
            break;
        }
        ASSERT_EQ(0, run.PushOnce(audio, at, frames));
        ASSERT_TRUE(reference.Push(audio, at, frames));
        at += frames;
    }
}

class RangeAgreementTest : public testing::TestWithParam<double> {};

TEST_P(RangeAgreementTest, EveryFigureOfEverySoundIsTheReferences) {
    const double rateHz = GetParam();
    const std::size_t frames = WholeFrames(rateHz, kSeconds);
    int exact = 0;
    int all = 0;
    for (const Sound& sound : Sounds()) {
        for (const UInt32 channels : {1u, 2u}) {
            SCOPED_TRACE(sound.name + " of " + std::to_string(channels));
            const Audio audio = sound.make(rateHz, channels, frames);
            RangeStreamRun run({rateHz, channels, 4096, 0});
            ReferenceRange reference(channels, rateHz);
            PushBoth(audio, {4096}, run, reference);
            ExpectReferenceRange(reference, run.Process());
            EXPECT_GT(reference.UsableFrames(0), frames / 512 * 3 / 4);
            for (UInt32 c = 0; c < channels; ++c) {
                const ReferenceRangeFigures figures = reference.Figures(c);
                EXPECT_FALSE(figures.noiseFloorMayMiss);
                EXPECT_EQ(1u, figures.cutoffs.size());
                EXPECT_EQ(figures.headroomLow, figures.headroomHigh);
                // The bounds are no wide berth: of 10 levels of 1 dB hardly one is in doubt.
                const double spread = figures.noiseFloorHigh - figures.noiseFloorLow;
                EXPECT_LT(spread, 0.25);
                ++all;
                exact += spread < 1e-9 ? 1 : 0;
            }
        }
    }
    EXPECT_GE(exact, all / 2);
}

INSTANTIATE_TEST_SUITE_P(Rates, RangeAgreementTest,
                         testing::Values(22050.0, 32000.0, 44100.0, 48000.0, 96000.0));

TEST(RangeAgreementCutsTest, TheCutIntoPushesDoesNotMatter) {
    constexpr double kRate = 44100.0;
    const Audio audio = Banded(kRate, 2, WholeFrames(kRate, 3.0));
    std::vector<std::byte> expected;
    for (const std::vector<UInt32>& lengths : std::vector<std::vector<UInt32>>{
             {512}, {1024}, {1536}, {4096}, {512, 4096, 1024, 512, 2048}}) {
        RangeStreamRun run({kRate, 2, 4096, 0});
        ReferenceRange reference(2, kRate);
        PushBoth(audio, lengths, run, reference);
        RangeResults results = run.Process();
        ExpectReferenceRange(reference, results);
        ExpectSettled(reference, 2);
        // Of 1536 and the mixed lengths the end of the stream may be missing.
        if (audio[0].size() % lengths[0] == 0 && lengths.size() == 1) {
            expected = expected.empty() ? results.bytes : expected;
            EXPECT_EQ(expected, results.bytes) << lengths[0];
        }
    }
}

TEST(RangeAgreementCutsTest, OneFrameAndFewFrames) {
    const Audio audio = Music(44100.0, 1, 16384);
    for (const std::size_t frames : {512u, 1024u, 1536u, 2048u, 5120u, 15872u}) {
        SCOPED_TRACE(frames);
        RangeStreamRun run({44100.0, 1, 16384, 0});
        ReferenceRange reference(1, 44100.0);
        EXPECT_EQ(0, run.PushOnce(audio, 0, static_cast<UInt32>(frames)));
        ASSERT_TRUE(reference.Push(audio, 0, frames));
        EXPECT_EQ(frames / 512 - 1, reference.UsableFrames(0));
        ExpectReferenceRange(reference, run.Process());
    }
}

TEST(RangeAgreementCutsTest, AResetKeepsTheSamplesAndTheLastHalfFrame) {
    constexpr double kRate = 44100.0;
    RangeStreamRun run({kRate, 2, 4096, 0});
    ReferenceRange reference(2, kRate);
    const Audio loud = Changing(kRate, 2, WholeFrames(kRate, 3.0));
    Audio quiet = Music(kRate, 2, WholeFrames(kRate, 5.0));
    for (std::vector<float>& channel : quiet) {
        for (float& sample : channel) {
            sample *= 0.25f;
        }
    }
    PushBoth(loud, {4096}, run, reference);
    ExpectReferenceRange(reference, run.Process());
    for (int round = 0; round < 2; ++round) {
        run.Reset();
        reference.Reset();
        ExpectReferenceRange(reference, run.Process());
        // The half frame before the reset is the first half of a usable frame.
        PushBoth(quiet, {512, 1024}, run, reference);
        EXPECT_EQ(quiet[0].size() / 512, reference.UsableFrames(0));
        ExpectReferenceRange(reference, run.Process());
    }
    // What was loud once is loud still.
    RangeStreamRun fresh({kRate, 2, 4096, 0});
    fresh.Push(quiet, 512);
    EXPECT_GT(fresh.Process().channels.at(0).mHeadroom,
              run.Process().channels.at(0).mHeadroom + 0.05f);
}

// Each call tells of the stream so far, and the stream goes on. A flush adds a push of silence.
TEST(RangeAgreementCutsTest, ProcessMayBeCalledAtAnyTime) {
    constexpr double kRate = 48000.0;
    RangeStreamRun run({kRate, 1, 4096, 0});
    ReferenceRange reference(1, kRate);
    const Audio audio = Banded(kRate, 1, WholeFrames(kRate, 2.0));
    for (int part = 0; part < 3; ++part) {
        PushBoth(audio, {4096}, run, reference);
        const RangeResults results = run.Process();
        ExpectReferenceRange(reference, results);
        EXPECT_EQ(results.bytes, run.Process().bytes);
    }
    for (int flush = 0; flush < 40; ++flush) {
        ASSERT_TRUE(reference.Push(Silence(1, 4096), 0, 4096));
        ExpectReferenceRange(reference, run.Process(1));
    }
}

TEST(RangeAgreementCutsTest, SixChannelsDoNotMeet) {
    constexpr double kRate = 32000.0;
    Audio audio;
    for (const Sound& sound : Sounds()) {
        const Audio pair = sound.make(kRate, 2, WholeFrames(kRate, 3.0));
        audio.insert(audio.end(), pair.begin(), pair.end());
    }
    audio[1] = Silence(1, audio[0].size())[0];
    audio.resize(6);
    RangeStreamRun run({kRate, 6, 4096, 0});
    ReferenceRange reference(6, kRate);
    PushBoth(audio, {2048, 512}, run, reference);
    ExpectReferenceRange(reference, run.Process());
    EXPECT_EQ(0u, reference.UsableFrames(1));
}

} // namespace
} // namespace qel::test
