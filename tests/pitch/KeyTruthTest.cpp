// Triads and scales of all 24 keys, with harmonics. A chord may well be taken for its key, while a
// scale's frames follow its notes and its name follows from a stretched histogram: which key is
// found is the method's own affair. Held here is that it is what the definitions make of the sound.

#include "tests/pitch/ChromaRun.h"
#include "tests/pitch/ChromaSounds.h"

#include <gtest/gtest.h>

namespace qel::test {
namespace {

constexpr double kRate = 44100.0;

void ExpectAgreement(const ReferenceChroma& reference, const Audio& audio) {
    ChromaRun run(kAllChromaKeys, {kRate, 1, 4096, 0});
    run.Push(audio);
    EXPECT_EQ(0, run.Process());
    const ChromaAgreement agreement = ExpectReferenceChroma(reference, audio[0], run);
    EXPECT_GE(agreement.frames, 20u);
    EXPECT_LE(agreement.doubtfulKeys, agreement.frames / 20);
    const std::vector<std::size_t> keys = run.DominantKeys();
    EXPECT_EQ(KeyName(FullestClass(keys)), run.GlobalKeys().at(0));
}

class KeyTruthTest : public testing::TestWithParam<std::size_t> {};

TEST_P(KeyTruthTest, ATriadIsWhatTheDefinitionsMakeOfIt) {
    const ReferenceChroma reference(kRate);
    ExpectAgreement(reference, Chord(TriadOf(GetParam()), kRate, SamplesForChroma(25)));
}

TEST_P(KeyTruthTest, AScaleIsWhatTheDefinitionsMakeOfIt) {
    const ReferenceChroma reference(kRate);
    ExpectAgreement(reference, Melody(ScaleOf(GetParam()), kRate, 6000));
}

INSTANTIATE_TEST_SUITE_P(AllKeys, KeyTruthTest, testing::Range(std::size_t{0}, kKeys));

} // namespace
} // namespace qel::test
