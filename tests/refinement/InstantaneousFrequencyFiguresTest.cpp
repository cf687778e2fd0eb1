// "instantaneous frequency" against a re-computation in double precision and against closed forms.

#include "tests/timbre/TimbreTesting.h"

#include <algorithm>

namespace qel::test {
namespace {

constexpr std::size_t kFrame = 1024;
constexpr std::size_t kHop = 512;

void ExpectFrequencies(const std::vector<float>& samples, double rateHz,
                       const std::vector<std::vector<float>>& rows, BoundCount& tight) {
    for (std::size_t frame = 0; frame < rows.size(); ++frame) {
        SCOPED_TRACE("frame " + std::to_string(frame));
        const std::vector<Bounded> expected =
            ReferenceFrequencies(FrameAt(samples, frame * kHop, kFrame), rateHz);
        ASSERT_NO_FATAL_FAILURE(ExpectWithin(expected, rows[frame]));
        for (const Bounded& value : expected) {
            tight.Add(value, 0.05 * rateHz / static_cast<double>(kFrame));
        }
    }
}

class InstantaneousFrequencyRateTest : public testing::TestWithParam<RateAndBlock> {};

// That the comparison means something, nine of ten bounds must be below a twentieth of a bin.
TEST_P(InstantaneousFrequencyRateTest, SoundLikeMusicAgreesWithADoublePrecisionRecomputation) {
    BoundCount tight;
    for (const UInt32 channels : {1u, 2u}) {
        const Audio audio = MusicLike(GetParam().rateHz, channels,
                                      kInstantaneousFrequency.SamplesFor(60) + 100, 18);
        for (std::size_t channel = 0; channel < channels; ++channel) {
            const auto rows = RowsOf(kInstantaneousFrequency, audio, GetParam(), channel);
            ASSERT_EQ(60u, rows.size());
            ExpectFrequencies(audio[channel], GetParam().rateHz, rows, tight);
        }
    }
    EXPECT_GE(tight.Share(), 0.9);
}

TEST_P(InstantaneousFrequencyRateTest, NoiseAgreesWithADoublePrecisionRecomputation) {
    const Audio audio = Noise(0.7f, 1, kInstantaneousFrequency.SamplesFor(40), 19);
    BoundCount tight;
    ExpectFrequencies(audio[0], GetParam().rateHz,
                      RowsOf(kInstantaneousFrequency, audio, GetParam()), tight);
    EXPECT_GE(tight.Share(), 0.9);
}

// A sine has its own frequency in the bins around its peak. The two windows differ by half a sample
// in place and by 1 in 1025 in length, which moves a frequency by that share of its distance from
// the bin's centre: by less than 0.1 Hz.
TEST_P(InstantaneousFrequencyRateTest, ASineHasItsFrequencyInTheBinsAroundItsPeak) {
    const double binHz = GetParam().rateHz / static_cast<double>(kFrame);
    for (const double bins : {10.5, 23.23, 60.0, 111.81, 300.37}) {
        const double frequencyHz = bins * binHz;
        SCOPED_TRACE(frequencyHz);
        const Audio audio =
            Sine(GetParam().rateHz, frequencyHz, 0.5, kInstantaneousFrequency.SamplesFor(5));
        const auto peak = static_cast<std::size_t>(std::lround(bins));
        for (const std::vector<float>& row : RowsOf(kInstantaneousFrequency, audio, GetParam())) {
            for (std::size_t bin = peak - 1; bin <= peak + 1; ++bin) {
                EXPECT_NEAR(frequencyHz, row[bin], 0.5) << "bin " << bin;
            }
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Rates, InstantaneousFrequencyRateTest, testing::ValuesIn(kRatesAndBlocks));

// Each tone rules the bins around its own peak.
TEST(InstantaneousFrequencyFiguresTest, TwoTonesAreToldApart) {
    Audio audio = Sine(44100.0, 1013.0, 0.4, 4096);
    const Audio other = Sine(44100.0, 3007.0, 0.2, 4096);
    std::transform(audio[0].begin(), audio[0].end(), other[0].begin(), audio[0].begin(),
                   std::plus<>());
    for (const std::vector<float>& row : RowsOf(kInstantaneousFrequency, audio)) {
        EXPECT_NEAR(1013.0, row[24], 0.5); // 1033.6 Hz
        EXPECT_NEAR(3007.0, row[70], 0.5); // 3014.6 Hz
    }
}

// Of a sample at n, both spectra have one phase, and the derivative of the window is a real number,
// so that every bin keeps its centre.
TEST(InstantaneousFrequencyFiguresTest, AnImpulseLeavesTheCentres) {
    const auto rows = RowsOf(kInstantaneousFrequency, Impulses(kFrame, {{333, 0.5f}}));
    ASSERT_EQ(1u, rows.size());
    for (std::size_t bin = 1; bin < kFrame / 2; ++bin) {
        const double centre = static_cast<double>(bin) * 44100.0 / static_cast<double>(kFrame);
        EXPECT_NEAR(centre, rows[0][bin], 0.01 + 1e-6 * centre) << bin;
    }
}

// Required by the contract: silence divides 0 by 0, so its frequencies are NaN.
TEST(InstantaneousFrequencyFiguresTest, SilenceHasNoFrequencies) {
    const Audio audio = Joined(Noise(0.5f, 1, 2 * kHop, 20), Silence(1, 3 * kHop));
    const auto rows = RowsOf(kInstantaneousFrequency, audio);
    ASSERT_EQ(4u, rows.size());
    for (std::size_t frame = 0; frame < 4; ++frame) {
        for (std::size_t bin = 0; bin < kFrame / 2; ++bin) {
            ASSERT_EQ(frame >= 2, std::isnan(rows[frame][bin])) << frame << ", " << bin;
        }
    }
}

TEST(InstantaneousFrequencyFiguresTest, SilenceInOneChannelLeavesTheOther) {
    const Audio audio = {Silence(1, 2048)[0], Noise(0.5f, 1, 2048, 21)[0]};
    for (const Delivery& delivery : RunKeys({kInstantaneousFrequency.key}, audio)) {
        for (std::size_t bin = 0; bin < kFrame / 2; ++bin) {
            ASSERT_TRUE(std::isnan(delivery.Floats(0)[bin]));
            ASSERT_TRUE(std::isfinite(delivery.Floats(1)[bin]));
        }
    }
}

// A factor of a power of two falls out of the quotients, to the bit.
TEST(InstantaneousFrequencyFiguresTest, LevelMakesNoDifference) {
    const Audio audio = MusicLike(44100.0, 1, 8 * kHop, 22);
    Audio loud = audio;
    for (float& sample : loud[0]) {
        sample *= 4.0f;
    }
    EXPECT_EQ(RowsOf(kInstantaneousFrequency, audio), RowsOf(kInstantaneousFrequency, loud));
}

// Without a rate, the window's derivative is 0 per second and every bin lies at 0 Hz.
TEST(InstantaneousFrequencyFiguresTest, WithoutARateAllFrequenciesAreZero) {
    const Audio audio = Noise(0.5f, 1, 3 * kHop, 23);
    const auto rows = RowsOf(kInstantaneousFrequency, audio, {0.0, 4096});
    ASSERT_EQ(2u, rows.size());
    for (const std::vector<float>& row : rows) {
        for (const float hz : row) {
            ASSERT_EQ(0.0f, hz);
        }
    }
}

} // namespace
} // namespace qel::test
