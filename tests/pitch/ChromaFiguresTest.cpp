// "pitch class profile", the correlation with the keys and the tonal centroid: what they are of
// sounds whose pitch classes are known beforehand.

#include "tests/pitch/ChromaRun.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>

namespace qel::test {
namespace {

constexpr double kRate = 44100.0;

// The sine of the transform's bin next to a semitone: it leaks into the two bins beside it alone.
double BinHz(int semitone, double rateHz) {
    const double binHz = rateHz / static_cast<double>(kChromaFrame);
    return std::round(261.6256 * std::exp2(semitone / 12.0) / binHz) * binHz;
}

Audio Mixed(Audio audio, const Audio& other) {
    for (std::size_t c = 0; c < audio.size(); ++c) {
        for (std::size_t i = 0; i < audio[c].size(); ++i) {
            audio[c][i] += other[c][i];
        }
    }
    return audio;
}

void ExpectAllNaN(const std::vector<float>& values, std::size_t size) {
    ASSERT_EQ(size, values.size());
    for (const float value : values) {
        EXPECT_TRUE(std::isnan(value)) << value;
    }
}

// A frame without a profile.
void ExpectNothing(const ChromaRun& run, std::size_t frame, std::size_t channel = 0) {
    ExpectAllNaN(run.Rows(kPitchClassKey, channel).at(frame), kPitchClasses);
    ExpectAllNaN(run.Rows(kCentroidKey, channel).at(frame), kCentroidSize);
    EXPECT_EQ(std::vector<float>(kKeys, 0.0f), run.Rows(kCorrelationKey, channel).at(frame));
    EXPECT_EQ(0u, run.DominantKeys(channel).at(frame));
}

void ExpectSomething(const ChromaRun& run, std::size_t frame, std::size_t channel = 0) {
    for (const std::string& key : {kPitchClassKey, kCorrelationKey, kCentroidKey}) {
        const std::vector<float> row = run.Rows(key, channel).at(frame);
        for (const float value : row) {
            EXPECT_TRUE(std::isfinite(value)) << key;
        }
    }
}

TEST(ChromaFiguresTest, ASemitoneGivesItsPitchClass) {
    for (int semitone = 12; semitone < 60; ++semitone) {
        const Audio audio = Sine(kRate, BinHz(semitone, kRate), 0.5, kChromaFrame);
        for (const ChromaDelivery& delivery : DeliverChroma(audio, kRate, 4096, {kPitchClassKey})) {
            const std::vector<float>& profile = delivery.floats.at(0);
            for (std::size_t p = 0; p < kPitchClasses; ++p) {
                // The three bins of the sine lie in one cell; else next to nothing is left.
                const bool isOwn = p == static_cast<std::size_t>(semitone % 12);
                EXPECT_NEAR(isOwn ? 1.0 : 0.0, static_cast<double>(profile.at(p)), 0.02)
                    << "class " << p << " of semitone " << semitone;
            }
        }
    }
}

TEST(ChromaFiguresTest, TheLargestPitchClassIsOne) {
    ChromaRun run({kPitchClassKey}, {kRate, 2, 4096, 0});
    run.Push(MusicLike(kRate, 2, 44100));
    for (std::size_t c = 0; c < 2; ++c) {
        for (const std::vector<float>& profile : run.Rows(kPitchClassKey, c)) {
            EXPECT_EQ(1.0f, *std::max_element(profile.begin(), profile.end()));
            EXPECT_GE(*std::min_element(profile.begin(), profile.end()), 0.0f);
        }
    }
}

// Fifths, minor thirds and major thirds, sine and cosine of each, the last half as far out.
TEST(ChromaFiguresTest, ASemitoneHasItsPlaceOnTheThreeCircles) {
    for (int semitone = 24; semitone < 36; ++semitone) {
        const Audio audio = Sine(kRate, BinHz(semitone, kRate), 0.5, kChromaFrame);
        const auto deliveries = DeliverChroma(audio, kRate, 4096, {kCentroidKey});
        ASSERT_EQ(1u, deliveries.size());
        const double angle = (semitone - 24) * std::numbers::pi;
        const double expected[] = {std::sin(7 * angle / 6),       std::cos(7 * angle / 6),
                                   std::sin(3 * angle / 2),       std::cos(3 * angle / 2),
                                   0.5 * std::sin(2 * angle / 3), 0.5 * std::cos(2 * angle / 3)};
        for (std::size_t i = 0; i < kCentroidSize; ++i) {
            // What leaks into other pitch classes pulls towards the middle.
            EXPECT_NEAR(expected[i], static_cast<double>(deliveries[0].floats[0].at(i)), 0.05)
                << i << " of semitone " << semitone;
        }
    }
}

TEST(ChromaFiguresTest, CorrelationsLieWithinOne) {
    for (const Audio& audio :
         {MusicLike(kRate, 1, 44100), Noise(1e-20f, 1, 20000, 3), Noise(1e6f, 1, 20000, 4),
          Sine(kRate, BinHz(24, kRate), 1.0, 20000), Impulses(20000, {{9000, 1.0f}})}) {
        std::size_t frames = 0;
        for (const ChromaDelivery& delivery :
             DeliverChroma(audio, kRate, 4096, {kCorrelationKey})) {
            ++frames;
            ASSERT_EQ(kKeys, delivery.floats.at(0).size());
            for (const float value : delivery.floats[0]) {
                EXPECT_LE(std::abs(value), 1.0f);
            }
        }
        EXPECT_EQ(ChromaFramesIn(audio[0].size()), frames);
    }
}

TEST(ChromaFiguresTest, ASilentChannelLeavesTheOtherAlone) {
    Audio audio = MusicLike(kRate, 2, 44100);
    audio[1] = Silence(1, 44100)[0];
    ChromaRun run(kAllChromaKeys, {kRate, 2, 4096, 0});
    run.Push(audio);
    const ReferenceChroma reference(kRate);
    ExpectReferenceChroma(reference, audio[0], run, 0);
    for (std::size_t frame = 0; frame < ChromaFramesIn(44100); ++frame) {
        ExpectNothing(run, frame, 1);
    }
}

// Without the mean taken out before the window, the offset would fill the lowest bins.
TEST(ChromaFiguresTest, AnOffsetHasNoEffect) {
    // The mean of so great samples is known to some 1e-6, which the lowest bins have too.
    constexpr double kOffsetError = 1e-4;
    Audio audio = MusicLike(kRate, 1, 30000);
    for (float& sample : audio[0]) {
        sample = std::round(sample * 4096.0f) / 4096.0f; // leaves room for the offset
    }
    Audio offset = audio;
    for (float& sample : offset[0]) {
        sample += 8.0f;
    }
    const auto plain = DeliverChroma(audio, kRate);
    const auto shifted = DeliverChroma(offset, kRate);
    ASSERT_EQ(plain.size(), shifted.size());
    for (std::size_t i = 0; i < plain.size(); ++i) {
        EXPECT_EQ(plain[i].names, shifted[i].names);
        if (plain[i].key == kPitchClassKey) {
            for (std::size_t p = 0; p < kPitchClasses; ++p) {
                const double value = static_cast<double>(plain[i].floats[0][p]);
                EXPECT_NEAR(value, static_cast<double>(shifted[i].floats[0][p]),
                            kOffsetError * value);
            }
        }
    }
}

// Twice a sample, twice a magnitude, to the bit: the profile is relative.
TEST(ChromaFiguresTest, LevelHasNoEffect) {
    const Audio audio = MusicLike(kRate, 1, 30000);
    const auto plain = DeliverChroma(audio, kRate);
    for (const float gain : {0x1p-20f, 0x1p20f}) {
        Audio scaled = audio;
        for (float& sample : scaled[0]) {
            sample *= gain;
        }
        EXPECT_EQ(plain, DeliverChroma(scaled, kRate)) << gain;
    }
}

TEST(ChromaFiguresTest, APartOfAFrameGivesNone) {
    for (const auto& [samples, frames] : std::vector<std::pair<std::size_t, std::size_t>>{
             {0, 0}, {1, 0}, {8191, 0}, {8192, 1}, {8703, 1}, {8704, 2}, {9215, 2}, {9216, 3}}) {
        ChromaRun run({kPitchClassKey}, {kRate, 1, 16384, 0});
        run.Push(MusicLike(kRate, 1, samples), 16384);
        EXPECT_EQ(frames, run.Deliveries().size()) << samples;
        EXPECT_EQ(0, run.Process()); // adds no silence that could fill a frame
        EXPECT_EQ(frames, run.Deliveries().size()) << samples;
    }
}

TEST(ChromaFiguresTest, ASampleThatIsNoNumberSpoilsItsFramesAlone) {
    constexpr std::size_t kAt = 20 * kChromaHop;
    const Audio clean = MusicLike(kRate, 1, SamplesForChroma(30));
    ChromaRun whole(kAllChromaKeys, {kRate, 1, 4096, 0});
    whole.Push(clean);
    for (const float odd : {std::nanf(""), std::numeric_limits<float>::infinity(), -HUGE_VALF}) {
        Audio audio = clean;
        audio[0][kAt] = odd;
        ChromaRun run(kAllChromaKeys, {kRate, 1, 4096, 0});
        run.Push(audio);
        for (std::size_t frame = 0; frame < 30; ++frame) {
            SCOPED_TRACE("frame " + std::to_string(frame));
            const std::size_t first = frame * kChromaHop;
            if (first <= kAt && kAt < first + kChromaFrame) {
                ExpectNothing(run, frame);
            } else {
                ExpectSomething(run, frame);
                EXPECT_EQ(whole.Rows(kPitchClassKey)[frame], run.Rows(kPitchClassKey)[frame]);
            }
        }
    }
}

// A bin on the very edge between two semitones belongs to neither; at the next rate to either side
// it belongs to one of them.
TEST(ChromaFiguresTest, ABinOnAnEdgeCountsForNoSemitone) {
    constexpr std::size_t kBin = 64; // a power of two: its frequency is exact at every rate
    std::size_t edges = 0;
    for (float semitone = 3.0f; semitone < 9.0f; ++semitone) {
        const double edgeHz = UpperCellEdge(semitone);
        if (static_cast<double>(static_cast<float>(edgeHz)) != edgeHz) {
            continue; // the edge needs one bit more than a frequency has
        }
        ++edges;
        const auto onEdge = static_cast<float>(edgeHz * (kChromaFrame / kBin));
        for (const int side : {-1, 0, 1}) {
            SCOPED_TRACE(std::to_string(semitone) + " side " + std::to_string(side));
            const double rate =
                side == 0
                    ? static_cast<double>(onEdge)
                    : static_cast<double>(std::nextafter(onEdge, side < 0 ? 0.0f : HUGE_VALF));
            const ReferenceChroma reference(rate);
            for (std::size_t j = 0; j < reference.Semitones(); ++j) {
                const float own = side < 0 ? semitone : semitone + 1.0f;
                const bool isOwn =
                    side != 0 && reference.LowestSemitone() + static_cast<float>(j) == own;
                EXPECT_EQ(isOwn ? 1.0 : 0.0, reference.Weight(j, kBin - 1));
            }
            const Audio audio =
                Mixed(Sine(rate, edgeHz, 0.3, kChromaFrame), Noise(0.001f, 1, kChromaFrame, 5));
            ChromaRun run(kAllChromaKeys, {rate, 1, 4096, 0});
            run.Push(audio);
            EXPECT_EQ(1u, ExpectReferenceChroma(reference, audio[0], run).frames);
        }
    }
    EXPECT_GE(edges, 1u);
}

// The lowest semitone is the nearest on the scale of pitch, while cells end half way in Hz: the
// first bin can lie below the first cell, and then counts for nothing.
TEST(ChromaFiguresTest, TheFirstBinMayLieBelowTheFirstCell) {
    const double rate = 5.3025 * static_cast<double>(kChromaFrame);
    const ReferenceChroma reference(rate);
    for (std::size_t j = 0; j < reference.Semitones(); ++j) {
        EXPECT_EQ(0.0, reference.Weight(j, 0));
    }
    const Audio audio =
        Mixed(Sine(rate, 5.3025, 0.3, kChromaFrame), Noise(0.001f, 1, kChromaFrame, 5));
    ChromaRun run(kAllChromaKeys, {rate, 1, 4096, 0});
    run.Push(audio);
    EXPECT_EQ(1u, ExpectReferenceChroma(reference, audio[0], run).frames);
}

} // namespace
} // namespace qel::test
