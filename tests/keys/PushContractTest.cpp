// How a stream is cut into pushes, and how long it was said to be, makes no difference.

#include "tests/keys/KeyContractTesting.h"

#include <initializer_list>

namespace qel::test {
namespace {

class PushContractTest : public KeyContractTest {
protected:
    // As many channels as may be cut in any way.
    Audio CutSound() const { return Sound(Contract().cuts == Cuts::OneChannel ? 1 : 2); }
    // Whether the results follow the pushes.
    bool FollowsPushes() const { return Contract().cuts == Cuts::Each; }
    bool TakesHalfFramesAlone() const { return Contract().cuts == Cuts::HalfFrames; }

    KeyOutcome RunWith(const Audio& audio, const StreamSetup& setup, UInt32 blockFrames) const {
        KeyRun run(Key(), setup);
        run.Push(audio, blockFrames);
        return run.Finish();
    }
};

TEST_P(PushContractTest, CutsMakeNoDifference) {
    if (FollowsPushes()) {
        return; // "temporal properties" has tests of its own for that
    }
    const Audio audio = CutSound();
    const KeyOutcome expected = Run(audio);
    ASSERT_FALSE(expected.results.empty());
    const std::initializer_list<UInt32> any = {1, 2, 7, 63, 511, 512, 513, 1024, 1025, 4096};
    const std::initializer_list<UInt32> halfFrames = {512, 1536, 2048, 4096};
    for (const UInt32 blockFrames : TakesHalfFramesAlone() ? halfFrames : any) {
        EXPECT_EQ("", Difference(expected, RunWith(audio, SetupOf(audio), blockFrames)))
            << blockFrames;
    }
}

TEST_P(PushContractTest, EmptyPushesAddNothing) {
    if (FollowsPushes()) {
        return;
    }
    const Audio audio = CutSound();
    KeyRun run(Key(), SetupOf(audio));
    const SInt32 answer = TakesHalfFramesAlone() ? -1 : 0;
    EXPECT_EQ(answer, run.PushPart(audio, 0, 0));
    const std::vector<UInt32> any = {1000, 1, 4096, 512, 511, 2072};
    const std::vector<UInt32> halfFrames = {1024, 512, 4096};
    const std::vector<UInt32>& sizes = TakesHalfFramesAlone() ? halfFrames : any;
    std::size_t turn = 0;
    for (std::size_t at = 0; at < audio[0].size(); ++turn) {
        const auto frames = static_cast<UInt32>(
            std::min<std::size_t>(sizes[turn % sizes.size()], audio[0].size() - at));
        EXPECT_EQ(0, run.PushPart(audio, at, frames));
        EXPECT_EQ(answer, run.PushPart(audio, at, 0));
        at += frames;
    }
    EXPECT_EQ("", Difference(Run(audio), run.Finish()));
}

TEST_P(PushContractTest, OnlyMultiplesAreTakenAndWhatIsRefusedIsNotHeard) {
    const Audio audio = Sound(2);
    const Audio loud = Noise(1.0f, 2, kMaxFrames, 45);
    if (Key().pushMultiple == 1) {
        return;
    }
    KeyRun run(Key(), SetupOf(audio));
    for (std::size_t at = 0; at < audio[0].size(); at += Key().pushMultiple) {
        for (const UInt32 frames : {1u, Key().pushMultiple - 1, Key().pushMultiple + 1, 4095u}) {
            EXPECT_EQ(-1, run.PushPart(loud, 0, frames)) << frames;
        }
        EXPECT_EQ(0, run.PushPart(audio, at, Key().pushMultiple));
    }
    EXPECT_EQ("", Difference(Run(audio), run.Finish()));
}

// The flush is as long as the largest push, and what is delivered at the end may hear it.
TEST_P(PushContractTest, TheLargestPushMakesNoDifference) {
    const Audio audio = CutSound();
    const auto length = static_cast<UInt32>(audio[0].size());
    const UInt32 blockFrames = Key().pushMultiple == 1 ? 100 : Key().pushMultiple;
    const auto channels = static_cast<UInt32>(audio.size());
    const auto outcome = [&](UInt32 maxFrames, UInt32 pushed) {
        KeyRun run(Key(), {kRateHz, channels, maxFrames, static_cast<SInt64>(length)});
        run.Push(audio, pushed);
        const SInt32 status = run.Process(0);
        return KeyOutcome{run.Results(), status};
    };
    const KeyOutcome expected = outcome(4096, blockFrames);
    EXPECT_EQ(0, expected.status);
    ASSERT_FALSE(expected.results.empty());
    for (const UInt32 maxFrames : {blockFrames, 1024u, 100000u}) {
        EXPECT_EQ("", Difference(expected, outcome(maxFrames, blockFrames))) << maxFrames;
    }
    if (!FollowsPushes()) {
        EXPECT_EQ("", Difference(expected, outcome(length, length))) << "all in one push";
    }
}

TEST_P(PushContractTest, TheDeclaredLengthMakesNoDifference) {
    const Audio audio = Sound(2);
    const auto length = static_cast<SInt64>(audio[0].size());
    const KeyOutcome expected = Run(audio);
    ASSERT_FALSE(expected.results.empty());
    // Below a frame, a frame, somewhat less and more than it is, much more, and beyond 32 bits.
    for (const SInt64 declared :
         {SInt64{0}, SInt64{1}, SInt64{100}, SInt64{Key().frameSamples},
          SInt64{Key().frameSamples} + 1, length / 2, length - 1, length, length + 1, length + 4096,
          3 * length, SInt64{1} << 24, SInt64{-1}, SInt64{1} << 32}) {
        const SInt64 counted = declared & 0xFFFFFFFF;
        if (!Contract().keepsAllFrames && (counted < length || counted > 3 * length)) {
            continue; // frames of before fall out, or take all memory
        }
        StreamSetup setup = SetupOf(audio);
        setup.streamLength = declared;
        EXPECT_EQ("", Difference(expected, RunWith(audio, setup, BlockFrames()))) << declared;
    }
}

QEL_FOR_EVERY_KEY(PushContractTest);

} // namespace
} // namespace qel::test
