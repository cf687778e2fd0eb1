#include "page/ClickMixer.h"

#include <gtest/gtest.h>

#include <cmath>

namespace qel::page {
namespace {

constexpr Click kClick{.frequencyHz = 1000, .seconds = 0.01, .gain = 0.5};

std::vector<float> Mixed(std::size_t frames, std::size_t piece, const std::vector<double>& times) {
    ClickMixer mixer(48000);
    mixer.Add(kClick, times);
    std::vector<float> samples(frames, 0.0f);
    for (std::size_t at = 0; at < frames; at += piece) {
        float* channel = samples.data() + at;
        mixer.Mix(std::span(&channel, 1), std::min(piece, frames - at));
    }
    return samples;
}

TEST(ClickMixerTest, AClickBeginsWithItsPeakAndDiesAway) {
    const std::vector<float> sound = ClickSound(kClick, 48000);
    ASSERT_EQ(sound.size(), 480u);
    EXPECT_EQ(sound[0], 0.5f);
    // A cosine of 1000 Hz has turned round after 24 samples, a twentieth of the click.
    EXPECT_NEAR(sound[24], -0.5 * std::exp(-5 * 0.05), 1e-6);
    EXPECT_LT(std::abs(sound[479]), 0.5 / 140);
}

TEST(ClickMixerTest, ClicksStandAtTheirTimesToTheSample) {
    const std::vector<float> samples = Mixed(48000, 48000, {0.25, 0.5});
    EXPECT_EQ(samples[11999], 0.0f);
    EXPECT_EQ(samples[12000], 0.5f);
    EXPECT_EQ(samples[12480], 0.0f);
    EXPECT_EQ(samples[24000], 0.5f);
}

TEST(ClickMixerTest, TheMixDoesNotDependOnItsPieces) {
    const std::vector<double> times{-0.005, 0.1, 0.104, 0.5, 0.995};
    const std::vector<float> whole = Mixed(48000, 48000, times);
    for (const std::size_t piece : {1u, 7u, 480u, 4096u}) {
        EXPECT_EQ(Mixed(48000, piece, times), whole) << piece;
    }
}

TEST(ClickMixerTest, AClickBeforeTheStreamIsHeardInPart) {
    const std::vector<float> samples = Mixed(960, 960, {-0.005});
    EXPECT_EQ(samples[0], ClickSound(kClick, 48000)[240]);
    EXPECT_EQ(samples[240], 0.0f);
}

TEST(ClickMixerTest, ALongClickOutlastsAShortOneThatCameLater) {
    ClickMixer mixer(1000);
    mixer.Add({.frequencyHz = 10, .seconds = 0.5, .gain = 1}, std::vector<double>{0.0});
    mixer.Add({.frequencyHz = 10, .seconds = 0.01, .gain = 1}, std::vector<double>{0.1});
    std::vector<float> samples(500, 0.0f);
    for (std::size_t at = 0; at < 500; at += 50) {
        float* channel = samples.data() + at;
        mixer.Mix(std::span(&channel, 1), 50);
    }
    EXPECT_EQ(samples[400], ClickSound({.frequencyHz = 10, .seconds = 0.5, .gain = 1}, 1000)[400]);
}

} // namespace
} // namespace qel::page
