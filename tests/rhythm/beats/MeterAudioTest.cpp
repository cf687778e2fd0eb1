#include "rhythm/beats/MeterAudio.h"

#include "tests/harness/TestAnalyzer.h"
#include "tests/harness/TestSignals.h"
#include "tests/rhythm/beats/ReferenceBeats.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>

namespace qel::test {
namespace {

using core::MeterAudio;
using Signals = std::vector<std::vector<float>>;

Signals Resampled(const Audio& audio, double rateHz, std::size_t blockFrames) {
    MeterAudio meterAudio(static_cast<UInt32>(audio.size()), rateHz);
    for (std::size_t at = 0; at < audio[0].size(); at += blockFrames) {
        const auto count =
            static_cast<UInt32>(std::min<std::size_t>(blockFrames, audio[0].size() - at));
        BufferList list(audio, at, count);
        meterAudio.Push(*list.Get(), count);
    }
    return meterAudio.Signals();
}

TEST(MeterAudioTest, RectifierAndLowPassAreThoseStepByStep) {
    const std::vector<float> samples = MusicLike(44100.0, 1, 30001)[0];
    std::vector<float> smoothed(samples.size());
    MeterAudio::State state{};
    constexpr std::size_t kCut = 12345;
    MeterAudio::RectifyAndSmooth(samples.data(), kCut, state, smoothed.data());
    MeterAudio::RectifyAndSmooth(samples.data() + kCut, samples.size() - kCut, state,
                                 smoothed.data() + kCut);
    // The recursion is given in single precision, operation by operation.
    EXPECT_EQ(RectifiedAudio(samples), smoothed);
}

TEST(MeterAudioTest, TheSignalIsThatOfThePlainFilter) {
    for (const double rateHz : {8000.0, 44100.0, 48000.0}) {
        const auto frames = static_cast<std::size_t>(3.3 * rateHz);
        const Audio audio = MusicLike(rateHz, 2, frames);
        const Signals signals = Resampled(audio, rateHz, 4096);
        ASSERT_EQ(2u, signals.size());
        for (std::size_t c = 0; c < 2; ++c) {
            const std::vector<double> expected = ResampleTo100Hz(RectifiedAudio(audio[c]), rateHz);
            ASSERT_EQ(expected.size(), signals[c].size());
            const double top = *std::max_element(expected.begin(), expected.end());
            ASSERT_GT(top, 0.0);
            for (std::size_t n = 0; n < expected.size(); ++n) {
                // Sums of thousands of products in single precision.
                EXPECT_NEAR(expected[n], signals[c][n], 1e-6 * top) << rateHz << " value " << n;
            }
        }
    }
}

// 441 samples for 4 values: three in four are taken from a branch between two samples.
TEST(MeterAudioTest, AConstantComesOutAsOneAtRatesThatAreNoMultiple) {
    const Audio audio = {std::vector<float>(11025 * 2, 0.5f)};
    const Signals signals = Resampled(audio, 11025.0, 1000);
    ASSERT_EQ(200u, signals[0].size());
    // The gains at 0 Hz are 1.0003 and 0.99. Ripple of the branches: that of the stop band, 73 dB.
    for (std::size_t n = 100; n < 200; ++n) {
        EXPECT_NEAR(0.5f * 1.0003f * 0.99f, signals[0][n], 0.5f * 4e-4f) << n;
    }
}

TEST(MeterAudioTest, CutsIntoPushesChangeNothing) {
    for (const double rateHz : {44100.0, 11025.0}) {
        const Audio audio = MusicLike(rateHz, 2, 100000);
        const Signals whole = Resampled(audio, rateHz, 100000);
        ASSERT_FALSE(whole[0].empty());
        EXPECT_EQ(whole, Resampled(audio, rateHz, 4096));
        EXPECT_EQ(whole, Resampled(audio, rateHz, 777));
    }
}

TEST(MeterAudioTest, ReadingInBetweenChangesNothing) {
    const Audio audio = MusicLike(44100.0, 1, 60000);
    MeterAudio meterAudio(1, 44100.0);
    std::vector<std::size_t> sizes;
    for (std::size_t at = 0; at < audio[0].size(); at += 10000) {
        BufferList list(audio, at, 10000);
        meterAudio.Push(*list.Get(), 10000);
        sizes.push_back(meterAudio.Signals()[0].size());
    }
    // Nothing as long as there is less than the filter takes, some 75 values of the signal.
    EXPECT_EQ((std::vector<std::size_t>{0, 0, 0, 90, 113, 136}), sizes);
    EXPECT_EQ(Resampled(audio, 44100.0, 60000), meterAudio.Signals());
}

TEST(MeterAudioTest, RatesBelowThatOfTheSignalGiveNone) {
    for (const double rateHz : {99.0, 0.0, 4294967296.0, std::numeric_limits<double>::infinity(),
                                std::numeric_limits<double>::quiet_NaN()}) {
        EXPECT_EQ(Signals(2), Resampled(Noise(0.5f, 2, 5000, 1), rateHz, 1000)) << rateHz;
    }
}

// Two filters that are designed when there is audio, one of them with a branch per value: 100 times
// as many coefficients as taps. The rates differ by too little to be seen in the values.
TEST(MeterAudioTest, ALargeFilterThatIsDesignedLateGivesTheSameSignal) {
    constexpr double kRateHz = 56000.0;
    ASSERT_LE(core::MeterResampler::Coefficients(kRateHz), MeterAudio::kMostCoefficientsAtSetUp);
    ASSERT_GT(core::MeterResampler::Coefficients(kRateHz + 1.0),
              MeterAudio::kMostCoefficientsAtSetUp);
    const Audio audio = MusicLike(kRateHz, 2, 60000);
    const Signals early = Resampled(audio, kRateHz, 1000);
    const Signals late = Resampled(audio, kRateHz + 1.0, 1000);
    ASSERT_EQ(107u, early[1].size());
    ASSERT_EQ(107u, late[1].size());
    for (std::size_t c = 0; c < 2; ++c) {
        const double top = *std::max_element(early[c].begin(), early[c].end());
        for (std::size_t n = 0; n < early[c].size(); ++n) {
            // A place that is 2e-5 of a sample per sample farther, in a signal below 50 Hz.
            EXPECT_NEAR(early[c][n], late[c][n], 1e-2 * top) << n;
        }
    }
}

TEST(MeterAudioTest, AResetBeginsAnotherStream) {
    for (const double rateHz : {44100.0, 11025.0}) {
        const Audio audio = MusicLike(rateHz, 2, 60000);
        MeterAudio meterAudio(2, rateHz, 60000);
        const Audio other = Noise(0.5f, 2, 50000, 1);
        BufferList noise(other, 0, 50000);
        meterAudio.Push(*noise.Get(), 50000);
        meterAudio.Reset();
        EXPECT_EQ(Signals(2), meterAudio.Signals());
        BufferList list(audio, 0, 60000);
        meterAudio.Push(*list.Get(), 60000);
        EXPECT_EQ(Resampled(audio, rateHz, 60000), meterAudio.Signals());
    }
}

TEST(MeterAudioTest, WarmingUpLeavesNoTrace) {
    for (const double rateHz : {100.0, 11025.0, 44100.0}) {
        const Audio audio = MusicLike(rateHz, 2, 60000);
        MeterAudio meterAudio(2, rateHz);
        meterAudio.WarmUp();
        for (std::size_t at = 0; at < audio[0].size(); at += 10000) {
            BufferList list(audio, at, 10000);
            meterAudio.Push(*list.Get(), 10000);
        }
        EXPECT_EQ(Resampled(audio, rateHz, 10000), meterAudio.Signals()) << rateHz;
    }
}

TEST(MeterAudioTest, MissingChannelsAreSilent) {
    const Audio audio = MusicLike(44100.0, 1, 44100);
    MeterAudio meterAudio(2, 44100.0);
    BufferList list(audio, 0, 44100);
    meterAudio.Push(*list.Get(), 44100);
    const Signals signals = meterAudio.Signals();
    EXPECT_EQ(Resampled(audio, 44100.0, 44100)[0], signals.at(0));
    EXPECT_EQ(std::vector<float>(100), signals.at(1));
}

} // namespace
} // namespace qel::test
