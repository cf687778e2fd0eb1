// Construction, ownership, keys and parameters.
#include "tests/harness/Waveforms.h"

#include <QelAudioAnalysis.hpp>

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <functional>
#include <limits>
#include <type_traits>

namespace qel {
namespace {

const StreamSetup kMono{.sampleRateHz = 44100, .maxFrames = 1024};

// The error that `action` raises; a failure and an error of status 0 if it raises none.
template <class Action>
Error errorOf(Action action) {
    try {
        action();
    } catch (const Error& error) {
        return error;
    }
    ADD_FAILURE() << "no qel::Error";
    return Error(0, "none");
}

bool mentions(const Error& error, std::string_view text) {
    return std::string_view(error.what()).find(text) != std::string_view::npos;
}

TEST(AnalyzerTest, OwnsItsHandleAlone) {
    static_assert(!std::is_copy_constructible_v<Analyzer>);
    static_assert(!std::is_copy_assignable_v<Analyzer>);
    static_assert(std::is_nothrow_move_constructible_v<Analyzer>);
    static_assert(std::is_nothrow_move_assignable_v<Analyzer>);
}

TEST(AnalyzerTest, TakesKeysAsListVectorOrSpan) {
    const std::vector<std::string> strings{"spectrum", "temporal properties"};
    const std::vector<std::string_view> views{"spectrum", "temporal properties"};
    for (Analyzer& analyzer :
         std::array{Analyzer({"spectrum", "temporal properties"}, kMono), Analyzer(strings, kMono),
                    Analyzer(std::span<const std::string_view>(views), kMono)}) {
        EXPECT_EQ(analyzer.metaData("spectrum").hopSamples, 512u);
        EXPECT_EQ(analyzer.metaData("temporal properties").hopSamples, 0u);
    }
}

TEST(AnalyzerTest, UnknownKeyIsRefusedByName) {
    const Error error = errorOf([] { Analyzer({"no such key"}, kMono); });
    EXPECT_EQ(error.status(), kAudioAnalysisErr_UnknownProperty);
    EXPECT_TRUE(mentions(error, "\"no such key\"")) << error.what();
    EXPECT_TRUE(mentions(error, "-3860")) << error.what();
}

TEST(AnalyzerTest, UnknownKeyBetweenKnownOnesIsRefusedByName) {
    const Error error = errorOf([] {
        Analyzer({"spectrum", "spektrum", "temporal properties"}, kMono);
    });
    EXPECT_TRUE(mentions(error, "\"spektrum\"")) << error.what();
}

TEST(AnalyzerTest, KeyWithHiddenCharactersIsRefused) {
    using namespace std::string_literals;
    EXPECT_EQ(errorOf([] { Analyzer(std::vector{"spectrum\0"s}, kMono); }).status(),
              kAudioAnalysisErr_UnknownProperty);
    EXPECT_EQ(errorOf([] { Analyzer({"spectrum\xff"}, kMono); }).status(),
              kAudioAnalysisErr_UnknownProperty);
}

TEST(AnalyzerTest, NoKeysMeanNoResults) {
    Analyzer analyzer(std::vector<std::string>{}, kMono);
    analyzer.onResult([](const Result&) { FAIL(); });
    analyzer.push(test::Sine(1024, 64, 1));
    EXPECT_TRUE(analyzer.finish());
}

TEST(AnalyzerTest, AllKeysAreThirtyFromTemporalPropertiesToReassignedSpectrum) {
    const std::vector<std::string> keys = Analyzer::allKeys();
    ASSERT_EQ(keys.size(), 30u);
    EXPECT_EQ(keys.front(), "temporal properties");
    EXPECT_EQ(keys.back(), "reasigned spectrum");
}

TEST(AnalyzerTest, SetupOutOfRangeIsRefused) {
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const StreamSetup setups[] = {{.sampleRateHz = 0},   {.sampleRateHz = -1},
                                  {.sampleRateHz = nan}, {.channels = 0},
                                  {.maxFrames = 0},      {.maxFrames = 1u << 30}};
    for (const StreamSetup& setup : setups) {
        EXPECT_EQ(errorOf([&] { Analyzer({"spectrum"}, setup); }).status(),
                  kAudioAnalysisErr_BadFormat);
    }
}

TEST(AnalyzerTest, MovedFromAnalyzerRefusesEverything) {
    Analyzer source({"spectrum"}, kMono);
    const Analyzer target = std::move(source);
    EXPECT_TRUE(static_cast<bool>(target));
    EXPECT_FALSE(static_cast<bool>(source));
    const std::vector<float> samples(16);
    const std::vector<std::function<void()>> uses = {
        [&] { source.push(samples); },
        [&] { source.pushInterleaved(samples); },
        [&] { source.finish(); },
        [&] { source.process(); },
        [&] { source.reset(); },
        [&] { source.onResult({}); },
        [&] { source.setParameter("Min BPM", 1); },
        [&] { static_cast<void>(source.parameter("Min BPM")); },
        [&] { static_cast<void>(source.parameterNames()); },
        [&] { static_cast<void>(source.metaData("spectrum")); },
        [&] { static_cast<void>(source.setup()); },
    };
    for (const auto& use : uses) {
        EXPECT_EQ(errorOf(use).status(), kAudioAnalysisErr_NotInitialized);
    }
}

TEST(AnalyzerTest, CallbackStaysConnectedWhenTheAnalyzerMoves) {
    int results = 0;
    Analyzer first({"spectrum"}, kMono);
    first.onResult([&](const Result&) { ++results; });
    Analyzer second({"temporal properties"}, kMono);
    second = std::move(first);
    second.push(test::Noise(1024, 1.0f, 1));
    EXPECT_EQ(results, 1);
}

TEST(AnalyzerTest, ParameterWithoutOwnerIsRefused) {
    Analyzer analyzer({"spectrum"}, kMono);
    EXPECT_TRUE(analyzer.parameterNames().empty());
    const Error onSet = errorOf([&] { analyzer.setParameter("Onset Sensitivity", 50); });
    EXPECT_EQ(onSet.status(), kAudioAnalysisErr_UnknownProperty);
    EXPECT_TRUE(mentions(onSet, "\"Onset Sensitivity\"")) << onSet.what();
    EXPECT_EQ(errorOf([&] { static_cast<void>(analyzer.parameter("Onset Sensitivity")); }).status(),
              kAudioAnalysisErr_UnknownProperty);
}

TEST(AnalyzerTest, MetaDataOfAKeyWithoutOwnerIsRefused) {
    const Analyzer analyzer({"spectrum"}, kMono);
    EXPECT_EQ(errorOf([&] { static_cast<void>(analyzer.metaData("no such key")); }).status(),
              kAudioAnalysisErr_UnknownProperty);
}

TEST(ErrorTest, EveryStatusHasWordsOfItsOwn) {
    EXPECT_EQ(statusText(-12345), "unknown status");
    for (const SInt32 status : {0, -1, -3, -128, -3860, -3863, -3864, -3865, -3866, -3868, -3873}) {
        EXPECT_NE(statusText(status), statusText(-12345)) << status;
    }
}

} // namespace
} // namespace qel
