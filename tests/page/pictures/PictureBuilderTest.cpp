#include "page/pictures/PictureBuilder.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace qel::page {
namespace {

const Lane kLevels{.id = "a", .kind = "picture", .source = "", .rows = 2, .spanDecibels = 63};
const Lane kShares{.id = "b", .kind = "picture", .source = "", .rows = 2};

std::vector<float> Column(float low, float high) {
    return {low, high};
}

TEST(PictureBuilderTest, LevelsSpanTheDecibelsBelowTheLoudest) {
    PictureBuilder builder(kLevels, 0.5, 0.1);
    builder.Add(Column(1, 0.1f));
    builder.Add(Column(0, 1e-9f));
    const Picture picture = builder.Finish(100);
    EXPECT_EQ(picture.highest, 0);
    EXPECT_EQ(picture.lowest, -63);
    // A span of 63 dB and 64 colours: one for every decibel.
    EXPECT_EQ(picture.values, (std::vector<std::uint8_t>{63, 43, 0, 0}));
    EXPECT_EQ(picture.firstSeconds, 0.5);
    EXPECT_EQ(picture.columnSeconds, 0.1);
}

TEST(PictureBuilderTest, SharesRunFromZeroToOne) {
    PictureBuilder builder(kShares, 0, 1);
    builder.Add(Column(0, 1));
    builder.Add(Column(0.5f, std::numeric_limits<float>::quiet_NaN()));
    const Picture picture = builder.Finish(2);
    EXPECT_EQ(picture.values, (std::vector<std::uint8_t>{0, 63, 32, 0}));
}

TEST(PictureBuilderTest, SilenceIsDark) {
    PictureBuilder builder(kLevels, 0, 1);
    builder.Add(Column(0, 0));
    EXPECT_EQ(builder.Finish(1).values, (std::vector<std::uint8_t>{0, 0}));
    EXPECT_EQ(PictureBuilder(kLevels, 0, 1).Finish(1).Columns(), 0u);
}

TEST(PictureBuilderTest, ColumnsAfterTheEndAreLeftOut) {
    PictureBuilder builder(kShares, 0, 1);
    for (int i = 0; i < 5; ++i) {
        builder.Add(Column(1, 1));
    }
    EXPECT_EQ(builder.Finish(2.5).Columns(), 3u);
    EXPECT_EQ(builder.Finish(0).Columns(), 0u);
}

// Whatever the length, every value is within its column, and there are at most as many as allowed.
TEST(PictureBuilderTest, LongStreamsGetLongerColumnsThatKeepTheGreatest) {
    constexpr std::size_t kMost = 8;
    for (std::size_t length = 1; length <= 100; ++length) {
        PictureBuilder builder(kShares, 0, 1, kMost);
        for (std::size_t i = 0; i < length; ++i) {
            builder.Add(Column(static_cast<float>(i % 10) / 10, i == length / 2 ? 1.0f : 0.0f));
        }
        const Picture picture = builder.Finish(static_cast<double>(length));
        ASSERT_LE(picture.Columns(), kMost);
        const auto hops = static_cast<std::size_t>(picture.columnSeconds);
        ASSERT_EQ(picture.Columns(), (length + hops - 1) / hops) << length;
        for (std::size_t column = 0; column < picture.Columns(); ++column) {
            const bool hasIt = length / 2 / hops == column;
            EXPECT_EQ(picture.values[2 * column + 1], hasIt ? 63 : 0) << length << ' ' << column;
        }
    }
}

} // namespace
} // namespace qel::page
