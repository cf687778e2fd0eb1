// "sound check" through the exported functions: an analyzer that refuses what it is handed.

#include "tests/harness/TestAnalyzer.h"
#include "tests/harness/TestSignals.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <memory>
#include <string>
#include <vector>

namespace qel::test {
namespace {

constexpr SInt32 kRefused = -50;
const std::string kLine = "Start err=-50\n";

template <class Call>
std::string PrintedBy(const Call& call) {
    testing::internal::CaptureStdout();
    call();
    return testing::internal::GetCapturedStdout();
}

struct Progress {
    std::vector<float> percents;
    int answer = 0;

    static int Report(void*, float percent, void* self) {
        static_cast<Progress*>(self)->percents.push_back(percent);
        return static_cast<Progress*>(self)->answer;
    }
};

class AABreloSoundCheckGeneratorTest : public testing::Test {
protected:
    // A started analyzer, its line kept out of the test's output.
    std::unique_ptr<TestAnalyzer> Started(const std::vector<std::string>& keys = {"sound check"},
                                          const StreamSetup& setup = {}) {
        std::unique_ptr<TestAnalyzer> analyzer;
        EXPECT_EQ(kLine,
                  PrintedBy([&] { analyzer = std::make_unique<TestAnalyzer>(keys, setup); }));
        return analyzer;
    }
};

TEST_F(AABreloSoundCheckGeneratorTest, InitializationAndEveryResetPrintTheRefusalOnce) {
    const auto analyzer = Started();
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(kLine, PrintedBy([&] { EXPECT_EQ(0, analyzer->Reset()); }));
    }
    EXPECT_EQ(kLine, PrintedBy([&] { EXPECT_EQ(0, analyzer->Initialize({48000.0, 2, 100, 0})); }));
    EXPECT_EQ("", PrintedBy([&] {
                  analyzer->Push(Silence(2, 100));
                  analyzer->Process();
              }));
}

TEST_F(AABreloSoundCheckGeneratorTest, EveryPushReturnsTheRefusalAndNothingIsDelivered) {
    for (const UInt32 channels : {1u, 2u, 3u}) {
        const auto analyzer = Started({"sound check"}, {44100.0, channels, 40000, 0});
        const Audio audio = Noise(0.5f, channels, 40000, 1);
        for (const UInt32 frames : {0u, 1u, 512u, 32768u, 40000u}) {
            EXPECT_EQ(kRefused, analyzer->Push(audio, 0, frames)) << channels << ' ' << frames;
        }
        EXPECT_EQ(kRefused, analyzer->Process(0));
        EXPECT_EQ(kRefused, analyzer->Process(1));
        EXPECT_TRUE(analyzer->Deliveries().empty());
    }
}

TEST_F(AABreloSoundCheckGeneratorTest, AResetChangesNothingOfThat) {
    const auto analyzer = Started();
    EXPECT_EQ(kRefused, analyzer->Push(Noise(0.5f, 1, 4096, 2)));
    EXPECT_EQ(kLine, PrintedBy([&] { EXPECT_EQ(0, analyzer->Reset()); }));
    EXPECT_EQ(kRefused, analyzer->Push(Noise(0.5f, 1, 4096, 3)));
    EXPECT_EQ(kRefused, analyzer->Process());
    EXPECT_TRUE(analyzer->Deliveries().empty());
}

TEST_F(AABreloSoundCheckGeneratorTest, TheEndIsReportedAndTheRefusalStaysTheResult) {
    const auto analyzer = Started();
    for (const int answer : {0, 1}) {
        Progress progress{{}, answer};
        EXPECT_EQ(kRefused,
                  QelAudioAnalysisProcess(analyzer->Handle(), 1, Progress::Report, &progress));
        EXPECT_EQ(std::vector<float>{100.0f}, progress.percents);
    }
    EXPECT_TRUE(analyzer->Deliveries().empty());
}

TEST_F(AABreloSoundCheckGeneratorTest, OtherKeysDeliverWhatTheyDeliverAlone) {
    const Audio audio = MusicLike(44100.0, 1, 4096);
    TestAnalyzer alone({"spectrum"}, StreamSetup{});
    EXPECT_EQ(0, alone.Push(audio));
    for (const std::vector<std::string>& keys :
         {std::vector<std::string>{"spectrum", "sound check"}, {"sound check", "spectrum"}}) {
        const auto together = Started(keys);
        EXPECT_EQ(kRefused, together->Push(audio)); // the status of the last slot
        EXPECT_EQ(alone.Deliveries(), together->Deliveries());
    }
}

TEST_F(AABreloSoundCheckGeneratorTest, TheKeyTwiceBuildsTwiceAndReadiesOnce) {
    const auto analyzer = Started({"sound check", "sound check"});
    EXPECT_EQ(kRefused, analyzer->Push(Silence(1, 10)));
}

TEST_F(AABreloSoundCheckGeneratorTest, TheMetaDataIsTheSampleRateAlone) {
    const auto analyzer = Started({"sound check"}, {48000.0, 1, 4096, 0});
    const CFOwner<CFStringRef> key = MakeString("sound check");
    QelAudioAnalysisKeyMetaData metaData{};
    UInt32 outSize = 0;
    EXPECT_EQ(0,
              QelAudioAnalysisGetProperty(analyzer->Handle(), kQelAnalysisProperty_MetaDataForKey,
                                          key.Get(), 0, &metaData, sizeof metaData, &outSize));
    EXPECT_EQ(48000.0, metaData.mSampleRate);
    EXPECT_EQ(0u, metaData.mFrameSize);
    EXPECT_EQ(0u, metaData.mHopSize);
}

TEST_F(AABreloSoundCheckGeneratorTest, TheRepresentationIsAnEmptyArrayUnderTheKey) {
    const auto analyzer = Started({"sound check"}, {44100.0, 2, 4096, 0});
    const CFOwner<CFStringRef> key = MakeString("sound check");
    std::byte payload[40] = {};
    QelAudioAnalysisBlock blocks[2] = {{payload, 40}, {payload, 40}};
    const CFOwner<CFPropertyListRef> plist(
        QelAudioAnalysisCreateCFRepresentation(analyzer->Handle(), nullptr, key.Get(), 2, blocks));
    ASSERT_NE(nullptr, plist.Get());
    ASSERT_EQ(CFDictionaryGetTypeID(), CFGetTypeID(plist.Get()));
    const auto* dictionary = static_cast<CFDictionaryRef>(plist.Get());
    EXPECT_EQ(1, CFDictionaryGetCount(dictionary));
    const void* array = CFDictionaryGetValue(dictionary, key.Get());
    ASSERT_NE(nullptr, array);
    ASSERT_EQ(CFArrayGetTypeID(), CFGetTypeID(array));
    EXPECT_EQ(0, CFArrayGetCount(static_cast<CFArrayRef>(array)));
}

// A rate of 1 or 2 Hz makes a description of one or two channels: still not interleaved.
TEST_F(AABreloSoundCheckGeneratorTest, NoSampleRateMakesTheAnalyzerTakeItsDescription) {
    for (const double rateHz :
         {1.0, 2.0, 2.9, 0.0, -1.0, 1e300, std::numeric_limits<double>::infinity(),
          std::numeric_limits<double>::quiet_NaN()}) {
        const auto analyzer = Started({"sound check"}, {rateHz, 1, 4096, 0});
        EXPECT_EQ(kRefused, analyzer->Push(Silence(1, 4096))) << rateHz;
        EXPECT_EQ(kRefused, analyzer->Process()) << rateHz;
    }
}

} // namespace
} // namespace qel::test
