#include "media/FrameTrimmer.h"

#include <gtest/gtest.h>

namespace qel::media {
namespace {

TEST(FrameTrimmerTest, KeepsWholeFramesWhenNothingIsToBeTrimmed) {
    FrameTrimmer trimmer;
    const FrameTrimmer::Kept kept = trimmer.Trim(1024, 0);
    EXPECT_EQ(kept.first, 0);
    EXPECT_EQ(kept.count, 1024);
    EXPECT_EQ(trimmer.KeptFrames(), 1024);
    EXPECT_EQ(trimmer.LeadingFrames(), 0);
    EXPECT_EQ(trimmer.TrailingFrames(), 0);
}

TEST(FrameTrimmerTest, LeadingSamplesMaySpanFrames) {
    FrameTrimmer trimmer;
    trimmer.AddLeading(1500);
    EXPECT_EQ(trimmer.Trim(1024, 0).count, 0);
    const FrameTrimmer::Kept kept = trimmer.Trim(1024, 0);
    EXPECT_EQ(kept.first, 1500 - 1024);
    EXPECT_EQ(kept.count, 2 * 1024 - 1500);
    EXPECT_EQ(trimmer.LeadingFrames(), 1500);
}

TEST(FrameTrimmerTest, OneFrameMayLoseBothEnds) {
    FrameTrimmer trimmer;
    trimmer.AddLeading(100);
    const FrameTrimmer::Kept kept = trimmer.Trim(1000, 200);
    EXPECT_EQ(kept.first, 100);
    EXPECT_EQ(kept.count, 700);
    EXPECT_EQ(trimmer.TrailingFrames(), 200);
}

TEST(FrameTrimmerTest, AFrameCannotLoseMoreThanItHas) {
    FrameTrimmer trimmer;
    trimmer.AddLeading(900);
    EXPECT_EQ(trimmer.Trim(1000, 5000).count, 0);
    EXPECT_EQ(trimmer.LeadingFrames(), 900);
    EXPECT_EQ(trimmer.TrailingFrames(), 100);
    EXPECT_EQ(trimmer.Trim(1000, 0).count, 1000) << "what was too much is not owed";
}

TEST(FrameTrimmerTest, NothingIsKeptBeyondTheEnd) {
    FrameTrimmer trimmer;
    trimmer.AddLeading(10);
    trimmer.SetEnd(1500);
    EXPECT_EQ(trimmer.Trim(1010, 0).count, 1000);
    EXPECT_EQ(trimmer.Trim(1000, 0).count, 500);
    EXPECT_EQ(trimmer.Trim(1000, 0).count, 0);
    EXPECT_EQ(trimmer.KeptFrames(), 1500);
    EXPECT_EQ(trimmer.TrailingFrames(), 1500);
}

} // namespace
} // namespace qel::media
