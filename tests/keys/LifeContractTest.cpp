// Nothing of an earlier stream, of another channel, of another key or of another analyzer is heard.

#include "tests/keys/KeyContractTesting.h"

#include <thread>

namespace qel::test {
namespace {

class LifeContractTest : public KeyContractTest {
protected:
    void PushAll(KeyRun& run, const Audio& audio) const { run.Push(audio, BlockFrames()); }
    // Whether results of different sounds are different ones.
    bool FollowsTheSound() const {
        return Key().payload != PayloadKind::Name && Key().payload != PayloadKind::Count &&
               Contract().withoutSound.delivers;
    }
    // An analyzer pushed with what it must forget: all of a sound, and a part of a frame.
    void PushSomethingElse(KeyRun& run, UInt32 channels) const {
        run.Push(OtherSound(channels), BlockFrames());
        run.Push(Noise(0.9f, channels, Whole(3001), 8), BlockFrames());
    }
};

TEST_P(LifeContractTest, AResetEqualsAFreshAnalyzer) {
    if (!Contract().resetForgets) {
        return;
    }
    const Audio audio = Sound(2);
    const KeyOutcome expected = Run(audio);
    KeyRun run(Key(), SetupOf(audio));
    PushSomethingElse(run, 2); // and no end
    run.Reset();
    run.Forget();
    PushAll(run, audio);
    EXPECT_EQ("", Difference(expected, run.Finish()));
    run.Reset(); // after an end
    PushAll(run, audio);
    EXPECT_EQ("", Difference(expected, run.Finish()));
    run.Reset();
    run.Reset();
    PushAll(run, audio);
    EXPECT_EQ("", Difference(expected, run.Finish()));
}

TEST_P(LifeContractTest, AResetForgetsThePartOfAFrame) {
    if (!IsPerFrame() && Key().delivery != qel::Delivery::FramesAtEnd) {
        return;
    }
    const std::size_t almost = Key().frameSamples - 1;
    KeyRun run(Key(), {kRateHz, 1, kMaxFrames, 0});
    run.Push(Noise(0.9f, 1, almost, 15));
    run.Reset();
    run.Push(Noise(0.9f, 1, almost, 16));
    const KeyOutcome outcome = run.Finish();
    EXPECT_EQ(0, outcome.status);
    ExpectCount(outcome, almost);
}

TEST_P(LifeContractTest, AnotherInitializationEqualsAFreshAnalyzer) {
    const Audio audio = Sound(1);
    KeyRun run(Key(), {48000.0, 2, kMaxFrames, 0});
    PushSomethingElse(run, 2);
    run.Initialize(SetupOf(audio));
    run.Forget();
    PushAll(run, audio);
    EXPECT_EQ("", Difference(Run(audio), run.Finish()));
}

TEST_P(LifeContractTest, AChannelKnowsNothingOfTheOthers) {
    if (!Contract().channelsApart) {
        return;
    }
    const Audio audio = Sound(3);
    const KeyOutcome together = Run(audio);
    for (std::size_t c = 0; c < 3; ++c) {
        const KeyOutcome alone = Run({audio[c]});
        EXPECT_EQ(alone.status, together.status);
        ASSERT_EQ(alone.results.size(), together.results.size());
        for (std::size_t n = 0; n < alone.results.size(); ++n) {
            ASSERT_EQ(alone.results[n].channels[0], together.results[n].channels[c])
                << "channel " << c << ", result " << n;
        }
    }
    if (FollowsTheSound()) {
        EXPECT_NE(together.results.back().channels[0], together.results.back().channels[1]);
    }
}

TEST_P(LifeContractTest, EqualChannelsAreMonoTwice) {
    if (!Contract().equalChannelsAreMono) {
        return;
    }
    const Audio mono = Sound(1);
    const KeyOutcome expected = Run(mono);
    const KeyOutcome twice = Run({mono[0], mono[0]});
    EXPECT_EQ(expected.status, twice.status);
    ASSERT_EQ(expected.results.size(), twice.results.size());
    for (std::size_t n = 0; n < twice.results.size(); ++n) {
        ASSERT_EQ(expected.results[n].channels[0], twice.results[n].channels[0]) << n;
        ASSERT_EQ(expected.results[n].channels[0], twice.results[n].channels[1]) << n;
    }
}

TEST_P(LifeContractTest, TwoAnalyzersInTurnDoNotMeet) {
    const Audio audio = Sound(1);
    const Audio other = OtherSound(1);
    KeyRun one(Key(), SetupOf(audio));
    KeyRun two(Key(), {48000.0, 1, kMaxFrames, SetupOf(other).streamLength});
    const std::size_t length = audio[0].size();
    for (std::size_t at = 0; at < length; at += BlockFrames()) {
        const auto frames = static_cast<UInt32>(std::min<std::size_t>(BlockFrames(), length - at));
        EXPECT_EQ(0, one.PushPart(audio, at, frames));
        EXPECT_EQ(0, two.PushPart(other, at, frames));
    }
    const KeyOutcome ofOne = one.Finish();
    EXPECT_EQ("", Difference(Run(audio), ofOne));
    EXPECT_EQ("", Difference(Run(other, 48000.0), two.Finish()));
    if (FollowsTheSound()) {
        EXPECT_NE("", Difference(ofOne, Run(other, 48000.0)));
    }
}

TEST_P(LifeContractTest, TwoAnalyzersInTwoThreadsGiveTheBytesOfOneAlone) {
    const Audio audio = Sound(2);
    const KeyOutcome alone = Run(audio);
    KeyOutcome first;
    std::thread other([&] { first = Run(audio); });
    const KeyOutcome second = Run(audio);
    other.join();
    EXPECT_EQ("", Difference(alone, first));
    EXPECT_EQ("", Difference(alone, second));
}

TEST_P(LifeContractTest, TheOtherKeysBesideItMakeNoDifference) {
    std::vector<std::string> all;
    for (const KeyInfo& key : kKeys) {
        all.emplace_back(key.key);
    }
    Audio audio = Sound(1);
    audio[0].resize(audio[0].size() / 512 * 512); // which "audio range" beside it takes
    KeyRun run(Key(), SetupOf(audio), all);
    run.Push(audio, 1024);
    EXPECT_EQ(0, run.Process());
    KeyRun alone(Key(), SetupOf(audio));
    alone.Push(audio, 1024);
    EXPECT_EQ("", Difference(alone.Finish().results, run.Results()));
}

QEL_FOR_EVERY_KEY(LifeContractTest);

} // namespace
} // namespace qel::test
