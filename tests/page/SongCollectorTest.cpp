#include "page/SongCollector.h"

#include "tests/harness/TempDirectory.h"
#include "tests/harness/TestAudio.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>

namespace qel::page {
namespace {

using namespace test;

constexpr int kRateHz = 44100;

Song SongOf(const std::vector<float>& samples) {
    const TempDirectory directory;
    WriteFloatWav(directory.File("a.wav"), kRateHz, {samples, samples});
    return CollectSong(directory.File("a.wav"), {});
}

std::size_t StrongestRow(const Picture& picture, double seconds) {
    const auto column =
        static_cast<std::size_t>((seconds - picture.firstSeconds) / picture.columnSeconds);
    const auto first = picture.values.begin() + static_cast<std::ptrdiff_t>(column * picture.rows);
    return static_cast<std::size_t>(
        std::max_element(first, first + static_cast<std::ptrdiff_t>(picture.rows)) - first);
}

TEST(SongCollectorTest, ASineIsOneRowOfEachPictureAtItsHeight) {
    constexpr int kBin = 120;
    const double hz = 90 * std::exp2(kBin / 36.0);
    const Song song = SongOf(Sine(4 * kRateHz, kRateHz / hz, 0.5));
    EXPECT_EQ(StrongestRow(song.pictures.at("constantq"), 2), static_cast<std::size_t>(kBin));
    const double mel = std::log10(1 + hz / 700) / std::log10(1 + 22050.0 / 700);
    const auto row = static_cast<double>(StrongestRow(song.pictures.at("spectrogram"), 2));
    EXPECT_NEAR(row + 0.5, mel * 192, 2);
    // -6 dB in a step of 80 / 63 dB.
    const Picture& levels = song.pictures.at("spectrogram");
    EXPECT_EQ(levels.highest, -5);
    EXPECT_EQ(song.frames, 4 * kRateHz);
    EXPECT_EQ(song.channels, 2u);
}

// All rows of a stroke light up around it, though kernels of low tones are longer.
TEST(SongCollectorTest, AStrokeIsUprightInConstantQ) {
    std::vector<float> samples(4 * kRateHz, 0.0f);
    samples[2 * kRateHz] = 1;
    const Song song = SongOf(samples);
    const Picture& picture = song.pictures.at("constantq");
    for (std::size_t row = 40; row < picture.rows; row += 10) {
        double weight = 0;
        double moment = 0;
        for (std::size_t column = 0; column < picture.Columns(); ++column) {
            const double value = picture.values[column * picture.rows + row];
            weight += value;
            moment += value * (static_cast<double>(column) + 0.5) * picture.columnSeconds;
        }
        ASSERT_GT(weight, 0) << row;
        EXPECT_NEAR(moment / weight, 2, 2 * picture.columnSeconds) << row;
    }
}

TEST(SongCollectorTest, ThePiecesOfTheReassignedSpectrumFitTogether) {
    // A glide, which the reassigned spectrum keeps, over several pieces of 5.9 s.
    std::vector<float> samples(15 * kRateHz);
    double phase = 0;
    for (std::size_t i = 0; i < samples.size(); ++i) {
        phase += 2 * 3.14159265358979 * (500 + 0.01 * static_cast<double>(i)) / kRateHz;
        samples[i] = static_cast<float>(0.5 * std::sin(phase));
    }
    const Song song = SongOf(samples);
    const Picture& picture = song.pictures.at("reassigned");
    const Picture& plain = song.pictures.at("spectrogram");
    EXPECT_NEAR(static_cast<double>(picture.Columns()), static_cast<double>(plain.Columns()), 2);
    // It remains where it passes from bin to bin: 30 times in each piece of 5.94 s, 13 times in
    // what is looked at of the last one.
    std::array<int, 3> lit{};
    for (double seconds = 0.5; seconds < 14.5; seconds += picture.columnSeconds) {
        if (StrongestRow(picture, seconds) == 0) {
            continue;
        }
        ++lit.at(static_cast<std::size_t>(seconds / 5.944));
        const double hz = 500 + 0.01 * seconds * kRateHz;
        const double mel = std::log10(1 + hz / 700) / std::log10(1 + 22050.0 / 700);
        EXPECT_NEAR(static_cast<double>(StrongestRow(picture, seconds)), mel * 192, 5) << seconds;
    }
    for (const int columns : lit) {
        EXPECT_GE(columns, 13);
    }
}

TEST(SongCollectorTest, AShortFileHasItsLanesToo) {
    for (const std::size_t frames : {1u, 100u, 5000u}) {
        const Song song = SongOf(Noise(frames, 0.5f));
        EXPECT_EQ(song.frames, static_cast<std::int64_t>(frames));
        EXPECT_FALSE(song.waveform.least.empty());
        EXPECT_EQ(song.pictures.size(), 4u);
    }
}

TEST(SongCollectorTest, ARateThatCannotBeReadIsRefused) {
    const TempDirectory directory;
    WriteWav(directory.File("a.wav"), 4000, {Noise(8000, 0.5f)});
    EXPECT_THROW(CollectSong(directory.File("a.wav"), {}), SongError);
}

} // namespace
} // namespace qel::page
