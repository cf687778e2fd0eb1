// The keys about partials on sound like music against a re-computation in double precision, and
// what they say of sounds whose partials are known.

#include "tests/harness/TestSignals.h"
#include "tests/timbre/ReferencePartials.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <numbers>

namespace qel::test {
namespace {

constexpr double kRate = 44100.0;

Audio Scaled(Audio audio, float factor) {
    for (std::vector<float>& channel : audio) {
        for (float& sample : channel) {
            sample *= factor;
        }
    }
    return audio;
}

void ExpectAgreement(const Audio& audio, double rateHz, double closeShare = 0.1) {
    const std::vector<PartialResults> results = AnalyzePartials(audio, rateHz);
    ASSERT_EQ(audio.size(), results.size());
    for (std::size_t c = 0; c < audio.size(); ++c) {
        SCOPED_TRACE("channel " + std::to_string(c));
        ExpectReferencePartials(audio[c], rateHz, results[c], closeShare);
    }
}

TEST(PartialsAgreementTest, MusicAgreesWithADoublePrecisionRecomputation) {
    ExpectAgreement(MusicLike(44100.0, 1, SamplesForPartials(200), 11), 44100.0);
}

TEST(PartialsAgreementTest, StereoAgreesAt48Kilohertz) {
    ExpectAgreement(MusicLike(48000.0, 2, SamplesForPartials(150), 12), 48000.0);
}

TEST(PartialsAgreementTest, OtherRatesAgree) {
    for (const double rateHz : {8000.0, 22050.0, 192000.0}) {
        SCOPED_TRACE(rateHz);
        ExpectAgreement(MusicLike(rateHz, 1, SamplesForPartials(40), 13), rateHz);
    }
}

// Where both neighbours of a peak lie at the floor it stands exactly in its bin, and the distance
// of two such peaks may be exactly 1: in the quietest noise that is common.
TEST(PartialsAgreementTest, NoiseAgreesAtAnyLevel) {
    for (const float level : {1e-4f, 1e-3f, 0.5f, 1000.0f}) {
        SCOPED_TRACE(level);
        ExpectAgreement(Noise(level, 1, SamplesForPartials(60), 14), kRate,
                        level < 5e-4f ? 0.5 : 0.1);
    }
}

// Below magnitude 1 the logarithm is negative, and the limit of growth with it.
TEST(PartialsAgreementTest, MusicAgreesAtAnyLevel) {
    for (const float level : {1e-4f, 0.01f, 300.0f}) {
        SCOPED_TRACE(level);
        ExpectAgreement(Scaled(MusicLike(kRate, 1, SamplesForPartials(60), 15), level), kRate, 0.2);
    }
}

// Gaps end tracks, or leave them without a match for some frames.
TEST(PartialsAgreementTest, SoundWithGapsAgrees) {
    Audio audio = MusicLike(kRate, 1, SamplesForPartials(120), 16);
    for (std::size_t gap = 0; gap < 9; ++gap) {
        const std::size_t first = 6000 * (gap + 1);
        std::fill_n(audio[0].begin() + static_cast<std::ptrdiff_t>(first), 400 * (gap + 1), 0.0f);
    }
    ExpectAgreement(audio, kRate);
    ExpectAgreement(Scaled(audio, 3e-4f), kRate);
}

// A sum of sines with given phases; frequencies are multiples of the first one's, which may vary.
struct Voice {
    double ratio;
    double amplitude;
};

Audio Sound(const std::vector<Voice>& voices, double baseHz, double vibratoHz, std::size_t frames) {
    Audio audio = Silence(1, frames);
    double phase = 0.0;
    for (std::size_t i = 0; i < frames; ++i) {
        double sum = 0.0;
        for (const Voice& voice : voices) {
            sum += voice.amplitude * std::sin(phase * voice.ratio + voice.ratio);
        }
        audio[0][i] = static_cast<float>(sum);
        const double time = static_cast<double>(i) / kRate;
        const double hz = baseHz + vibratoHz * std::sin(2.0 * std::numbers::pi * 3.0 * time);
        phase += 2.0 * std::numbers::pi * hz / kRate;
    }
    return audio;
}

const std::vector<Voice> kHarmonics = {{1, 0.4}, {2, 0.3}, {3, 0.2}, {4, 0.15}, {5, 0.1}};

// Three turns per second by 8 Hz move a fifth harmonic by at most 9 Hz, a fifth of a bin, from
// frame to frame, so that each stays with its track.
TEST(PartialsAgreementTest, FiveHarmonicsWithVibratoGiveFiveTracksThatFollow) {
    const Audio audio = Sound(kHarmonics, 700.0, 8.0, SamplesForPartials(120));
    const std::vector<PartialResults> results = AnalyzePartials(audio, kRate);
    ExpectReferencePartials(audio[0], kRate, results[0]);
    for (std::size_t n = 0; n < results[0].partials.size(); ++n) {
        const PartialRow& row = results[0].partials[n];
        ASSERT_EQ(5u, row.size()) << "frame " << n;
        const double middle = static_cast<double>(n * kPartialsHop + kPartialsFrame / 2) / kRate;
        const double hz = 700.0 + 8.0 * std::sin(2.0 * std::numbers::pi * 3.0 * middle);
        for (std::size_t h = 0; h < 5; ++h) {
            // A parabola through the logarithms of a Hann window's lobe strays by at most 0.016
            // bins (0.7 Hz); the vibrato's own curvature and the neighbours add to it.
            EXPECT_NEAR(kHarmonics[h].ratio * hz, row[h].mFrequency, 1.5) << "frame " << n;
        }
        EXPECT_EQ(row[0].mFrequency, results[0].fundamentalsHz[n]);
    }
}

double MeanInharmonicity(const Audio& audio) {
    const std::vector<PartialResults> results = AnalyzePartials(audio, kRate);
    double sum = 0.0;
    for (const float value : results[0].inharmonicities) {
        sum += static_cast<double>(value);
    }
    return sum / static_cast<double>(results[0].inharmonicities.size());
}

// A free bar's modes, as in a glockenspiel: 1, 2.756, 5.404, 8.933 (Fletcher and Rossing, The
// Physics of Musical Instruments, 1998). A stiff string's modes are n sqrt(1 + B n^2).
TEST(PartialsAgreementTest, ABarIsLessHarmonicThanAString) {
    std::vector<Voice> string;
    for (int n = 1; n <= 5; ++n) {
        string.push_back({n * std::sqrt((1.0 + 1e-4 * n * n) / (1.0 + 1e-4)), 0.4 / n});
    }
    const std::vector<Voice> bar = {{1.0, 0.4}, {2.756, 0.3}, {5.404, 0.2}, {8.933, 0.1}};
    const double ofString = MeanInharmonicity(Sound(string, 880.0, 0.0, SamplesForPartials(30)));
    const double ofBar = MeanInharmonicity(Sound(bar, 880.0, 0.0, SamplesForPartials(30)));
    // By the ratios: 4 (0.3 * 0.244 + 0.2 * 0.404 + 0.1 * 0.067) for the bar.
    EXPECT_NEAR(0.6428, ofBar, 0.05);
    EXPECT_LT(ofString, 0.05);
    EXPECT_GT(ofBar, 10.0 * ofString);
}

TEST(PartialsAgreementTest, FundamentalOfATrueToneIsItsFrequency) {
    for (const double hz : {300.0, 1234.5, 9000.0}) {
        const std::vector<PartialResults> results =
            AnalyzePartials(Sine(kRate, hz, 0.5, SamplesForPartials(10)), kRate);
        for (const float value : results[0].fundamentalsHz) {
            EXPECT_NEAR(hz, value, 1.0);
        }
        for (const float value : results[0].inharmonicities) {
            EXPECT_EQ(0.0f, value);
        }
    }
}

} // namespace
} // namespace qel::test
