// Reading a payload, from blocks that the test makes and from a real run.
#include "tests/harness/Waveforms.h"

#include <QelAudioAnalysis.hpp>

#include <gtest/gtest.h>

#include <array>

namespace qel {
namespace {

// Two channels of a key with two floats.
class ResultTest : public ::testing::Test {
protected:
    std::array<float, 2> mLeft{1, 2};
    std::array<float, 2> mRight{3, 4};
    std::array<QelAudioAnalysisBlock, 2> mBlocks{
        {{mLeft.data(), sizeof mLeft}, {mRight.data(), sizeof mRight}}};
    Result mResult{"spectrum flux properties", findKey("spectrum flux properties"), 5, 0.25,
                   mBlocks};
};

TEST_F(ResultTest, ValuesAreReadByNameAndChannel) {
    EXPECT_EQ(mResult.value("spectrum difference"), 1);
    EXPECT_EQ(mResult.value("spectrum flux"), 2);
    EXPECT_EQ(mResult.value("spectrum difference", 1), 3);
    EXPECT_EQ(mResult.value("spectrum flux", 1), 4);
}

TEST_F(ResultTest, FloatsAndBytesAreTheBlocksOwn) {
    EXPECT_EQ(mResult.channels(), 2u);
    EXPECT_EQ(mResult.floats(1).data(), mRight.data());
    EXPECT_EQ(mResult.floats(1).size(), 2u);
    EXPECT_EQ(mResult.bytes(0).size(), 8u);
}

TEST_F(ResultTest, StoredResultDoesNotFollowTheBlocks) {
    const StoredResult stored = mResult.store();
    mLeft = {9, 9};
    EXPECT_EQ(stored.key, "spectrum flux properties");
    EXPECT_EQ(stored.frameIndex, 5u);
    EXPECT_EQ(stored.timeSeconds, 0.25);
    EXPECT_EQ(stored.value("spectrum flux"), 2);
    EXPECT_EQ(stored.value("spectrum flux", 1), 4);
}

TEST_F(ResultTest, WhatIsNotThereIsRefused) {
    EXPECT_THROW(mResult.value("spectrum centroid"), Error);
    EXPECT_THROW(mResult.store().value("spectrum centroid"), Error);
    EXPECT_THROW(mResult.complexes(), Error);
    EXPECT_THROW(mResult.floats(2), std::out_of_range);
    EXPECT_THROW(mResult.bytes(2), std::out_of_range);
    EXPECT_THROW(mResult.store().value("spectrum flux", 2), std::out_of_range);
}

TEST_F(ResultTest, KeyWithoutARowGivesItsBytesAlone) {
    const Result unknown("from a later version", nullptr, 0, 0, mBlocks);
    EXPECT_EQ(unknown.bytes(1).size(), 8u);
    EXPECT_THROW(unknown.floats(), Error);
    EXPECT_THROW(unknown.store(), Error);
    EXPECT_THROW(unknown.value("spectrum flux"), Error);
}

// A sine in the middle of bin 16 has there twice the plain transform of its windowed frame: the
// sum over the window, 1025 / 2, times the amplitude. Neighbours get half of it, with opposite
// sign, and the bins beyond almost nothing.
TEST(SpectrumResultTest, SineHasTheMagnitudeThatTheDocumentationStates) {
    Analyzer analyzer({"spectrum"}, {.sampleRateHz = 44100});
    int results = 0;
    analyzer.onResult([&](const Result& result) {
        ++results;
        const auto bins = result.complexes();
        ASSERT_EQ(bins.size(), 512u);
        // The window of length 1025 in a frame of 1024 leaks by about one part in a thousand.
        EXPECT_NEAR(std::abs(bins[16]), 0.5 * 512.5, 0.5);
        EXPECT_NEAR(std::abs(bins[15]), 0.25 * 512.5, 0.5);
        EXPECT_NEAR(std::abs(bins[17]), 0.25 * 512.5, 0.5);
        EXPECT_LT(std::abs(bins[20]), 0.5);
        EXPECT_EQ(result.floats().size(), 1024u);
        EXPECT_EQ(result.floats()[33], bins[16].imag());
        EXPECT_THROW(result.value("spectrum real data"), Error);
    });
    analyzer.push(test::Sine(1024, 64, 0.5));
    EXPECT_EQ(results, 1);
}

} // namespace
} // namespace qel
