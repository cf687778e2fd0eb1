// All keys of a frame against the double-precision computation, at many rates, and the same to the
// bit however the stream is cut.

#include "tests/pitch/ChromaRun.h"

#include <gtest/gtest.h>

namespace qel::test {
namespace {

class ChromaAgreementTest : public testing::TestWithParam<std::tuple<double, UInt32>> {};

TEST_P(ChromaAgreementTest, EveryFrameIsThatOfTheReference) {
    const auto [rateHz, channels] = GetParam();
    const auto samples = static_cast<std::size_t>(2.0 * rateHz);
    const Audio audio = MusicLike(rateHz, channels, samples, 11);
    const ReferenceChroma reference(rateHz);
    ChromaRun run(kAllChromaKeys, {rateHz, channels, 4096, 0});
    run.Push(audio);
    EXPECT_EQ(0, run.Process());
    for (UInt32 c = 0; c < channels; ++c) {
        const ChromaAgreement agreement = ExpectReferenceChroma(reference, audio[c], run, c);
        EXPECT_GE(agreement.frames, 60u);
        // Else the keys would not have been compared.
        EXPECT_LE(agreement.doubtfulKeys, agreement.frames / 50);
        const std::vector<std::size_t> keys = run.DominantKeys(c);
        ASSERT_EQ(channels, run.GlobalKeys().size());
        EXPECT_EQ(KeyName(FullestClass(keys)), run.GlobalKeys()[c]);
    }
    for (const UInt32 blockFrames : {63u, 512u, 1000u}) {
        EXPECT_EQ(run.Deliveries(), DeliverChroma(audio, rateHz, blockFrames)) << blockFrames;
    }
}

INSTANTIATE_TEST_SUITE_P(Rates, ChromaAgreementTest,
                         testing::Combine(testing::Values(44100.0, 48000.0, 22050.0),
                                          testing::Values(1u, 2u)));

// 145 semitones between bin 1 and the last, whatever the rate; the bins below the audible are part
// of it.
TEST(ChromaRateTest, FarRatesAgreeToo) {
    for (const double rateHz : {8000.0, 11025.0, 96000.0, 192000.0}) {
        SCOPED_TRACE(rateHz);
        const Audio audio = MusicLike(rateHz, 1, 20000, 12);
        const ReferenceChroma reference(rateHz);
        EXPECT_EQ(145u, reference.Semitones());
        ChromaRun run(kAllChromaKeys, {rateHz, 1, 4096, 0});
        run.Push(audio);
        EXPECT_EQ(ChromaFramesIn(20000), ExpectReferenceChroma(reference, audio[0], run).frames);
    }
}

// The figures of the tables at the usual rate.
TEST(ChromaRateTest, TheReferenceHasItsTables) {
    const ReferenceChroma reference(44100.0);
    EXPECT_EQ(4095u, reference.Bins());
    EXPECT_EQ(-67.0f, reference.LowestSemitone());
    EXPECT_EQ(145u, reference.Semitones());
    std::size_t empty = 0;
    std::size_t total = 0;
    for (std::size_t j = 0; j < reference.Semitones(); ++j) {
        std::size_t bins = 0;
        for (std::size_t i = 0; i < reference.Bins(); ++i) {
            bins += reference.Weight(j, i) > 0.0 ? 1 : 0;
        }
        total += bins;
        empty += bins == 0 ? 1 : 0;
    }
    EXPECT_EQ(4095u, total); // every bin in one cell
    EXPECT_GT(empty, 20u);   // cells narrower than a bin
}

TEST(ChromaRateTest, ChannelsAreIndependent) {
    const Audio stereo = MusicLike(44100.0, 2, 30000);
    ChromaRun both(kAllChromaKeys, {44100.0, 2, 4096, 0});
    both.Push(stereo);
    EXPECT_EQ(0, both.Process());
    for (std::size_t c = 0; c < 2; ++c) {
        ChromaRun one(kAllChromaKeys, {44100.0, 1, 4096, 0});
        one.Push({stereo[c]});
        EXPECT_EQ(0, one.Process());
        for (const std::string& key : {kPitchClassKey, kCorrelationKey, kCentroidKey}) {
            EXPECT_EQ(one.Rows(key), both.Rows(key, c));
        }
        EXPECT_EQ(one.DominantKeys(), both.DominantKeys(c));
        EXPECT_EQ(one.GlobalKeys().at(0), both.GlobalKeys().at(c));
    }
}

} // namespace
} // namespace qel::test
