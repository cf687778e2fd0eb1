// What the tests of all keys share: a key as parameter, its sound, and how outcomes are compared.
#pragma once

#include "tests/harness/TestSignals.h"
#include "tests/keys/KeyContract.h"
#include "tests/keys/KeyRun.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

namespace qel::test {

// How two outcomes differ, for a person to read; empty if they are the same to the bit.
std::string Difference(const KeyOutcome& expected, const KeyOutcome& actual);
std::string Difference(const KeyResults& expected, const KeyResults& actual);

class KeyContractTest : public testing::TestWithParam<KeyParameter> {
protected:
    static constexpr double kRateHz = 44100.0;
    static constexpr UInt32 kMaxFrames = 4096;

    static void SetUpTestSuite();
    static void TearDownTestSuite();

    const KeyInfo& Key() const { return *GetParam().key; }
    const KeyContract& Contract() const { return ContractOf(Key()); }
    bool IsPerFrame() const { return Key().delivery == qel::Delivery::PerFrame; }
    bool IsAtEnd() const { return Key().delivery == qel::Delivery::AtEnd; }
    // The list of results says what it is asked to say only if no result is missing.
    std::size_t FramesIn(std::size_t samples) const;

    // A size of pushes that every key takes.
    UInt32 BlockFrames() const { return Key().pushMultiple == 1 ? 1000 : 1024; }
    // So many samples, or some more, that make whole pushes.
    std::size_t Whole(std::size_t samples) const;

    // A sound in which the key finds something: of MusicWithStrokes or MusicLike. The channels
    // differ. Up to three of them; the samples are no whole frames where that is allowed.
    Audio Sound(UInt32 channels) const;
    // As long, and otherwise different in everything.
    Audio OtherSound(UInt32 channels) const;

    StreamSetup SetupOf(const Audio& audio) const;
    KeyOutcome Run(const Audio& audio, double rateHz = kRateHz) const {
        return AnalyzeKey(Key(), audio, rateHz, BlockFrames());
    }

    // The results of one channel, or of all if it is alone, lie within the ranges of the table.
    void ExpectDocumentedRanges(const KeyResults& results, double rateHz) const;
    // Every result that a stream of such a length must have is there.
    void ExpectCount(const KeyOutcome& outcome, std::size_t samples) const;

private:
    // The constant-Q kernels of a rate are made once as long as an analyzer has them: this one.
    static std::unique_ptr<KeyRun> sKernels;
};

} // namespace qel::test

// The tests of a fixture made from KeyContractTest run for every row of the table of keys.
#define QEL_FOR_EVERY_KEY(fixture)                                                  \
    INSTANTIATE_TEST_SUITE_P(Every, fixture, testing::ValuesIn(AllKeyParameters()), \
                             [](const auto& testInfo) { return testInfo.param.Name(); })
