#include "page/WavFormat.h"

#include "tests/harness/TempDirectory.h"

#include <QelMedia.hpp>

#include <gtest/gtest.h>

#include <limits>
#include <vector>

namespace qel::page {
namespace {

using namespace test;

TEST(WavFormatTest, AFileIsReadBackAsItWasWritten) {
    const std::vector<float> left{0, 0.5f, -0.5f, 1, -1};
    const std::vector<float> right{0.25f, 2, -3, std::numeric_limits<float>::quiet_NaN(), 0};
    const std::vector<const float*> channels{left.data(), right.data()};
    const std::string samples = WavSamples(channels, left.size());
    const TempDirectory directory;
    WriteFile(directory.File("a.wav"), WavHeader(22050, 2, samples.size()) + samples);
    media::Reader file(directory.File("a.wav"));
    EXPECT_EQ(file.sampleRateHz(), 22050);
    const media::Block block = file.read();
    ASSERT_EQ(block.frames, left.size());
    const std::vector<float> clipped{0.25f, 1, -1, 0, 0};
    for (std::size_t i = 0; i < left.size(); ++i) {
        EXPECT_NEAR(block.channels[0][i], left[i], 1.0 / 16384) << i;
        EXPECT_NEAR(block.channels[1][i], clipped[i], 1.0 / 16384) << i;
    }
}

} // namespace
} // namespace qel::page
