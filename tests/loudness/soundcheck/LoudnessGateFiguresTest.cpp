// The gate, the maxima and peaks with their times, the statistics, and the two ways through the
// engine, on excerpts whose energy is known in closed form.

#include "loudness/soundcheck/NormalizationAnalysis.h"
#include "tests/loudness/soundcheck/LoudnessFiguresTesting.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

namespace qel::test {
namespace {

using core::NormalizationProcessFloats;

constexpr unsigned kRate = 44100;
// About 3 kHz, in the middle of band 15.
constexpr unsigned kBin = 70;

Excerpt WithEnergy(double energy) {
    return SineExcerpt(kBin, AmplitudeForEnergy(energy, kBin, kRate));
}

Excerpt Interleaved(const Excerpt& left, const Excerpt& right) {
    Excerpt both(2 * kExcerptFrames);
    for (std::size_t i = 0; i < kExcerptFrames; ++i) {
        both[2 * i] = left[i];
        both[2 * i + 1] = right[i];
    }
    return both;
}

// Floats that begin on a boundary of 32 bytes, or four bytes after one.
class Placed {
public:
    Placed(const Excerpt& samples, bool aligned) : mStore(samples.size() + 16) {
        void* place = mStore.data();
        std::size_t space = mStore.size() * sizeof(float);
        mSamples =
            static_cast<float*>(std::align(32, samples.size() * sizeof(float), place, space));
        mSamples += aligned ? 0 : 1;
        std::copy(samples.begin(), samples.end(), mSamples);
    }
    Placed(const Placed&) = delete;
    Placed& operator=(const Placed&) = delete;
    const float* Data() const { return mSamples; }

private:
    Excerpt mStore;
    float* mSamples = nullptr;
};

TEST(LoudnessGateTest, OnlyExcerptsAboveTheGateEnterTheAverage) {
    const NormalizationOwner data = OpenNormalization(kRate, 1);
    NormalizationProcessFloats(data.get(), WithEnergy(5e9 * 0.9999).data(), 1, 10);
    EXPECT_EQ(0u, data->energyCount[0]);
    EXPECT_EQ(0.0f, data->energySum[0]);
    ExpectEnergy(5e9 * 0.9999, static_cast<double>(data->maxEnergy[0]));
    EXPECT_EQ(10u, data->maxEnergyTime[0]);
    EXPECT_GT(data->peak[0], 0);
    EXPECT_EQ(10u, data->peakTime[0]);

    NormalizationProcessFloats(data.get(), WithEnergy(5e9 * 1.0001).data(), 1, 20);
    NormalizationProcessFloats(data.get(), WithEnergy(4e9).data(), 1, 30);
    NormalizationProcessFloats(data.get(), WithEnergy(9e10).data(), 1, 40);
    EXPECT_EQ(2u, data->energyCount[0]);
    ExpectEnergy(5e9 * 1.0001 + 9e10, static_cast<double>(data->energySum[0]));
    EXPECT_EQ(40u, data->maxEnergyTime[0]);

    core::NormalizationCreateStats(data.get(), 1);
    EXPECT_EQ(47u, data->averageLoudness[0]); // 47.50025
}

// With the weight 1, two parts of 100000 are (1e10 + 1e10) / 4 = 5e9, each step of it exact.
TEST(LoudnessGateTest, AnExcerptAtTheGateDoesNotEnterTheAverage) {
    const NormalizationOwner data = OpenNormalization(kRate, 1);
    data->bands.fill({0, 0, 0.0f});
    data->bands[0] = {0, 1, 1.0f};
    const float part = 100000.0f;
    core::NormalizationAnalysis(data.get(), &part, &part, 1, 0, 1);
    EXPECT_EQ(5e9f, data->maxEnergy[0]);
    EXPECT_EQ(0u, data->energyCount[0]);
    const float next = std::nextafter(part, 200000.0f);
    core::NormalizationAnalysis(data.get(), &part, &next, 1, 0, 2);
    EXPECT_GT(data->maxEnergy[0], 5e9f);
    EXPECT_EQ(1u, data->energyCount[0]);
    EXPECT_EQ(data->maxEnergy[0], data->energySum[0]);
}

// The mean of 7.99e9 and 6.0e9 is 6.995e9: the figures are 6 and 7, not 7 and 8.
TEST(LoudnessGateTest, FiguresAreCutToWholeNumbers) {
    const NormalizationOwner data = OpenNormalization(kRate, 1);
    NormalizationProcessFloats(data.get(), WithEnergy(7.99e9).data(), 1, 0);
    NormalizationProcessFloats(data.get(), WithEnergy(6.0e9).data(), 1, 743);
    core::NormalizationCreateStats(data.get(), 1);
    EXPECT_EQ(6u, data->averageLoudness[0]);
    EXPECT_EQ(7u, data->maxLoudness[0]);
    EXPECT_EQ(0u, data->maxEnergyTime[0]);
}

// An excerpt of 1e17 and a thousand of 6e9, each of which is below half of the last place of the
// sum, 2^33: they add nothing but to the count.
TEST(LoudnessGateTest, TheSumIsKeptInSinglePrecision) {
    const NormalizationOwner data = OpenNormalization(kRate, 1);
    NormalizationProcessFloats(data.get(), WithEnergy(1e18).data(), 1, 0);
    const float first = data->energySum[0];
    ExpectEnergy(1e18, static_cast<double>(first));
    const Excerpt quiet = WithEnergy(6e9);
    for (int i = 0; i < 1000; ++i) {
        NormalizationProcessFloats(data.get(), quiet.data(), 1, 0);
    }
    EXPECT_EQ(1001u, data->energyCount[0]);
    EXPECT_EQ(first, data->energySum[0]);
    core::NormalizationCreateStats(data.get(), 1);
    EXPECT_PRED2(IsTruncated, data->averageLoudness[0],
                 static_cast<double>(first) / 1001.0 / kLoudnessUnit);
}

TEST(LoudnessGateTest, EqualMaximaKeepTheFirstTime) {
    const NormalizationOwner data = OpenNormalization(kRate, 1);
    const Excerpt excerpt = WithEnergy(1e12);
    NormalizationProcessFloats(data.get(), excerpt.data(), 1, 100);
    NormalizationProcessFloats(data.get(), excerpt.data(), 1, 200);
    EXPECT_EQ(100u, data->maxEnergyTime[0]);
    EXPECT_EQ(100u, data->peakTime[0]);
    EXPECT_EQ(2u, data->energyCount[0]);
}

TEST(LoudnessGateTest, SilenceHasNoFigures) {
    for (const unsigned channels : {1u, 2u}) {
        const NormalizationOwner data = OpenNormalization(kRate, channels);
        const Excerpt silence(channels * kExcerptFrames, 0.0f);
        for (unsigned time = 1; time < 20; ++time) {
            EXPECT_EQ(0, NormalizationProcessFloats(data.get(), silence.data(), channels, time));
        }
        core::NormalizationCreateStats(data.get(), channels);
        for (unsigned c = 0; c < channels; ++c) {
            ExpectFigures({}, *data, c);
            ExpectStatistics({}, *data, c);
        }
    }
}

// A sample counts with its sign cut off, before the window, and what is left of a step of 16 bits
// is dropped.
TEST(LoudnessGateTest, PeaksAreOfTheSamplesThemselves) {
    const struct {
        float sample;
        std::int32_t peak;
    } cases[] = {{-1.0f, 32768}, {1.0f, 32768}, {0.99999f, 32767}, {0.5f, 16384},
                 {-1.9e-4f, 6},  {3e-5f, 0},    {2.0f, 65536},     {-0.0001526f, 5}};
    for (const auto& [sample, peak] : cases) {
        for (const std::size_t place : {std::size_t{0}, std::size_t{511}, kExcerptFrames - 1}) {
            Excerpt mono(kExcerptFrames, 0.0f);
            mono[place] = sample;
            const NormalizationOwner data = OpenNormalization(kRate, 1);
            NormalizationProcessFloats(data.get(), mono.data(), 1, 5);
            EXPECT_EQ(peak, data->peak[0]) << sample;
            EXPECT_EQ(peak == 0 ? 0u : 5u, data->peakTime[0]);
            for (const bool aligned : {false, true}) {
                const NormalizationOwner stereo = OpenNormalization(kRate, 2);
                const Placed both(Interleaved(Excerpt(kExcerptFrames, 0.25f), mono), aligned);
                NormalizationProcessFloats(stereo.get(), both.Data(), 2, 6);
                EXPECT_EQ(8192, stereo->peak[0]);
                EXPECT_EQ(6u, stereo->peakTime[0]);
                EXPECT_EQ(peak, stereo->peak[1]) << sample;
                EXPECT_EQ(peak == 0 ? 0u : 6u, stereo->peakTime[1]);
            }
        }
    }
}

// Channels with levels, gates and times of their own, in both ways through the engine.
TEST(LoudnessGateTest, ChannelsAreMeasuredApart) {
    for (const bool aligned : {false, true}) {
        const NormalizationOwner data = OpenNormalization(kRate, 2);
        const struct {
            double left, right;
        } energies[] = {{1e12, 4.9e9}, {5.1e9, 3e11}, {2e12, 4e9}, {1e9, 2.99e11}};
        unsigned time = 0;
        for (const auto& [left, right] : energies) {
            const Placed both(Interleaved(WithEnergy(left), WithEnergy(right)), aligned);
            NormalizationProcessFloats(data.get(), both.Data(), 2, ++time);
        }
        EXPECT_EQ(3u, data->energyCount[0]);
        EXPECT_EQ(2u, data->energyCount[1]);
        ExpectEnergy(3.0051e12, static_cast<double>(data->energySum[0]));
        ExpectEnergy(5.99e11, static_cast<double>(data->energySum[1]));
        EXPECT_EQ(3u, data->maxEnergyTime[0]);
        EXPECT_EQ(2u, data->maxEnergyTime[1]);
        EXPECT_EQ(3u, data->peakTime[0]);
        EXPECT_EQ(2u, data->peakTime[1]);
        core::NormalizationCreateStats(data.get(), 2);
        EXPECT_EQ(1001u, data->averageLoudness[0]); // 1001.7
        EXPECT_EQ(299u, data->averageLoudness[1]);  // 299.5
    }
}

void ExpectSameRecord(const core::NormalizationData& a, const core::NormalizationData& b) {
    for (std::size_t c = 0; c < 2; ++c) {
        EXPECT_EQ(a.maxEnergy[c], b.maxEnergy[c]);
        EXPECT_EQ(a.maxEnergyTime[c], b.maxEnergyTime[c]);
        EXPECT_EQ(a.energySum[c], b.energySum[c]);
        EXPECT_EQ(a.energyCount[c], b.energyCount[c]);
        EXPECT_EQ(a.peak[c], b.peak[c]);
        EXPECT_EQ(a.peakTime[c], b.peakTime[c]);
        EXPECT_EQ(a.averageLoudness[c], b.averageLoudness[c]);
        EXPECT_EQ(a.maxLoudness[c], b.maxLoudness[c]);
        EXPECT_EQ(a.peakLevel[c], b.peakLevel[c]);
    }
}

TEST(LoudnessGateTest, AlignedStereoGivesTheSameBitsAsUnalignedStereo) {
    for (const unsigned rateHz : {22050u, 44100u, 96000u}) {
        std::mt19937 generator(rateHz);
        const NormalizationOwner aligned = OpenNormalization(rateHz, 2);
        const NormalizationOwner unaligned = OpenNormalization(rateHz, 2);
        for (unsigned time = 0; time < 100; ++time) {
            // From full scale down through the gate to near nothing.
            const double level = std::pow(2.0, -0.15 * ((time * 37) % 100));
            Excerpt noise(2 * kExcerptFrames);
            for (float& sample : noise) {
                sample = static_cast<float>(level * Uniform(generator));
            }
            ASSERT_EQ(
                0, NormalizationProcessFloats(aligned.get(), Placed(noise, true).Data(), 2, time));
            ASSERT_EQ(0, NormalizationProcessFloats(unaligned.get(), Placed(noise, false).Data(), 2,
                                                    time));
            ExpectSameRecord(*aligned, *unaligned);
        }
        EXPECT_LT(aligned->energyCount[0], 100u);
        EXPECT_GT(aligned->energyCount[0], 0u);
        core::NormalizationCreateStats(aligned.get(), 2);
        core::NormalizationCreateStats(unaligned.get(), 2);
        ExpectSameRecord(*aligned, *unaligned);
    }
}

// The call's channels count, not those the record was made for.
TEST(LoudnessGateTest, TheCallSaysHowManyChannelsThereAre) {
    const Excerpt left = WithEnergy(1e12), right = WithEnergy(2e12);
    const NormalizationOwner mono = OpenNormalization(kRate, 1);
    const NormalizationOwner stereo = OpenNormalization(kRate, 2);
    NormalizationProcessFloats(mono.get(), Interleaved(left, right).data(), 2, 1);
    ExpectEnergy(1e12, static_cast<double>(mono->maxEnergy[0]));
    ExpectEnergy(2e12, static_cast<double>(mono->maxEnergy[1]));
    NormalizationProcessFloats(stereo.get(), right.data(), 1, 1);
    ExpectEnergy(2e12, static_cast<double>(stereo->maxEnergy[0]));
    EXPECT_EQ(0.0f, stereo->maxEnergy[1]);

    core::NormalizationCreateStats(mono.get(), 1);
    EXPECT_PRED2(IsTruncated, mono->maxLoudness[0], 1000.0 * (1.0 + 2e-6));
    EXPECT_EQ(0u, mono->maxLoudness[1]);
    EXPECT_EQ(0u, mono->averageLoudness[1]);
    EXPECT_EQ(0, mono->peakLevel[1]);
}

TEST(LoudnessGateTest, AResetStartsANewTrackAndKeepsTheResults) {
    const NormalizationOwner data = OpenNormalization(kRate, 1);
    const NormalizationOwner fresh = OpenNormalization(48000, 2);
    NormalizationProcessFloats(data.get(), WithEnergy(7.5e9).data(), 1, 1);
    core::NormalizationCreateStats(data.get(), 1);
    const std::int32_t peak = data->peak[0];
    ASSERT_EQ(0, core::NormalizationReset(data.get(), 48000, 2));
    EXPECT_EQ(7u, data->averageLoudness[0]);
    EXPECT_EQ(7u, data->maxLoudness[0]);
    EXPECT_EQ(peak, data->peakLevel[0]);
    EXPECT_EQ(48000u, data->sampleRate);
    EXPECT_EQ(2u, data->channels);
    EXPECT_EQ(470, data->bands[24].endBin);

    const Excerpt both = Interleaved(WithEnergy(3e11), WithEnergy(4e9));
    NormalizationProcessFloats(data.get(), both.data(), 2, 9);
    NormalizationProcessFloats(fresh.get(), both.data(), 2, 9);
    core::NormalizationCreateStats(data.get(), 2);
    core::NormalizationCreateStats(fresh.get(), 2);
    ExpectSameRecord(*fresh, *data);
}

} // namespace
} // namespace qel::test
