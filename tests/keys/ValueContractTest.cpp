// Silence, constants, the ends of the scale, samples that are no numbers, and sample rates.

#include "tests/keys/KeyContractTesting.h"

#include <cmath>
#include <limits>

namespace qel::test {
namespace {

constexpr float kInfinity = std::numeric_limits<float>::infinity();
constexpr float kNotANumber = std::numeric_limits<float>::quiet_NaN();

class ValueContractTest : public KeyContractTest {
protected:
    std::size_t Length() const { return Sound(1)[0].size(); }
    bool HasEnding(const KeyOutcome& outcome, const Ending& ending) const {
        return outcome.status == ending.status &&
               (!IsAtEnd() || outcome.results.size() == (ending.delivers ? 1 : 0));
    }
    // Some keys may find something in such audio or not.
    bool HasAnEnding(const KeyOutcome& outcome) const {
        return HasEnding(outcome, {}) || HasEnding(outcome, Contract().withoutSound) ||
               HasEnding(outcome, Contract().withoutMeter);
    }
    // That it is over.
    void ExpectAsFresh(KeyRun& run) const {
        if (Contract().resetForgets && Contract().resetForgetsFailures) {
            run.Reset();
        } else {
            run.Initialize(SetupOf(Sound(1)));
        }
        run.Forget();
        run.Push(Sound(1), BlockFrames());
        EXPECT_EQ("", Difference(Run(Sound(1)), run.Finish()));
    }
};

TEST_P(ValueContractTest, SilenceGivesWhatIsStated) {
    const KeyOutcome outcome = Run(Silence(2, Length()));
    EXPECT_TRUE(HasEnding(outcome, Contract().withoutSound)) << outcome.status;
    if (!IsAtEnd()) {
        ExpectCount(outcome, Length());
    }
    Contract().checkSilence(outcome.results, 0);
    Contract().checkSilence(outcome.results, 1);
}

TEST_P(ValueContractTest, AConstantGivesWhatIsStated) {
    const KeyOutcome outcome = Run(Constant(0.5f, 2, Length()));
    EXPECT_TRUE(HasAnEnding(outcome)) << outcome.status;
    if (!IsAtEnd()) {
        ExpectCount(outcome, Length());
    }
    Contract().checkConstant(outcome.results, 0);
    if (Contract().channelsApart) {
        Contract().checkConstant(outcome.results, 1);
    }
}

TEST_P(ValueContractTest, SilenceBesideSoundIsSilence) {
    if (!Contract().channelsApart || !Contract().withoutSound.delivers || IsAtEnd()) {
        return; // of what needs a tempo, no channel has one then
    }
    const Audio sound = Sound(1);
    const KeyOutcome outcome = Run({sound[0], Silence(1, Length())[0]});
    Contract().checkSilence(outcome.results, 1);
}

// Every sample is 1 or -1.
TEST_P(ValueContractTest, FullScaleStaysWithinTheDocumentedRanges) {
    Audio audio = Noise(1.0f, 2, Length(), 9);
    for (std::vector<float>& channel : audio) {
        for (float& sample : channel) {
            sample = sample < 0.0f ? -1.0f : 1.0f;
        }
    }
    const KeyOutcome outcome = Run(audio);
    EXPECT_TRUE(HasAnEnding(outcome)) << outcome.status;
    if (!IsAtEnd()) {
        ExpectCount(outcome, Length());
    }
    ExpectDocumentedRanges(outcome.results, kRateHz);
    if (Key().delivery == qel::Delivery::PerPush) {
        for (const KeyResult& result : outcome.results) {
            EXPECT_FLOAT_EQ(1.0f, result.Floats(0).at(1)); // the root mean square
        }
    }
    if (Key().payload == PayloadKind::Range) {
        EXPECT_EQ(0.0f, outcome.results.at(0).Range(0).mHeadroom);
    }
}

TEST_P(ValueContractTest, HugeAndTinySamplesDoNoHarm) {
    for (const float size : {std::numeric_limits<float>::max(), 1e20f, 1e-20f, 1e-40f}) {
        SCOPED_TRACE(size);
        KeyRun run(Key(), SetupOf(Sound(1)));
        run.Push(Noise(size, 1, Length(), 1), BlockFrames());
        const KeyOutcome outcome = run.Finish();
        EXPECT_TRUE(HasAnEnding(outcome)) << outcome.status;
        if (!IsAtEnd()) {
            ExpectCount(outcome, Length());
        }
        ExpectAsFresh(run);
    }
}

TEST_P(ValueContractTest, ASampleThatIsNoNumberSpoilsTheResultsThatKnowOfIt) {
    const Audio good = Sound(2);
    const KeyOutcome expected = Run(good);
    // In the middle of the stream; the first sample of a frame.
    const std::size_t hop = Key().hopSamples == 0 ? BlockFrames() : Key().hopSamples;
    const std::size_t at = good[0].size() / 2 / hop * hop;
    for (const float odd : {kNotANumber, kInfinity, -kInfinity}) {
        SCOPED_TRACE(odd);
        Audio audio = good;
        audio[0][at] = odd;
        const KeyOutcome spoilt = Run(audio);
        if (IsAtEnd()) {
            EXPECT_TRUE(HasEnding(spoilt, Contract().withoutNumbers)) << spoilt.status;
            continue;
        }
        ASSERT_EQ(expected.results.size(), spoilt.results.size());
        for (std::size_t n = 0; n < spoilt.results.size(); ++n) {
            const KeyResult& actual = spoilt.results[n];
            if (Contract().channelsApart) {
                ASSERT_EQ(expected.results[n].channels[1], actual.channels[1]) << n;
            }
            if (Key().delivery == qel::Delivery::FramesAtEnd) {
                continue; // its own tests know which of its cells are spoilt
            }
            const std::size_t frame = n / Key().resultsPerFrame;
            const std::size_t first = frame * hop;
            const std::size_t end = first + (IsPerFrame() ? Key().frameSamples : hop);
            const bool isSame = expected.results[n].channels[0] == actual.channels[0];
            if (end <= at) {
                ASSERT_TRUE(isSame) << "result " << n << ", which is before it";
            } else if (first <= at) {
                // The name of no number is that of silence, which may be right; a tempo is kept.
                EXPECT_TRUE(!isSame || Key().payload == PayloadKind::Name || Key().key == "tempo")
                    << "result " << n << ", which has it";
            } else if (Contract().framesBack != kForever &&
                       first > at + Contract().framesBack * hop) {
                ASSERT_TRUE(isSame) << "result " << n << ", which is after it";
            }
        }
    }
}

TEST_P(ValueContractTest, AChannelOfNoNumbersLeavesTheOthersAsTheyAre) {
    if (!Contract().channelsApart || !Contract().withoutNumbers.delivers) {
        return; // of what needs a tempo, no channel has one then
    }
    const Audio good = Sound(2);
    const KeyOutcome expected = Run(good);
    for (const float odd : {kNotANumber, kInfinity}) {
        const KeyOutcome actual = Run({std::vector<float>(Length(), odd), good[1]});
        ASSERT_EQ(expected.results.size(), actual.results.size());
        for (std::size_t n = 0; n < actual.results.size(); ++n) {
            ASSERT_EQ(expected.results[n].channels[1], actual.results[n].channels[1]) << n;
        }
    }
}

TEST_P(ValueContractTest, AResetLeavesNothingOfSamplesThatAreNoNumbers) {
    for (const float odd : {kNotANumber, kInfinity, -kInfinity}) {
        SCOPED_TRACE(odd);
        Audio audio = Sound(1);
        audio[0][audio[0].size() / 2] = odd;
        std::fill_n(audio[0].begin() + 2048, 1024, odd); // a whole frame of some keys
        KeyRun run(Key(), SetupOf(audio));
        run.Push(audio, BlockFrames());
        EXPECT_TRUE(HasAnEnding(run.Finish()));
        ExpectAsFresh(run);
    }
}

TEST_P(ValueContractTest, EveryRateFrom8To192KilohertzStaysWithinTheDocumentedRanges) {
    const Audio audio = Sound(2);
    const KeyResult expected = Run(audio).results.at(0);
    for (const double rateHz : {8000.0, 11025.0, 16000.0, 22050.0, 32000.0, 48000.0, 88200.0,
                                96000.0, 176400.0, 192000.0}) {
        SCOPED_TRACE(rateHz);
        const KeyOutcome outcome = Run(audio, rateHz);
        EXPECT_TRUE(HasAnEnding(outcome)) << outcome.status;
        if (!IsAtEnd()) {
            ExpectCount(outcome, audio[0].size());
        }
        ExpectDocumentedRanges(outcome.results, rateHz);
        for (const KeyResult& result : outcome.results) {
            EXPECT_EQ(expected.blockBytes, result.blockBytes);
        }
    }
}

TEST_P(ValueContractTest, AnyRateEndsInAStatusAndHasEveryFrame) {
    const double infinity = std::numeric_limits<double>::infinity();
    const Audio audio = MusicLike(kRateHz, 1, 12288, 13);
    for (const double rateHz :
         {0.0, -44100.0, std::nan(""), infinity, -infinity, 1e300, 1e-300,
          std::numeric_limits<double>::denorm_min(), 1.0, 1000.0, 1e9, 1e12}) {
        SCOPED_TRACE(rateHz);
        const KeyOutcome outcome = Run(audio, rateHz);
        EXPECT_TRUE(HasAnEnding(outcome)) << outcome.status;
        if (!IsAtEnd()) {
            ExpectCount(outcome, audio[0].size());
        }
    }
}

QEL_FOR_EVERY_KEY(ValueContractTest);

} // namespace
} // namespace qel::test
