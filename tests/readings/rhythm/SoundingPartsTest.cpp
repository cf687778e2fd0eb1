#include "readings/rhythm/SoundingParts.h"

#include <gtest/gtest.h>

#include <vector>

namespace qel::readings {
namespace {

void expectParts(const std::vector<FrameRange>& parts, const std::vector<FrameRange>& expected) {
    ASSERT_EQ(parts.size(), expected.size());
    for (std::size_t i = 0; i < parts.size(); ++i) {
        EXPECT_EQ(parts[i].first, expected[i].first) << i;
        EXPECT_EQ(parts[i].end, expected[i].end) << i;
    }
}

TEST(SoundingPartsTest, SilenceHasNoPart) {
    expectParts(soundingParts({}, 2), {});
    expectParts(soundingParts(std::vector<float>(10), 2), {});
}

TEST(SoundingPartsTest, APartBeginsAndEndsWithSound) {
    expectParts(soundingParts(std::vector<float>{0, 0, 1, 1, 0, 1, 0, 0, 0}, 2), {{2, 6}});
}

TEST(SoundingPartsTest, ALongerPauseDivides) {
    const std::vector<float> amplitudes{1, 0, 0, 1, 0, 0, 0, 1};
    expectParts(soundingParts(amplitudes, 1), {{0, 1}, {3, 4}, {7, 8}});
    expectParts(soundingParts(amplitudes, 2), {{0, 4}, {7, 8}});
    expectParts(soundingParts(amplitudes, 3), {{0, 8}});
}

TEST(SoundingPartsTest, SixtyDecibelsBelowTheLevelIsSilence) {
    expectParts(soundingParts(std::vector<float>{0.0009f, 1, 0.0011f, 0.0009f}, 0), {{1, 3}});
}

TEST(SoundingPartsTest, TheGainDoesNotMatter) {
    for (const float gain : {1e-6f, 1e-3f, 1.0f, 1e3f}) {
        std::vector<float> amplitudes{0.0005f, 0.5f, 0.02f, 0, 0, 0.4f};
        for (float& amplitude : amplitudes) {
            amplitude *= gain;
        }
        expectParts(soundingParts(amplitudes, 1), {{1, 3}, {5, 6}});
    }
}

TEST(SoundingPartsTest, TheLevelIsThatOfTheLoudestHundredth) {
    std::vector<float> amplitudes(1000, 0.1f);
    for (std::size_t i = 0; i < 10; ++i) {
        amplitudes[i * 100] = 0.5f;
    }
    EXPECT_FLOAT_EQ(levelOf(amplitudes), 0.5f);
    for (std::size_t i = 0; i < 5; ++i) {
        amplitudes[i * 100] = 0.1f;
    }
    EXPECT_FLOAT_EQ(levelOf(amplitudes), 0.3f);
    EXPECT_EQ(levelOf({}), 0);
}

} // namespace
} // namespace qel::readings
