// "reasigned spectrum" against a re-computation in double precision, cell by cell.

#include "tests/refinement/ReassignmentTesting.h"

#include <cmath>
#include <random>

namespace qel::test {
namespace {

// The matrix of a channel is the sum of the values that certainly land in a cell, and of some
// choice of cells for those that rounding may send to either side of a tie. That this means
// something, few values may be uncertain, and of hardly any may the place be all but unknown.
void ExpectAgreement(const Audio& audio, const RateAndBlock& with, double mostUncertain,
                     double mostLoose) {
    const ReferenceReassignment reference;
    const ReassignedResult result = Reassign(audio, with);
    ASSERT_EQ(ReferenceReassignment::FramesIn(audio[0].size()), result.frames);
    for (std::size_t c = 0; c < audio.size(); ++c) {
        SCOPED_TRACE("channel " + std::to_string(c));
        const ReassignedMatrix expected = Scatter(reference.Frames(audio[c]), result.frames);
        const MatrixAgreement agreement = Compare(expected, result.channels[c]);
        EXPECT_EQ(0u, agreement.wrongCells)
            << "row " << agreement.firstWrong / ReferenceReassignment::kBins << ", column "
            << agreement.firstWrong % ReferenceReassignment::kBins;
        EXPECT_LE(expected.UncertainShare(), mostUncertain);
        EXPECT_LE(expected.LooseShare(), mostLoose);
        EXPECT_LE(agreement.openGroups, 0u);
    }
}

class ReassignmentAgreementTest : public testing::TestWithParam<RateAndBlock> {};

TEST_P(ReassignmentAgreementTest, MonoSoundLikeMusicLandsWhereTheRecomputationPutsIt) {
    const auto samples = static_cast<std::size_t>(4.0 * GetParam().rateHz) + 17;
    ExpectAgreement(MusicLike(GetParam().rateHz, 1, samples, 31), GetParam(), 0.015, 2e-4);
}

TEST_P(ReassignmentAgreementTest, StereoSoundLikeMusicLandsWhereTheRecomputationPutsIt) {
    const auto samples = static_cast<std::size_t>(2.0 * GetParam().rateHz) + 40;
    ExpectAgreement(MusicLike(GetParam().rateHz, 2, samples, 32), GetParam(), 0.015, 2e-4);
}

// Bins between the partials of noise move far, past both ends too.
TEST_P(ReassignmentAgreementTest, NoiseLandsWhereTheRecomputationPutsIt) {
    ExpectAgreement(Noise(0.7f, 1, ReferenceReassignment::SamplesFor(700), 33), GetParam(), 0.002,
                    1e-4);
}

// Sounds that fill a part of a frame only have their centres away from its middle, and those of two
// clicks whose spectra cancel in a bin lie outside of it: only there does a value change its row.
TEST_P(ReassignmentAgreementTest, PairsOfClicksInNoiseLandWhereTheRecomputationPutsThem) {
    Audio audio = Noise(0.001f, 1, ReferenceReassignment::SamplesFor(400), 34);
    std::mt19937 generator(35);
    for (std::size_t at = 100; at + 300 < audio[0].size(); at += 400 + generator() % 300) {
        audio[0][at] += 0.5f;
        audio[0][at + 40 + generator() % 200] += 0.45f;
    }
    ExpectAgreement(audio, GetParam(), 0.015, 2e-4);
}

INSTANTIATE_TEST_SUITE_P(Rates, ReassignmentAgreementTest,
                         testing::Values(RateAndBlock{44100.0, 63}, RateAndBlock{48000.0, 512},
                                         RateAndBlock{22050.0, 1000}, RateAndBlock{96000.0, 4096},
                                         RateAndBlock{8000.0, 4096}));

TEST(ReassignmentAgreementLongTest, TenSecondsOfSoundLikeMusicLandWhereTheRecomputationPutsThem) {
    ExpectAgreement(MusicLike(44100.0, 1, 441000, 36), {44100.0, 512}, 0.015, 2e-4);
}

} // namespace
} // namespace qel::test
