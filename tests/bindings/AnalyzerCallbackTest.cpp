// What happens when callbacks throw, stop, or misbehave.
#include "tests/harness/Waveforms.h"

#include <QelAudioAnalysis.hpp>

#include <gtest/gtest.h>

#include <functional>
#include <vector>

namespace qel {
namespace {

// 2048 samples are three frames.
const StreamSetup kMono{.sampleRateHz = 44100, .maxFrames = 2048};
const std::vector<float> kSamples = test::Noise(2048, 1.0f, 1);

struct ClientFault {
    int number;
};

TEST(AnalyzerCallbackTest, ExceptionOfTheResultCallbackComesOutOfPush) {
    Analyzer analyzer({"spectrum"}, kMono);
    analyzer.onResult([](const Result&) { throw ClientFault{7}; });
    try {
        analyzer.push(kSamples);
        FAIL() << "nothing was thrown";
    } catch (const ClientFault& fault) {
        EXPECT_EQ(fault.number, 7);
    }
}

TEST(AnalyzerCallbackTest, NothingIsHandedOutAfterAnExceptionInTheSameCall) {
    int calls = 0;
    Analyzer analyzer({"temporal properties", "spectrum"}, kMono);
    analyzer.onResult([&](const Result&) {
        if (++calls == 2) {
            throw ClientFault{};
        }
    });
    EXPECT_THROW(analyzer.push(kSamples), ClientFault);
    EXPECT_EQ(calls, 2);
}

TEST(AnalyzerCallbackTest, StreamGoesOnAfterTheAudioOfTheFailedPush) {
    std::vector<std::uint64_t> frames;
    bool faulty = true;
    Analyzer analyzer({"spectrum"}, kMono);
    analyzer.onResult([&](const Result& result) {
        if (faulty) {
            throw ClientFault{};
        }
        frames.push_back(result.frameIndex());
    });
    EXPECT_THROW(analyzer.push(kSamples), ClientFault);
    faulty = false;
    analyzer.push(kSamples);
    // 4096 samples are seven frames, the first three of which were lost to the exception.
    EXPECT_EQ(frames, (std::vector<std::uint64_t>{3, 4, 5, 6}));
    EXPECT_TRUE(analyzer.finish());
}

TEST(AnalyzerCallbackTest, ExceptionOfTheProgressCallbackComesOutOfFinish) {
    Analyzer analyzer({"spectrum"}, kMono);
    analyzer.push(kSamples);
    EXPECT_THROW(analyzer.finish([](float) -> bool { throw ClientFault{}; }), ClientFault);
    EXPECT_TRUE(analyzer.finish());
}

TEST(AnalyzerCallbackTest, ProgressReportsOneHundredPerCentAndMayGoOn) {
    std::vector<float> reports;
    Analyzer analyzer({"spectrum"}, kMono);
    analyzer.push(kSamples);
    EXPECT_TRUE(analyzer.finish([&](float percent) {
        reports.push_back(percent);
        return true;
    }));
    EXPECT_EQ(reports, std::vector<float>{100});
}

TEST(AnalyzerCallbackTest, ProgressThatAsksToStopMakesFinishFalse) {
    Analyzer analyzer({"spectrum"}, kMono);
    analyzer.push(kSamples);
    EXPECT_FALSE(analyzer.finish([](float) { return false; }));
    EXPECT_TRUE(analyzer.finish([](float) { return true; }));
}

TEST(AnalyzerCallbackTest, AnalyzerCannotBeUsedFromInsideOfItsCallback) {
    Analyzer analyzer({"spectrum"}, kMono);
    const std::vector<std::function<void()>> uses = {
        [&] { analyzer.push(kSamples); },
        [&] { analyzer.finish(); },
        [&] { analyzer.reset(); },
        [&] { analyzer.onResult({}); },
    };
    for (const auto& use : uses) {
        analyzer.onResult([&](const Result&) { use(); });
        EXPECT_THROW(analyzer.push(kSamples), std::logic_error);
    }
}

TEST(AnalyzerCallbackTest, ResultsWithoutAReceiverAreDropped) {
    Analyzer analyzer({"spectrum"}, kMono);
    analyzer.push(kSamples);
    std::uint64_t first = 0;
    analyzer.onResult([&](const Result& result) {
        first = result.frameIndex();
        throw ClientFault{};
    });
    EXPECT_THROW(analyzer.push(kSamples), ClientFault);
    EXPECT_EQ(first, 3u);
    analyzer.onResult({});
    EXPECT_NO_THROW(analyzer.push(kSamples));
}

} // namespace
} // namespace qel
