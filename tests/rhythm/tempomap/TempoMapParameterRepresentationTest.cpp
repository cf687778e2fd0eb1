// The three parameters of "tempo".

#include "tests/rhythm/tempomap/TempoTesting.h"

#include <array>
#include <cmath>
#include <limits>
#include <new>

namespace qel::test {
namespace {

const std::vector<std::string> kNames = {"complexity", "Min BPM", "Max BPM"};

Audio Music() {
    return MusicLike(kAccentTestRate, 1, Seconds(4.0), 11);
}

std::vector<Delivery> DeliverAtComplexity(const Audio& audio, float complexity) {
    TestAnalyzer analyzer({kRunningTempoKey}, StreamSetup{});
    EXPECT_EQ(0, SetTempoParameter(analyzer, "complexity", complexity));
    EXPECT_EQ(0, analyzer.Reset());
    analyzer.PushInBlocks(audio, 4096);
    return analyzer.Deliveries();
}

TEST(TempoMapParameterRepresentationTest, ThereAreThree) {
    TestAnalyzer analyzer({kRunningTempoKey}, StreamSetup{});
    CFOwner<CFMutableArrayRef> names(CFArrayCreateMutable(nullptr, 0, nullptr));
    CFMutableArrayRef array = names.Get();
    UInt32 size = 0;
    ASSERT_EQ(0, QelAudioAnalysisGetProperty(analyzer.Handle(), kQelAnalysisProperty_ParameterList,
                                             nullptr, 0, static_cast<void*>(&array), 0, &size));
    ASSERT_EQ(3, CFArrayGetCount(array));
    for (std::size_t i = 0; i < kNames.size(); ++i) {
        EXPECT_EQ(kNames[i], ToText(static_cast<CFStringRef>(
                                 CFArrayGetValueAtIndex(array, static_cast<CFIndex>(i)))));
    }
}

TEST(TempoMapParameterRepresentationTest, TheGammaBankHasNone) {
    TestAnalyzer analyzer({kGammaKey}, StreamSetup{});
    CFOwner<CFMutableArrayRef> names(CFArrayCreateMutable(nullptr, 0, nullptr));
    CFMutableArrayRef array = names.Get();
    UInt32 size = 0;
    ASSERT_EQ(0, QelAudioAnalysisGetProperty(analyzer.Handle(), kQelAnalysisProperty_ParameterList,
                                             nullptr, 0, static_cast<void*>(&array), 0, &size));
    EXPECT_EQ(0, CFArrayGetCount(array));
}

TEST(TempoMapParameterRepresentationTest, Defaults) {
    TestAnalyzer analyzer({kRunningTempoKey}, StreamSetup{});
    EXPECT_EQ(0.0f, TempoParameter(analyzer, "complexity"));
    EXPECT_EQ(20.0f, TempoParameter(analyzer, "Min BPM"));
    EXPECT_EQ(280.0f, TempoParameter(analyzer, "Max BPM"));
}

TEST(TempoMapParameterRepresentationTest, ValuesAreKeptAndTheComplexityIsCutToAWholeNumber) {
    TestAnalyzer analyzer({kRunningTempoKey}, StreamSetup{});
    EXPECT_EQ(0, SetTempoParameter(analyzer, "complexity", 1.9f));
    EXPECT_EQ(0, SetTempoParameter(analyzer, "Min BPM", 33.25f));
    EXPECT_EQ(0, SetTempoParameter(analyzer, "Max BPM", 44.75f));
    EXPECT_EQ(1.0f, TempoParameter(analyzer, "complexity"));
    EXPECT_EQ(33.25f, TempoParameter(analyzer, "Min BPM"));
    EXPECT_EQ(44.75f, TempoParameter(analyzer, "Max BPM"));
}

TEST(TempoMapParameterRepresentationTest, AResetKeepsThemAndAnInitializationDoesNot) {
    TestAnalyzer analyzer({kRunningTempoKey}, StreamSetup{});
    EXPECT_EQ(0, SetTempoParameter(analyzer, "complexity", 2.0f));
    EXPECT_EQ(0, SetTempoParameter(analyzer, "Min BPM", 50.0f));
    EXPECT_EQ(0, SetTempoParameter(analyzer, "Max BPM", 60.0f));
    EXPECT_EQ(0, analyzer.Reset());
    EXPECT_EQ(2.0f, TempoParameter(analyzer, "complexity"));
    EXPECT_EQ(50.0f, TempoParameter(analyzer, "Min BPM"));
    EXPECT_EQ(60.0f, TempoParameter(analyzer, "Max BPM"));
    EXPECT_EQ(0, analyzer.Initialize(StreamSetup{}));
    EXPECT_EQ(0.0f, TempoParameter(analyzer, "complexity"));
    EXPECT_EQ(20.0f, TempoParameter(analyzer, "Min BPM"));
    EXPECT_EQ(280.0f, TempoParameter(analyzer, "Max BPM"));
}

TEST(TempoMapParameterRepresentationTest, OtherNamesDoNotReachIt) {
    TestAnalyzer analyzer({kRunningTempoKey}, StreamSetup{});
    for (const char* name : {"Genre Hint", "Onset Sensitivity", "Complexity", "min BPM", ""}) {
        float value = -5.0f;
        SetTempoParameter(analyzer, name, 1.0f);
        QelAudioAnalysisGetParameter(analyzer.Handle(), MakeString(name).Get(), &value);
        EXPECT_EQ(-5.0f, value) << name;
    }
    EXPECT_EQ(0.0f, TempoParameter(analyzer, "complexity"));
    EXPECT_EQ(20.0f, TempoParameter(analyzer, "Min BPM"));
    EXPECT_EQ(280.0f, TempoParameter(analyzer, "Max BPM"));
}

TEST(TempoMapParameterRepresentationTest, NothingOfTheValueInfoReachesTheCaller) {
    TestAnalyzer analyzer({kRunningTempoKey}, StreamSetup{});
    for (const std::string& name : kNames) {
        std::array<std::uint32_t, 4> info = {11, 12, 13, 14};
        const CFOwner<CFStringRef> key = MakeString(name);
        UInt32 size = 0;
        EXPECT_EQ(0, QelAudioAnalysisGetProperty(analyzer.Handle(),
                                                 kQelAnalysisProperty_ParameterValueInfo, key.Get(),
                                                 8, info.data(), 16, &size))
            << name;
        EXPECT_EQ((std::array<std::uint32_t, 4>{11, 12, 13, 14}), info) << name;
    }
}

TEST(TempoMapParameterRepresentationTest, TheComplexityWaitsForTheNextReset) {
    const Audio audio = Music();
    const std::vector<Delivery> plain = Deliver({kRunningTempoKey}, audio);
    const std::vector<Delivery> longer = DeliverAtComplexity(audio, 1.0f);
    ASSERT_NE(plain, longer);
    for (const float complexity : {1.0f, 2.0f, 0.0f}) {
        TestAnalyzer analyzer({kRunningTempoKey}, StreamSetup{});
        const std::size_t half = 2 * 44100;
        analyzer.PushInBlocks({{audio[0].begin(), audio[0].begin() + half}}, 4096);
        EXPECT_EQ(0, SetTempoParameter(analyzer, "complexity", complexity));
        EXPECT_EQ(complexity, TempoParameter(analyzer, "complexity"));
        analyzer.PushInBlocks({{audio[0].begin() + half, audio[0].end()}}, 4096);
        EXPECT_EQ(plain, analyzer.Deliveries()) << complexity;
    }
    // Set and set back before the reset.
    TestAnalyzer analyzer({kRunningTempoKey}, StreamSetup{});
    EXPECT_EQ(0, SetTempoParameter(analyzer, "complexity", 2.0f));
    EXPECT_EQ(0, SetTempoParameter(analyzer, "complexity", 1.0f));
    EXPECT_EQ(0, analyzer.Reset());
    analyzer.PushInBlocks(audio, 4096);
    EXPECT_EQ(longer, analyzer.Deliveries());
}

TEST(TempoMapParameterRepresentationTest, FractionsOfTheComplexityDoNotCount) {
    const Audio audio = Music();
    EXPECT_EQ(Deliver({kRunningTempoKey}, audio), DeliverAtComplexity(audio, 0.99f));
    EXPECT_EQ(DeliverAtComplexity(audio, 1.0f), DeliverAtComplexity(audio, 1.99f));
    EXPECT_NE(DeliverAtComplexity(audio, 1.0f), DeliverAtComplexity(audio, 2.0f));
}

// Clicks at 120 BPM, whose lag 43 is no peak: at every accent the range that holds just then.
TEST(TempoMapParameterRepresentationTest, TheRangeHoldsAtOnce) {
    const Audio audio = Clicks(86 * kAccentSamples, Seconds(20.0));
    TestAnalyzer analyzer({kRunningTempoKey}, StreamSetup{});
    std::size_t at = Seconds(10.0);
    analyzer.PushInBlocks({{audio[0].begin(), audio[0].begin() + static_cast<long>(at)}}, 4096);
    const auto next = [&] {
        analyzer.Forget();
        EXPECT_EQ(0, analyzer.Push(audio, at, 1024));
        at += 1024;
        return Tempi(analyzer).front();
    };
    ASSERT_EQ(120.0f, next());
    EXPECT_EQ(0, SetTempoParameter(analyzer, "Max BPM", 119.0f));
    EXPECT_EQ(119.0f, next());
    EXPECT_EQ(0, SetTempoParameter(analyzer, "Max BPM", 120.0f));
    EXPECT_EQ(120.0f, next());
    EXPECT_EQ(0, SetTempoParameter(analyzer, "Max BPM", 300.0f));
    EXPECT_EQ(0, SetTempoParameter(analyzer, "Min BPM", 290.0f));
    EXPECT_EQ(290.0f, next());
    EXPECT_EQ(0, SetTempoParameter(analyzer, "Min BPM", 120.0f));
    EXPECT_EQ(120.0f, next());
}

// What is repeated is a peak's tempo, and it is moved into the range anew.
TEST(TempoMapParameterRepresentationTest, TheRangeHoldsForARepeatedTempo) {
    TestAnalyzer analyzer({kRunningTempoKey}, StreamSetup{});
    const auto ofSilence = [&] {
        analyzer.Forget();
        analyzer.PushInBlocks(Silence(1, 2048), 2048);
        return Tempi(analyzer).back();
    };
    EXPECT_EQ(20.0f, ofSilence());
    EXPECT_EQ(0, SetTempoParameter(analyzer, "Min BPM", 77.5f));
    EXPECT_EQ(77.5f, ofSilence());
    EXPECT_EQ(0, SetTempoParameter(analyzer, "Min BPM", 20.0f));
    EXPECT_EQ(20.0f, ofSilence());
    analyzer.PushInBlocks(Music(), 4096);
    analyzer.PushInBlocks(Silence(1, Seconds(60.0)), 4096);
    const float kept = ofSilence();
    ASSERT_GT(kept, 80.0f);
    EXPECT_EQ(0, SetTempoParameter(analyzer, "Max BPM", 50.0f));
    EXPECT_EQ(50.0f, ofSilence());
    EXPECT_EQ(0, SetTempoParameter(analyzer, "Max BPM", 280.0f));
    EXPECT_EQ(kept, ofSilence());
}

TEST(TempoMapParameterRepresentationTest, ARangeTurnedAroundGivesOneOfItsEnds) {
    TestAnalyzer analyzer({kRunningTempoKey}, StreamSetup{});
    EXPECT_EQ(0, SetTempoParameter(analyzer, "Min BPM", 200.0f));
    EXPECT_EQ(0, SetTempoParameter(analyzer, "Max BPM", 100.0f));
    analyzer.PushInBlocks(Music(), 4096);
    for (const float tempo : Tempi(analyzer)) {
        ASSERT_TRUE(tempo == 200.0f || tempo == 100.0f) << tempo;
    }
}

// Nothing limits the complexity. What cannot be built may end in a status or in std::bad_alloc,
// after which pushes are without effect until a reset with a sensible value.
TEST(TempoMapParameterRepresentationTest, AnAbsurdComplexityIsSurvived) {
    const float inf = std::numeric_limits<float>::infinity();
    const Audio audio = Music();
    const std::vector<Delivery> plain = Deliver({kRunningTempoKey}, audio);
    for (const float complexity : {-1.0f, -1e9f, 8.0f, 9.0f, 24.0f, 25.0f, 31.0f, 32.0f, 57.0f,
                                   300.0f, 1e9f, 1e30f, inf, -inf, std::nanf("")}) {
        SCOPED_TRACE(complexity);
        TestAnalyzer analyzer({kRunningTempoKey}, StreamSetup{});
        SetTempoParameter(analyzer, "complexity", complexity);
        TempoParameter(analyzer, "complexity");
        try {
            analyzer.Reset();
            analyzer.Push(audio, 0, 1024);
        } catch (const std::bad_alloc&) {
            analyzer.Forget();
            EXPECT_EQ(0, analyzer.Push(audio, 0, 4096));
            EXPECT_TRUE(analyzer.Deliveries().empty());
        }
        analyzer.Forget();
        EXPECT_EQ(0, SetTempoParameter(analyzer, "complexity", 0.0f));
        EXPECT_EQ(0, analyzer.Reset());
        analyzer.PushInBlocks(audio, 4096);
        EXPECT_EQ(plain, analyzer.Deliveries());
    }
}

TEST(TempoMapParameterRepresentationTest, AnAbsurdRangeIsSurvived) {
    const float inf = std::numeric_limits<float>::infinity();
    for (const float value : {-inf, -1.0f, 0.0f, 1e30f, inf, std::nanf("")}) {
        SCOPED_TRACE(value);
        for (const char* name : {"Min BPM", "Max BPM"}) {
            TestAnalyzer analyzer({kRunningTempoKey}, StreamSetup{});
            EXPECT_EQ(0, SetTempoParameter(analyzer, name, value));
            analyzer.PushInBlocks(Music(), 4096);
            EXPECT_EQ(2 * NumAccentFrames(Seconds(4.0)), analyzer.Deliveries().size());
        }
    }
}

} // namespace
} // namespace qel::test
