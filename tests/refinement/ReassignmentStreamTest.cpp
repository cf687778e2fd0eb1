// Streams and "reasigned spectrum": lengths, silence, cuts, resets, channels, and what its block
// says.

#include "tests/refinement/ReassignmentTesting.h"

#include <cmath>
#include <limits>

namespace qel::test {
namespace {

// Frames with a sample that is no number, or infinite, have no number in any bin: all of them go to
// the first cell, and no other cell has anything of them.
TEST(ReassignmentStreamTest, ASampleThatIsNoNumberSpoilsTheFirstCellOnly) {
    constexpr std::size_t kFirstSpoilt = 13;
    constexpr std::size_t kLastSpoilt = 20;
    Audio audio = Noise(0.5f, 1, ReferenceReassignment::SamplesFor(40), 52);
    std::vector<ReassignedFrame> frames = ReferenceReassignment().Frames(audio[0]);
    frames.erase(frames.begin() + kFirstSpoilt, frames.begin() + kLastSpoilt + 1);
    const ReassignedMatrix expected = Scatter(frames, 40);
    for (const float bad :
         {std::numeric_limits<float>::quiet_NaN(), std::numeric_limits<float>::infinity()}) {
        audio[0][kLastSpoilt * kHop + 5] = bad;
        ReassignedResult result = Reassign(audio);
        ASSERT_EQ(40u, result.frames);
        EXPECT_TRUE(std::isnan(result.Cell(0, 0).real()));
        result.channels[0][0] = std::complex<float>(expected.certain[0]);
        EXPECT_EQ(0u, Compare(expected, result.channels[0]).wrongCells);
    }
}

// The inner transforms are given a whole frame at once, however small the pushes may be at most.
TEST(ReassignmentStreamTest, TheLargestPushMayBeSmallerThanAFrame) {
    const Audio audio = MusicLike(44100.0, 1, 4000, 54);
    ReassignmentRun run(audio, {44100.0, 16}, -1, 16);
    run.PushAll();
    EXPECT_EQ(Reassign(audio), run.Finish());
}

TEST(ReassignmentStreamTest, ResetGivesTheSameOnceMore) {
    const Audio audio = MusicLike(44100.0, 2, 9000, 55);
    ReassignmentRun run(audio);
    run.PushAll();
    const ReassignedResult first = run.Finish();
    ASSERT_EQ(0, run.Analyzer().Reset());
    EXPECT_EQ(0u, run.Finish().frames);
    ASSERT_EQ(0, run.Analyzer().Reset());
    run.PushAll();
    EXPECT_EQ(first, run.Finish());
}

// With the flush flag or without, nothing is consumed, and no silence is added.
TEST(ReassignmentStreamTest, ResultsInTheMiddleTakeNothingFromTheEnd) {
    const Audio audio = MusicLike(44100.0, 1, 8000, 57);
    ReassignmentRun run(audio);
    ASSERT_EQ(0, run.Analyzer().Push(audio, 0, 3000));
    const Audio beginning = {{audio[0].begin(), audio[0].begin() + 3000}};
    EXPECT_EQ(Reassign(beginning), run.Finish(0));
    EXPECT_EQ(Reassign(beginning), run.Finish(1));
    ASSERT_EQ(0, run.Analyzer().Push(audio, 3000, 4096));
    ASSERT_EQ(0, run.Analyzer().Push(audio, 7096, 904));
    EXPECT_EQ(Reassign(audio), run.Finish());
}

// The one block of a channel is that at its number times the number of frames; it tells the size of
// a frame, and the matrices of the channels are apart.
TEST(ReassignmentStreamTest, ABlockPerChannelPointsAtAllOfItsFrames) {
    constexpr UInt32 kFrames = 6;
    TestAnalyzer analyzer({kReassigned}, {44100.0, 3, 4096, 1000});
    std::size_t calls = 0;
    analyzer.onDelivery = [&](QelAudioAnalysisRef, CFStringRef key, UInt32 count,
                              QelAudioAnalysisBlock* blocks) {
        ++calls;
        EXPECT_EQ(kReassigned, ToText(key));
        ASSERT_EQ(3 * kFrames, count);
        for (UInt32 i = 0; i < count; ++i) {
            if (i % kFrames == 0) {
                EXPECT_EQ(kBins * 8, blocks[i].mDataByteSize);
                ASSERT_NE(nullptr, blocks[i].mData);
            } else { // our own choice for what is left open
                EXPECT_EQ(0u, blocks[i].mDataByteSize);
                EXPECT_EQ(nullptr, blocks[i].mData);
            }
        }
        for (UInt32 c = 1; c < 3; ++c) {
            const auto* before = static_cast<const char*>(blocks[(c - 1) * kFrames].mData);
            const auto* here = static_cast<const char*>(blocks[c * kFrames].mData);
            EXPECT_GE(std::abs(here - before), static_cast<std::ptrdiff_t>(kFrames * kBins * 8));
        }
    };
    ASSERT_EQ(0, analyzer.Push(Noise(0.5f, 3, ReferenceReassignment::SamplesFor(kFrames), 59)));
    ASSERT_EQ(0u, calls);
    ASSERT_EQ(0, analyzer.Process());
    EXPECT_EQ(1u, calls);
}

TEST(ReassignmentStreamTest, ProgressIsReportedAfterTheResult) {
    const Audio audio = Noise(0.5f, 1, 1000, 60);
    TestAnalyzer analyzer({kReassigned}, {44100.0, 1, 4096, 1000});
    ASSERT_EQ(0, analyzer.Push(audio));
    struct Seen {
        const TestAnalyzer* analyzer;
        std::vector<float> percents;
    } seen{&analyzer, {}};
    const auto stop = [](void*, float percent, void* refCon) {
        auto* to = static_cast<Seen*>(refCon);
        EXPECT_EQ(1u, to->analyzer->Deliveries().size());
        to->percents.push_back(percent);
        return 1;
    };
    EXPECT_EQ(-1, QelAudioAnalysisProcess(analyzer.Handle(), 1, stop, &seen));
    EXPECT_EQ(std::vector<float>{100.0f}, seen.percents);
}

} // namespace
} // namespace qel::test
