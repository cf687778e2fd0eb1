// "harmonic pitch class profile" against the octaves of "constant q spectrum".

#include "tests/pitch/ConstantQTesting.h"

#include <cmath>

namespace qel::test {
namespace {

// Where all kernels fit into the frame and are quickly made.
constexpr double kLowRate = 14000.0;

// The octaves of a spectrum on top of each other, the lowest first, in single precision as each
// value is.
std::vector<float> Folded(const std::vector<float>& spectrum) {
    std::vector<float> profile(kProfileBins);
    for (std::size_t bin = 0; bin < spectrum.size(); ++bin) {
        profile[bin % kProfileBins] += spectrum[bin];
    }
    return profile;
}

void ExpectProfilesOfTheirSpectra(const std::vector<Delivery>& deliveries, std::size_t channels) {
    ASSERT_FALSE(deliveries.empty());
    ASSERT_EQ(0u, deliveries.size() % 2);
    for (std::size_t n = 0; n < deliveries.size(); n += 2) {
        ASSERT_EQ(kSpectrumKey, deliveries[n].key);
        ASSERT_EQ(kProfileKey, deliveries[n + 1].key);
        for (std::size_t c = 0; c < channels; ++c) {
            EXPECT_EQ(Folded(deliveries[n].Floats(c)), deliveries[n + 1].Floats(c)) << n;
        }
    }
}

TEST(ConstantQProfileAgreementTest, TheProfileIsTheSumOfTheSpectrumsOctaves) {
    ExpectProfilesOfTheirSpectra(RunConstantQ(MusicLike(kConstantQRate, 2, SamplesFor(20))), 2);
    ExpectProfilesOfTheirSpectra(RunConstantQ(Noise(0.7f, 3, SamplesFor(3), 2), 8000.0), 3);
}

// 212 bins are five octaves of 36 and 32 bins more.
TEST(ConstantQProfileAgreementTest, TheFirst32PlacesAddSixOctavesAndTheRestFive) {
    // A tone in one octave after the other, for the last place with six and the first with five.
    for (const std::size_t place : {31u, 32u}) {
        const std::size_t octaves = place == 31 ? 6 : 5;
        for (std::size_t octave = 0; octave < octaves; ++octave) {
            const std::size_t bin = octave * kProfileBins + place;
            const double frequencyHz = 90.0 * std::exp2(static_cast<double>(bin) / 36.0);
            const std::vector<Delivery> deliveries =
                RunConstantQ(Sine(kLowRate, frequencyHz, 1.0, kConstantQFrame), kLowRate);
            ASSERT_EQ(2u, deliveries.size());
            const std::vector<float> profile = deliveries[1].Floats(0);
            EXPECT_EQ(place, Loudest(profile)) << "octave " << octave;
            EXPECT_GE(profile[place], deliveries[0].Floats(0)[bin]);
        }
    }
    // 90 * 2^(212 / 36), the sixth octave of place 32, is above the highest bin, and only the
    // skirt of bin 211, below it, hears it.
    const double aboveHz = 90.0 * std::exp2(212.0 / 36.0);
    const std::vector<Delivery> deliveries =
        RunConstantQ(Sine(kLowRate, aboveHz, 1.0, kConstantQFrame), kLowRate);
    ASSERT_EQ(2u, deliveries.size());
    const std::vector<float> profile = deliveries[1].Floats(0);
    EXPECT_EQ(31u, Loudest(profile));
    EXPECT_LT(profile[32], 0.05f * profile[31]);
}

// Neither is scaled to a fixed length or sum.
TEST(ConstantQProfileAgreementTest, TheProfileGrowsWithTheLevel) {
    const auto place0 = [](double amplitude) {
        return RunConstantQ(Sine(kLowRate, 1440.0, amplitude, kConstantQFrame), kLowRate)
            .at(1)
            .Floats(0)
            .at(0);
    };
    EXPECT_EQ(4.0f * place0(0.125), place0(0.5));
}

// Place 0 is 90 Hz and its octaves, whatever the tuning.
TEST(ConstantQProfileAgreementTest, OctavesOf90HzStandInPlaceZero) {
    for (const double frequencyHz : {90.0, 180.0, 360.0, 720.0, 1440.0, 2880.0}) {
        const Audio audio = Sine(kLowRate, frequencyHz, 0.5, kConstantQFrame);
        EXPECT_EQ(0u, Loudest(RunConstantQ(audio, kLowRate).at(1).Floats(0))) << frequencyHz;
    }
}

// A payload is gone when its callback returns, and until then it is the client's to spoil.
TEST(ConstantQProfileAgreementTest, WhatAClientWritesIntoAPayloadIsInNoOther) {
    const Audio audio = Noise(0.5f, 2, SamplesFor(3), 1);
    const std::vector<Delivery> expected = RunConstantQ(audio);
    TestAnalyzer analyzer(kConstantQKeys, {kConstantQRate, 2, 4096, 0});
    analyzer.onDelivery = [](QelAudioAnalysisRef, CFStringRef, UInt32 count,
                             QelAudioAnalysisBlock* blocks) {
        ASSERT_EQ(2u, count);
        ASSERT_NE(blocks[0].mData, blocks[1].mData);
        for (UInt32 c = 0; c < count; ++c) {
            auto* values = static_cast<float*>(blocks[c].mData);
            std::fill_n(values, blocks[c].mDataByteSize / sizeof(float), std::nanf(""));
        }
    };
    analyzer.PushInBlocks(audio, 4096);
    EXPECT_EQ(6u, expected.size());
    EXPECT_EQ(expected, analyzer.Deliveries());
}

} // namespace
} // namespace qel::test
