#include "loudness/soundcheck/NormalizationData.h"

#include "tests/loudness/soundcheck/SoundCheckTesting.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <memory>
#include <numbers>
#include <vector>

namespace qel::core {
namespace {

using test::Figures;
using test::FiguresOf;
using test::RoughNoise;

constexpr std::size_t kN = kExcerptFrames;

struct Close {
    void operator()(NormalizationData* data) const { EXPECT_EQ(0, NormalizationClose(data)); }
};
using Record = std::unique_ptr<NormalizationData, Close>;

Record Open(UInt32 channels, UInt32 sampleRate = 44100) {
    NormalizationData* data = nullptr;
    EXPECT_EQ(0, NormalizationOpen(sampleRate, channels, &data));
    return Record(data);
}

// Samples at a 32-byte boundary, or `offset` floats after one.
class PlacedSamples {
public:
    explicit PlacedSamples(const std::vector<float>& samples, std::size_t offset = 0)
        : mMemory(new Unit[samples.size() / 8 + 2]), mSamples(mMemory[0].floats + offset) {
        std::memcpy(static_cast<void*>(mSamples), samples.data(), samples.size() * sizeof(float));
    }
    const float* Get() const { return mSamples; }

private:
    struct alignas(32) Unit {
        float floats[8];
    };
    std::unique_ptr<Unit[]> mMemory;
    float* mSamples;
};

std::vector<float> Cosine(double amplitude, double bin) {
    std::vector<float> samples(kN);
    for (std::size_t n = 0; n < kN; ++n) {
        samples[n] = static_cast<float>(
            amplitude * std::cos(2.0 * std::numbers::pi * bin * static_cast<double>(n) / kN));
    }
    return samples;
}

// A cosine in the middle of a bin, windowed by a raised cosine of height 32768, has the magnitude
// amplitude * 32768 * 1024 / 4 in its bin, half of that in both neighbours, and nothing elsewhere.
// At 44100 Hz the bins 92 to 94 lie in the band of 4000 Hz.
constexpr double kBinOf4kHz = 93.0;
double EnergyAt4kHz(double amplitude) {
    const double threshold =
        3.64 * std::pow(4.0, -0.8) - 6.5 * std::exp(-0.6 * 0.7 * 0.7) + 0.001 * 256.0;
    const double magnitude = amplitude * 32768.0 * 1024.0 / 4.0;
    return 1.5 * magnitude * magnitude * std::pow(10.0, -threshold / 10.0);
}
// A single-precision transform of ten stages, squared.
constexpr double kEnergyTolerance = 1e-5;

std::vector<float> Interleaved(const std::vector<float>& left, const std::vector<float>& right) {
    std::vector<float> both;
    for (std::size_t n = 0; n < left.size(); ++n) {
        both.push_back(left[n]);
        both.push_back(right[n]);
    }
    return both;
}

TEST(NormalizationOpenTest, RefusesANullResultAndOtherChannels) {
    EXPECT_EQ(-50, NormalizationOpen(44100, 1, nullptr));
    for (const UInt32 channels : {0u, 3u, 0xFFFFFFFFu}) {
        NormalizationData other{};
        NormalizationData* data = &other;
        EXPECT_EQ(-50, NormalizationOpen(44100, channels, &data)) << channels;
        EXPECT_EQ(nullptr, data) << channels;
    }
    EXPECT_EQ(-50, NormalizationClose(nullptr));
}

TEST(NormalizationOpenTest, ARecordStartsAtZeroWithItsArraysOnVectorBoundaries) {
    const Record data = Open(2, 48000);
    EXPECT_EQ(48000u, data->sampleRate);
    EXPECT_EQ(2u, data->channels);
    EXPECT_NE(0, data->useVectorUnit);
    EXPECT_NE(nullptr, data->fft);
    EXPECT_EQ(0u, reinterpret_cast<std::uintptr_t>(data->realLeft) % 32);
    EXPECT_EQ(data->realLeft + 512, data->imagLeft);
    EXPECT_EQ(data->imagLeft + 512, data->realRight);
    EXPECT_EQ(data->realRight + 512, data->imagRight);
    EXPECT_EQ(470, data->bands[24].endBin);
    EXPECT_EQ(Figures{}, FiguresOf(*data, 0));
    EXPECT_EQ(Figures{}, FiguresOf(*data, 1));
}

TEST(NormalizationProcessFloatsTest, BadParametersChangeNothing) {
    const Record data = Open(2);
    const std::vector<float> samples = RoughNoise(2 * kN, 1);
    EXPECT_EQ(-50, NormalizationProcessFloats(nullptr, samples.data(), 1, 5));
    EXPECT_EQ(-50, NormalizationProcessFloats(data.get(), nullptr, 1, 5));
    for (const UInt32 channels : {0u, 3u, 0xFFFFFFFFu}) {
        EXPECT_EQ(-50, NormalizationProcessFloats(data.get(), samples.data(), channels, 5));
    }
    EXPECT_EQ(Figures{}, FiguresOf(*data, 0));
    EXPECT_EQ(Figures{}, FiguresOf(*data, 1));
}

TEST(NormalizationProcessFloatsTest, SilenceHasNoEnergyAndNoPeak) {
    const Record data = Open(1);
    const std::vector<float> silence(kN, 0.0f);
    for (UInt32 time = 0; time < 5; ++time) {
        EXPECT_EQ(0, NormalizationProcessFloats(data.get(), silence.data(), 1, time + 1));
    }
    NormalizationCreateStats(data.get(), 1);
    EXPECT_EQ(Figures{}, FiguresOf(*data, 0));
}

TEST(NormalizationProcessFloatsTest, TheEnergyOfACosineIsTheWeightedPowerOfItsThreeBins) {
    const Record data = Open(1);
    EXPECT_EQ(0, NormalizationProcessFloats(data.get(), Cosine(0.5, kBinOf4kHz).data(), 1, 1234));
    const double energy = EnergyAt4kHz(0.5);
    EXPECT_NEAR(energy, data->maxEnergy[0], energy * kEnergyTolerance);
    EXPECT_EQ(data->maxEnergy[0], data->energySum[0]);
    EXPECT_EQ(1u, data->energyCount[0]);
    EXPECT_EQ(1234u, data->maxEnergyTime[0]);
    EXPECT_EQ(16384, data->peak[0]);
    EXPECT_EQ(1234u, data->peakTime[0]);
    EXPECT_EQ(0u, data->averageLoudness[0]); // only NormalizationCreateStats works it out
}

TEST(NormalizationProcessFloatsTest, AnExcerptBelowTheGateSetsMaximumAndPeakButNotTheAverage) {
    const double quiet = 0.0046, loud = 0.0047;
    ASSERT_LT(EnergyAt4kHz(quiet), 5e9 * 0.98);
    ASSERT_GT(EnergyAt4kHz(loud), 5e9 * 1.01);
    const Record data = Open(1);
    EXPECT_EQ(0, NormalizationProcessFloats(data.get(), Cosine(quiet, kBinOf4kHz).data(), 1, 10));
    EXPECT_EQ(0u, data->energyCount[0]);
    EXPECT_EQ(0.0f, data->energySum[0]);
    EXPECT_NEAR(EnergyAt4kHz(quiet), data->maxEnergy[0], EnergyAt4kHz(quiet) * kEnergyTolerance);
    EXPECT_EQ(10u, data->maxEnergyTime[0]);
    EXPECT_EQ(150, data->peak[0]); // 0.0046 * 32768 = 150.7
    EXPECT_EQ(10u, data->peakTime[0]);

    EXPECT_EQ(0, NormalizationProcessFloats(data.get(), Cosine(loud, kBinOf4kHz).data(), 1, 20));
    EXPECT_EQ(0, NormalizationProcessFloats(data.get(), Cosine(quiet, kBinOf4kHz).data(), 1, 30));
    EXPECT_EQ(1u, data->energyCount[0]);
    EXPECT_EQ(data->maxEnergy[0], data->energySum[0]);
    EXPECT_EQ(20u, data->maxEnergyTime[0]);
    EXPECT_EQ(20u, data->peakTime[0]);
    NormalizationCreateStats(data.get(), 1);
    EXPECT_EQ(5u, data->averageLoudness[0]); // 5.09e9
    EXPECT_EQ(5u, data->maxLoudness[0]);
}

TEST(NormalizationProcessFloatsTest, TheFirstOfEqualExcerptsKeepsItsTime) {
    const Record data = Open(1);
    const std::vector<float> samples = Cosine(0.25, kBinOf4kHz);
    for (const UInt32 time : {300u, 400u, 100u}) {
        EXPECT_EQ(0, NormalizationProcessFloats(data.get(), samples.data(), 1, time));
    }
    EXPECT_EQ(300u, data->maxEnergyTime[0]);
    EXPECT_EQ(300u, data->peakTime[0]);
    EXPECT_EQ(3u, data->energyCount[0]);
}

TEST(NormalizationProcessFloatsTest, PeaksAreWholeNumbersOfThe16BitScaleOfEitherSign) {
    for (const auto& [sample, peak] : std::vector<std::pair<float, SInt32>>{
             {-1.0f, 32768}, {1.0f, 32768}, {0.99999f, 32767}, {-0.5f, 16384}, {1e-5f, 0}}) {
        for (const std::size_t place : {0u, 1u, 511u, 1023u}) {
            const Record data = Open(1);
            std::vector<float> samples(kN, 0.0f);
            samples[place] = sample;
            EXPECT_EQ(0, NormalizationProcessFloats(data.get(), samples.data(), 1, 9));
            EXPECT_EQ(peak, data->peak[0]) << sample << ' ' << place;
            EXPECT_EQ(peak != 0 ? 9u : 0u, data->peakTime[0]);
        }
    }
}

TEST(NormalizationProcessFloatsTest, OnlyThe1024FramesOfAnExcerptAreRead) {
    for (const UInt32 channels : {1u, 2u}) {
        const std::vector<float> noise = RoughNoise(kN * channels, 3);
        const auto exact = std::make_unique<float[]>(noise.size()); // the checker sees its ends
        std::copy(noise.begin(), noise.end(), exact.get());
        const Record data = Open(channels);
        EXPECT_EQ(0, NormalizationProcessFloats(data.get(), exact.get(), channels, 0));
        EXPECT_EQ(1u, data->energyCount[channels - 1]);
    }
}

TEST(NormalizationProcessFloatsTest, TheChannelsOfTheCallDecide) {
    const Record mono = Open(1), stereo = Open(2);
    const std::vector<float> samples = RoughNoise(2 * kN, 4);
    EXPECT_EQ(0, NormalizationProcessFloats(mono.get(), samples.data(), 2, 3));
    EXPECT_EQ(0, NormalizationProcessFloats(stereo.get(), samples.data(), 2, 3));
    EXPECT_EQ(FiguresOf(*stereo), FiguresOf(*mono));
    EXPECT_EQ(1u, mono->energyCount[1]);
}

// Aligned, unaligned, and aligned with the vector path switched off.
TEST(NormalizationStereoTest, TheVectorPathGivesThePlainPathsFiguresToTheLastBit) {
    const Record vector = Open(2), plain = Open(2), switchedOff = Open(2);
    switchedOff->useVectorUnit = 0;
    for (std::uint32_t excerpt = 0; excerpt < 200; ++excerpt) {
        std::vector<float> samples = RoughNoise(2 * kN, excerpt);
        for (float& sample : samples) {
            sample *= std::pow(10.0f, -static_cast<float>(excerpt % 60) / 10.0f);
        }
        const PlacedSamples aligned(samples), unaligned(samples, 1 + excerpt % 3);
        ASSERT_EQ(0, NormalizationProcessFloats(vector.get(), aligned.Get(), 2, excerpt));
        ASSERT_EQ(0, NormalizationProcessFloats(plain.get(), unaligned.Get(), 2, excerpt));
        ASSERT_EQ(0, NormalizationProcessFloats(switchedOff.get(), aligned.Get(), 2, excerpt));
        ASSERT_EQ(FiguresOf(*plain), FiguresOf(*vector)) << excerpt;
        ASSERT_EQ(FiguresOf(*plain), FiguresOf(*switchedOff)) << excerpt;
    }
    EXPECT_GT(vector->energyCount[0], 50u);
    EXPECT_LT(vector->energyCount[0], 200u);
}

TEST(NormalizationStereoTest, EveryPlaceOfAPeakIsSeenInItsOwnChannel) {
    for (std::size_t n = 0; n < 2 * kN; ++n) {
        std::vector<float> samples(2 * kN, 0.0f);
        samples[n] = n % 3 == 0 ? 0.5f : -0.5f;
        const PlacedSamples aligned(samples);
        const Record data = Open(2);
        ASSERT_EQ(0, NormalizationProcessFloats(data.get(), aligned.Get(), 2, 1));
        ASSERT_EQ(16384, data->peak[n % 2]) << n;
        ASSERT_EQ(0, data->peak[1 - n % 2]) << n;
    }
}

TEST(NormalizationStereoTest, EachChannelIsMeasuredAsInMono) {
    const std::vector<float> left = RoughNoise(kN, 5), right = Cosine(0.1, 20.3);
    const std::vector<float> both = Interleaved(left, right);
    for (const std::size_t offset : {0u, 1u}) {
        const PlacedSamples placed(both, offset);
        const Record stereo = Open(2), monoLeft = Open(1), monoRight = Open(1);
        EXPECT_EQ(0, NormalizationProcessFloats(stereo.get(), placed.Get(), 2, 7));
        EXPECT_EQ(0, NormalizationProcessFloats(monoLeft.get(), left.data(), 1, 7));
        EXPECT_EQ(0, NormalizationProcessFloats(monoRight.get(), right.data(), 1, 7));
        EXPECT_EQ(FiguresOf(*monoLeft, 0), FiguresOf(*stereo, 0));
        EXPECT_EQ(FiguresOf(*monoRight, 0), FiguresOf(*stereo, 1));
    }
}

TEST(NormalizationCreateStatsTest, OneChannelLeavesTheResultsOfTheSecondUnset) {
    const Record data = Open(2);
    const std::vector<float> cosine = Cosine(0.5, kBinOf4kHz);
    EXPECT_EQ(0, NormalizationProcessFloats(data.get(), Interleaved(cosine, cosine).data(), 2, 0));
    NormalizationCreateStats(data.get(), 1);
    EXPECT_EQ(16384, data->peakLevel[0]);
    // 57567.6 of the unit, give or take what single precision may.
    EXPECT_NEAR(EnergyAt4kHz(0.5) / 1e9, data->averageLoudness[0], 1.6);
    EXPECT_EQ(data->averageLoudness[0], data->maxLoudness[0]);
    EXPECT_EQ(0, data->peakLevel[1]);
    EXPECT_EQ(0u, data->averageLoudness[1]);
    EXPECT_EQ(0u, data->maxLoudness[1]);
    NormalizationCreateStats(data.get(), 2);
    EXPECT_EQ(FiguresOf(*data, 0), FiguresOf(*data, 1));
}

TEST(NormalizationCreateStatsTest, ANullRecordIsPassedOver) {
    NormalizationCreateStats(nullptr, 2);
}

TEST(NormalizationResetTest, ClearsTheTrackAndKeepsTheResults) {
    const Record data = Open(1);
    EXPECT_EQ(0, NormalizationProcessFloats(data.get(), Cosine(0.5, kBinOf4kHz).data(), 1, 77));
    NormalizationCreateStats(data.get(), 1);
    const Figures before = FiguresOf(*data, 0);
    ASSERT_GT(before.averageLoudness, 0u);
    data->blockCount = 3;

    EXPECT_EQ(0, NormalizationReset(data.get(), 96000, 2));
    EXPECT_EQ(96000u, data->sampleRate);
    EXPECT_EQ(2u, data->channels);
    EXPECT_EQ(0u, data->blockCount);
    EXPECT_EQ(235, data->bands[24].endBin);
    Figures expected{};
    expected.averageLoudness = before.averageLoudness;
    expected.maxLoudness = before.maxLoudness;
    expected.peakLevel = before.peakLevel;
    EXPECT_EQ(expected, FiguresOf(*data, 0));
}

TEST(NormalizationResetTest, BadParametersChangeNothing) {
    const Record data = Open(1);
    EXPECT_EQ(0, NormalizationProcessFloats(data.get(), Cosine(0.5, kBinOf4kHz).data(), 1, 77));
    const Figures before = FiguresOf(*data, 0);
    EXPECT_EQ(-50, NormalizationReset(nullptr, 48000, 1));
    EXPECT_EQ(-50, NormalizationReset(data.get(), 48000, 0));
    EXPECT_EQ(-50, NormalizationReset(data.get(), 48000, 3));
    EXPECT_EQ(44100u, data->sampleRate);
    EXPECT_EQ(before, FiguresOf(*data, 0));
}

class NormalizationOddSamplesTest : public testing::TestWithParam<std::size_t> {
protected:
    // Noise with one sample of the left channel replaced, at an aligned or unaligned place.
    Record Measured(float odd) const {
        std::vector<float> samples = RoughNoise(2 * kN, 6);
        samples[600] = odd;
        const PlacedSamples placed(samples, GetParam());
        Record data = Open(2);
        EXPECT_EQ(0, NormalizationProcessFloats(data.get(), placed.Get(), 2, 8));
        NormalizationCreateStats(data.get(), 2);
        return data;
    }
};

TEST_P(NormalizationOddSamplesTest, NoNumberCountsNowhereAndThePeakPassesOverIt) {
    const Record without = Measured(0.0f);
    for (const float sign : {1.0f, -1.0f}) {
        const Record data = Measured(sign * std::numeric_limits<float>::quiet_NaN());
        EXPECT_EQ(0u, data->energyCount[0]);
        EXPECT_EQ(0.0f, data->maxEnergy[0]);
        EXPECT_EQ(0u, data->averageLoudness[0]);
        EXPECT_EQ(without->peak[0], data->peak[0]);
        EXPECT_EQ(FiguresOf(*without, 1), FiguresOf(*data, 1));
    }
}

TEST_P(NormalizationOddSamplesTest, AnInfinitePeakIsTheLargestThatThereIs) {
    const Record data = Measured(-std::numeric_limits<float>::infinity());
    EXPECT_EQ(0u, data->energyCount[0]); // its spectrum is no number
    EXPECT_EQ(0.0f, data->maxEnergy[0]);
    EXPECT_EQ(std::numeric_limits<SInt32>::max(), data->peakLevel[0]);
    EXPECT_EQ(FiguresOf(*Measured(0.0f), 1), FiguresOf(*data, 1));
}

TEST_P(NormalizationOddSamplesTest, LoudnessBeyondItsFieldIsTheLargestThatThereIs) {
    // An impulse of height h has the power (w h)^2 in all 512 bins, w above 16384: with 1e5 the
    // weighted sum is above 2^32 units, with 1e30 beyond single precision.
    for (const float height : {1e5f, 1e30f}) {
        const Record data = Measured(height);
        EXPECT_EQ(1u, data->energyCount[0]);
        EXPECT_EQ(std::numeric_limits<UInt32>::max(), data->averageLoudness[0]) << height;
        EXPECT_EQ(std::numeric_limits<UInt32>::max(), data->maxLoudness[0]) << height;
        EXPECT_EQ(std::numeric_limits<SInt32>::max(), data->peakLevel[0]) << height;
        EXPECT_EQ(FiguresOf(*Measured(0.0f), 1), FiguresOf(*data, 1));
    }
}

INSTANTIATE_TEST_SUITE_P(AlignedAndNot, NormalizationOddSamplesTest, testing::Values(0u, 1u));

} // namespace
} // namespace qel::core
