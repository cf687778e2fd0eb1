#include "page/pictures/WaveformBuilder.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace qel::page {
namespace {

TEST(WaveformBuilderTest, EveryStretchHasItsExtremesAndItsLevel) {
    std::vector<float> samples(128, 0.5f);
    samples[3] = 1;
    samples[70] = -0.25f;
    WaveformBuilder builder(6400);
    builder.Add(samples);
    const Waveform waveform = builder.Finish();
    EXPECT_EQ(waveform.stepSeconds, 0.01);
    EXPECT_EQ(waveform.greatest, (std::vector<std::int16_t>{32767, 16384}));
    EXPECT_EQ(waveform.least, (std::vector<std::int16_t>{16384, -8192}));
    EXPECT_NEAR(waveform.rootMeanSquare[0] / 32767.0, std::sqrt((63 * 0.25 + 1) / 64), 1e-4);
}

TEST(WaveformBuilderTest, SamplesThatAreNoNumbersCountAsZero) {
    WaveformBuilder builder(8000);
    builder.Add(std::vector<float>{std::numeric_limits<float>::infinity(), 0.5f, -7});
    const Waveform waveform = builder.Finish();
    EXPECT_EQ(waveform.greatest.front(), 16384);
    EXPECT_EQ(waveform.least.front(), -32767); // clipped
}

TEST(WaveformBuilderTest, ALongStreamHasLongerStretches) {
    constexpr std::size_t kPieces = 2 * WaveformBuilder::kMostSteps + 10;
    WaveformBuilder builder(64000);
    std::vector<float> piece(64, 0.0f);
    for (std::size_t i = 0; i < kPieces; ++i) {
        piece[5] = i == 77777 ? 1.0f : 0.0f;
        builder.Add(piece);
    }
    const Waveform waveform = builder.Finish();
    EXPECT_LE(waveform.least.size(), WaveformBuilder::kMostSteps);
    EXPECT_NEAR(waveform.stepSeconds * static_cast<double>(waveform.least.size()), kPieces * 0.001,
                0.005);
    EXPECT_EQ(waveform.greatest[static_cast<std::size_t>(77.777 / waveform.stepSeconds)], 32767);
}

} // namespace
} // namespace qel::page
