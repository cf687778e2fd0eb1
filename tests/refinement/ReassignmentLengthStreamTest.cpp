// Streams longer and shorter than declared.

#include "tests/refinement/ReassignmentTesting.h"

#include <algorithm>
#include <cmath>

namespace qel::test {
namespace {

struct Lengths {
    std::size_t declared; // in frames
    std::size_t pushed;
};

std::ostream& operator<<(std::ostream& out, const Lengths& lengths) {
    return out << lengths.pushed << " frames where " << lengths.declared << " are declared";
}

// The fetched run begins with zeros for the frames that were lost, but its data follow after as
// many bytes as frames were lost, not frames; the run's end falls off. So values, of 8 bytes, are
// moved by an eighth of that number, and bins and frames, of 4, by a quarter. Where they have no
// entry they are 0, which leads to the first column or row. Frames keep their rows, as their
// numbers come with them.
std::vector<ReassignedFrame> FetchedAfterLoss(const std::vector<ReassignedFrame>& frames,
                                              std::size_t declared) {
    const std::size_t lost = frames.size() - declared;
    std::vector<ReassignedValue> kept;
    for (std::size_t f = lost; f < frames.size(); ++f) {
        kept.insert(kept.end(), frames[f].begin(), frames[f].end());
    }
    std::vector<ReassignedFrame> fetched(declared, ReassignedFrame(kBins));
    for (std::size_t i = 0; i < kept.size(); ++i) {
        ReassignedValue& to = fetched[i / kBins][i % kBins];
        if (i >= lost / 8) {
            to.value = kept[i - lost / 8].value;
            to.error = kept[i - lost / 8].error;
        }
        if (i >= lost / 4) {
            to.bin = kept[i - lost / 4].bin;
            to.frame = kept[i - lost / 4].frame;
        }
    }
    return fetched;
}

class ReassignmentLossTest : public testing::TestWithParam<Lengths> {};

TEST_P(ReassignmentLossTest, OldFramesFallOutAndTheOthersMoveBySomeBins) {
    const auto [declared, pushed] = GetParam();
    const Audio audio = MusicLike(44100.0, 1, ReferenceReassignment::SamplesFor(pushed), 61);
    ReassignmentRun run(audio, {44100.0, 1000},
                        static_cast<SInt64>(ReferenceReassignment::SamplesFor(declared)));
    run.PushAll();
    const ReassignedResult result = run.Finish();
    ASSERT_EQ(pushed, result.frames);
    const ReferenceReassignment reference;
    const ReassignedMatrix expected =
        Scatter(FetchedAfterLoss(reference.Frames(audio[0]), declared), pushed);
    const MatrixAgreement agreement = Compare(expected, result.channels[0]);
    EXPECT_EQ(0u, agreement.wrongCells)
        << "row " << agreement.firstWrong / kBins << ", column " << agreement.firstWrong % kBins;
    EXPECT_EQ(0u, agreement.openGroups);
    EXPECT_LE(expected.UncertainShare(), 0.05);
}

INSTANTIATE_TEST_SUITE_P(Lengths, ReassignmentLossTest,
                         testing::Values(Lengths{40, 48}, Lengths{100, 164}, Lengths{10, 90},
                                         Lengths{1, 9}, Lengths{200, 296}));

// An unknown length counts as one frame.
TEST(ReassignmentLengthStreamTest, WithoutADeclaredLengthOneFrameIsKept) {
    const Audio audio = MusicLike(44100.0, 1, ReferenceReassignment::SamplesFor(17), 62);
    ReassignmentRun unknown(audio, {44100.0, 1000}, 0);
    ReassignmentRun one(audio, {44100.0, 1000}, 512);
    unknown.PushAll();
    one.PushAll();
    EXPECT_EQ(one.Finish(), unknown.Finish());
}

// However many frames are lost, rows before those that are kept stay empty but for the first column
// and the first row, and nothing is read that was not written.
TEST(ReassignmentLengthStreamTest, AnyNumberOfLostFramesIsSafe) {
    for (const UInt32 channels : {1u, 2u}) {
        for (std::size_t lost = 1; lost < 20; ++lost) {
            const Audio audio =
                Noise(0.5f, channels, ReferenceReassignment::SamplesFor(30 + lost), 63);
            ReassignmentRun run(audio, {44100.0, 1000},
                                static_cast<SInt64>(ReferenceReassignment::SamplesFor(30)));
            run.PushAll();
            EXPECT_EQ(30 + lost, run.Finish().frames);
            // Once more, from the same rings.
            EXPECT_EQ(30 + lost, run.Finish().frames);
        }
    }
}

// A declared length that has no frame keeps none: the matrix has its rows, and nothing in them.
TEST(ReassignmentLengthStreamTest, WhereNoFrameIsDeclaredTheMatrixIsEmpty) {
    const Audio audio = Noise(0.5f, 2, 1024, 64);
    ReassignmentRun run(audio, {44100.0, 1000}, 448);
    run.PushAll();
    const ReassignedResult result = run.Finish();
    ASSERT_EQ(9u, result.frames);
    for (const auto& channel : result.channels) {
        EXPECT_TRUE(std::all_of(channel.begin(), channel.end(), [](std::complex<float> cell) {
            return cell == std::complex<float>();
        }));
    }
}

// 449 samples are declared as one frame, although it takes 512 to fill it.
TEST(ReassignmentLengthStreamTest, AStreamShorterThanDeclaredGivesTheSame) {
    const Audio audio = MusicLike(44100.0, 2, 5000, 65);
    const ReassignedResult exact = Reassign(audio);
    for (const SInt64 declared : {5001, 5064, 20000}) {
        ReassignmentRun run(audio, {44100.0, 1000}, declared);
        run.PushAll();
        EXPECT_EQ(exact, run.Finish()) << declared;
    }
}

} // namespace
} // namespace qel::test
