// When results arrive, how many there are, and how their blocks look.

#include "tests/keys/KeyContractTesting.h"

namespace qel::test {
namespace {

class DeliveryContractTest : public KeyContractTest {
protected:
    // As many results as so many samples bring while they are pushed.
    std::size_t ResultsOfPushes(std::size_t samples) const {
        return IsPerFrame() ? FramesIn(samples) * Key().resultsPerFrame : 0;
    }
};

TEST_P(DeliveryContractTest, ItsSoundDelivers) {
    const Audio audio = Sound(2);
    const KeyOutcome outcome = Run(audio);
    EXPECT_EQ(0, outcome.status);
    ExpectCount(outcome, audio[0].size());
    for (const KeyResult& result : outcome.results) {
        EXPECT_FALSE(result.channels.at(0).empty());
        EXPECT_FALSE(result.channels.at(1).empty());
    }
}

TEST_P(DeliveryContractTest, AFrameArrivesInThePushThatCompletesIt) {
    if (!IsPerFrame()) {
        return; // the next test has these keys
    }
    const std::size_t frame = Key().frameSamples;
    for (const UInt32 channels : {1u, 2u}) {
        const Audio audio = MusicLike(kRateHz, channels, frame + Key().hopSamples, 13);
        KeyRun run(Key(), {kRateHz, channels, 16384, 0});
        std::size_t at = 0;
        for (const std::size_t end :
             {frame - 1, frame, frame + Key().hopSamples - 1, frame + Key().hopSamples}) {
            EXPECT_EQ(0, run.PushPart(audio, at, static_cast<UInt32>(end - at)));
            EXPECT_EQ(ResultsOfPushes(end), run.Results().size()) << end;
            at = end;
        }
        EXPECT_EQ(0, run.Process(0));
        EXPECT_EQ(0, run.Process(1));
        EXPECT_EQ(ResultsOfPushes(at), run.Results().size()) << "the end brings none";
    }
}

TEST_P(DeliveryContractTest, WhatComesAtTheEndComesInTheFirstCallOfIt) {
    if (!IsAtEnd() && Key().delivery != qel::Delivery::FramesAtEnd) {
        return;
    }
    const Audio audio = Sound(2);
    KeyRun run(Key(), SetupOf(audio));
    run.Push(audio, BlockFrames());
    EXPECT_TRUE(run.Results().empty());
    EXPECT_EQ(0, run.Process());
    EXPECT_EQ(1u, run.Results().size());
}

TEST_P(DeliveryContractTest, AStreamHasTheFramesForWhichItHasSamples) {
    if (Key().hopSamples == 0 || IsAtEnd()) {
        return; // no frames that could be counted
    }
    const std::size_t frame = Key().frameSamples;
    const std::size_t hop = Key().hopSamples;
    for (const std::size_t samples : {std::size_t{0}, std::size_t{1}, frame - 1, frame, frame + 1,
                                      frame + hop - 1, frame + hop, frame + 5 * hop + 7}) {
        for (const UInt32 channels : {1u, 2u}) {
            SCOPED_TRACE(samples);
            const KeyOutcome outcome = Run(Noise(0.5f, channels, samples, 14));
            EXPECT_EQ(0, outcome.status);
            ExpectCount(outcome, samples);
        }
    }
}

TEST_P(DeliveryContractTest, EveryCallHasABlockPerChannelOfTheTablesSize) {
    for (const UInt32 channels : {1u, 2u, 3u}) {
        const Audio audio = Sound(channels);
        for (const KeyResult& result : Run(audio).results) {
            const UInt32 frames = result.blocks / channels;
            ASSERT_EQ(Key().delivery == qel::Delivery::FramesAtEnd ? FramesIn(audio[0].size()) : 1,
                      frames);
            for (UInt32 c = 0; c < channels; ++c) {
                // The records of all channels stand in every block; one block holds all frames of
                // a channel; of "global key" the first block alone has a size.
                const bool isRange = Key().payload == PayloadKind::Range;
                const bool isUnsized = Key().payload == PayloadKind::Name && IsAtEnd() && c > 0;
                EXPECT_EQ(isUnsized ? 0 : Key().payloadBytes * (isRange ? channels : 1),
                          result.blockBytes.at(c * frames));
                if (Key().payload == PayloadKind::Floats || Key().payload == PayloadKind::Vector ||
                    Key().payload == PayloadKind::ComplexPairs) {
                    EXPECT_EQ(Key().payloadBytes * frames, result.channels.at(c).size());
                }
            }
        }
    }
}

TEST_P(DeliveryContractTest, AnEmptyStreamEndsInItsStatus) {
    for (const UInt32 channels : {1u, 2u}) {
        KeyRun run(Key(), {kRateHz, channels, kMaxFrames, 0});
        const KeyOutcome outcome = run.Finish();
        EXPECT_EQ(Contract().withoutSound.status, outcome.status);
        const bool delivers = IsAtEnd() ? Contract().withoutSound.delivers
                                        : Key().delivery == qel::Delivery::FramesAtEnd;
        EXPECT_EQ(delivers ? 1u : 0u, outcome.results.size());
        // And again, as nothing was there to be used up.
        EXPECT_EQ("", Difference(outcome, run.Finish()));
    }
}

TEST_P(DeliveryContractTest, AStreamOfOneSampleEndsInItsStatus) {
    for (const float sample : {0.0f, 1.0f, -0.75f}) {
        KeyRun run(Key(), {kRateHz, 1, kMaxFrames, 0});
        EXPECT_EQ(Key().pushMultiple == 1 ? 0 : -1, run.PushPart({{sample}}, 0, 1));
        const KeyOutcome outcome = run.Finish();
        EXPECT_EQ(Contract().withoutSound.status, outcome.status);
        const bool delivers = IsAtEnd() ? Contract().withoutSound.delivers : !IsPerFrame();
        ASSERT_EQ(delivers ? 1u : 0u, outcome.results.size());
        if (Key().delivery == qel::Delivery::PerPush) {
            const std::vector<float> row = outcome.results[0].Floats(0);
            EXPECT_EQ(0.0f, row.at(0)); // crosses nothing
            EXPECT_FLOAT_EQ(std::abs(sample), row.at(1));
        }
    }
}

TEST_P(DeliveryContractTest, AProcessInTheMiddleTakesNothing) {
    if (IsAtEnd()) {
        return; // what it delivers then is told by each of them
    }
    const Audio audio = Sound(2);
    KeyRun run(Key(), SetupOf(audio));
    KeyResults results;
    for (std::size_t at = 0; at < audio[0].size(); at += 1500) {
        const std::size_t frames = std::min<std::size_t>(1500, audio[0].size() - at);
        EXPECT_EQ(0, run.PushPart(audio, at, static_cast<UInt32>(frames)));
        const std::size_t before = run.Results().size();
        EXPECT_EQ(0, run.Process(1));
        EXPECT_EQ(0, run.Process(0));
        if (Key().delivery == qel::Delivery::FramesAtEnd) {
            ASSERT_EQ(2u, run.Results().size());
            EXPECT_EQ(run.Results()[0], run.Results()[1]);
            results = {run.Results()[1]};
            run.Forget();
        } else {
            EXPECT_EQ(before, run.Results().size());
            results = run.Results();
        }
    }
    EXPECT_EQ("", Difference(AnalyzeKey(Key(), audio, kRateHz, 1500).results, results));
}

TEST_P(DeliveryContractTest, MetaDataTellRateFrameAndHop) {
    const std::string text(Key().key);
    const std::string before(Key().companion);
    const TestAnalyzer analyzer(before.empty() ? std::vector{text} : std::vector{before, text},
                                {22050.0, 1, 4096, 0});
    const CFOwner<CFStringRef> name = MakeString(text);
    QelAudioAnalysisKeyMetaData data{1.0, 77, 78, {}};
    UInt32 size = 0;
    EXPECT_EQ(0, QelAudioAnalysisGetProperty(analyzer.Handle(), kQelAnalysisProperty_MetaDataForKey,
                                             name.Get(), 8, &data, 24, &size));
    EXPECT_EQ(8u, size);
    EXPECT_EQ(22050.0, data.mSampleRate);
    EXPECT_EQ(Contract().tellsFrames ? Key().frameSamples : 77u, data.mFrameSize);
    EXPECT_EQ(Contract().tellsFrames ? Key().hopSamples : 78u, data.mHopSize);
}

// The query answers, and writes nothing.
TEST_P(DeliveryContractTest, TheDataSizeIsAskedForInVain) {
    const std::string text(Key().key);
    const std::string before(Key().companion);
    const TestAnalyzer analyzer(before.empty() ? std::vector{text} : std::vector{before, text},
                                {kRateHz, 1, 4096, 0});
    const CFOwner<CFStringRef> name = MakeString(text);
    UInt32 bytes = 77;
    UInt32 size = 0;
    EXPECT_EQ(0, QelAudioAnalysisGetProperty(analyzer.Handle(), kQelAnalysisProperty_DataSizeForKey,
                                             name.Get(), 8, &bytes, 4, &size));
    EXPECT_EQ(8u, size);
    EXPECT_EQ(77u, bytes);
}

QEL_FOR_EVERY_KEY(DeliveryContractTest);

} // namespace
} // namespace qel::test
