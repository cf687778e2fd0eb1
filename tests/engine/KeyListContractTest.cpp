// How the list of keys decides what is computed.

#include "tests/harness/TestAnalyzer.h"
#include "tests/harness/TestSignals.h"

#include <gtest/gtest.h>

#include <set>

namespace qel::test {
namespace {

// The keys that two frames of noise deliver.
std::set<std::string> DeliveredBy(const std::vector<std::string>& keys) {
    TestAnalyzer analyzer(keys, StreamSetup{});
    EXPECT_EQ(0, analyzer.Push(Noise(0.5f, 1, 1536, 1)));
    EXPECT_EQ(0, analyzer.Process());
    std::set<std::string> delivered;
    for (const Delivery& delivery : analyzer.Deliveries()) {
        delivered.insert(delivery.key);
    }
    return delivered;
}

using Keys = std::set<std::string>;

TEST(KeyListContractTest, AnEmptyListSucceedsInEverythingAndDeliversNothing) {
    TestAnalyzer analyzer({}, StreamSetup{});
    EXPECT_EQ(0, analyzer.Push(Noise(0.5f, 1, 4096, 1)));
    EXPECT_EQ(0, analyzer.Process());
    EXPECT_EQ(0, analyzer.Reset());
    EXPECT_TRUE(analyzer.Deliveries().empty());
}

TEST(KeyListContractTest, AKeyDeliversItselfAndNoOtherOfItsGroup) {
    for (const std::string key :
         {"temporal properties", "generic spectrum properties", "spectrum histogram properties",
          "spectrum peak properties", "spectrum flux properties", "spectrum"}) {
        EXPECT_EQ(Keys{key}, DeliveredBy({key}));
    }
}

TEST(KeyListContractTest, AKeyThatIsListedTwiceIsDeliveredOnce) {
    TestAnalyzer analyzer({"spectrum", "spectrum"}, StreamSetup{});
    ASSERT_EQ(0, analyzer.Push(Noise(0.5f, 1, 1024, 1)));
    EXPECT_EQ(1u, analyzer.Deliveries().size());
}

TEST(KeyListContractTest, AnUnknownKeyEndsTheListWithoutAReport) {
    EXPECT_EQ(Keys{}, DeliveredBy({"no such key", "spectrum"}));
    EXPECT_EQ(Keys{}, DeliveredBy({"Spectrum"}));
    EXPECT_EQ(Keys{}, DeliveredBy({"spectrum "}));
    EXPECT_EQ(Keys{}, DeliveredBy({""}));
}

// What is computed is looked up in the whole list, by each part of the library that a key before
// the unknown one has made.
TEST(KeyListContractTest, KeysAfterAnUnknownOneStillCountForAPartThatExists) {
    EXPECT_EQ((Keys{"spectrum", "temporal properties"}),
              DeliveredBy({"spectrum", "no such key", "temporal properties"}));
}

TEST(KeyListContractTest, GlobalKeyAheadOfTheOthersEndsTheList) {
    EXPECT_EQ(Keys{}, DeliveredBy({"global key", "spectrum"}));
}

TEST(KeyListContractTest, GlobalKeyAfterAnotherKeyDoesNotDisturbIt) {
    EXPECT_EQ(Keys{"spectrum"}, DeliveredBy({"spectrum", "global key"}));
}

TEST(KeyListContractTest, TheArrayIsCopiedSoThatTheCallerMayChangeItsOwn) {
    const CFOwner<CFStringRef> spectrum = MakeString("spectrum");
    const CFOwner<CFStringRef> flux = MakeString("spectrum flux properties");
    CFOwner<CFMutableArrayRef> keys(
        CFArrayCreateMutable(kCFAllocatorDefault, 0, &kCFTypeArrayCallBacks));
    CFArrayAppendValue(keys.Get(), spectrum.Get());
    std::vector<std::string> delivered;
    const auto remember = [](QelAudioAnalysisRef, CFStringRef key, UInt32, QelAudioAnalysisBlock*,
                             void* refCon) {
        static_cast<std::vector<std::string>*>(refCon)->push_back(ToText(key));
    };
    QelAudioAnalysisRef handle = nullptr;
    ASSERT_EQ(0, QelAudioAnalysisNew(keys.Get(), remember, &delivered, &handle));
    CFArrayAppendValue(keys.Get(), flux.Get());
    const AudioStreamBasicDescription format = CanonicalFormat(44100.0, 1);
    const AudioChannelLayout layout = PlainLayout();
    EXPECT_EQ(0, QelAudioAnalysisInitialize(handle, 4096, &format, &layout, 0));
    const Audio audio = Noise(0.5f, 1, 1024, 1);
    BufferList list(audio, 0, 1024);
    EXPECT_EQ(0, QelAudioAnalysisPushAudio(handle, 1024, list.Get()));
    EXPECT_EQ(std::vector<std::string>{"spectrum"}, delivered);
    EXPECT_EQ(0, QelAudioAnalysisDispose(handle));
}

// TestAnalyzer makes its arrays with null callbacks, which compare pointers, and fresh strings.
// A retaining array must give the same; the analyzer then keeps the strings alive itself.
TEST(KeyListContractTest, AnArrayThatRetainsItsKeysMayGoBeforeInitialization) {
    int deliveries = 0;
    const auto count = [](QelAudioAnalysisRef, CFStringRef, UInt32, QelAudioAnalysisBlock*,
                          void* refCon) { ++*static_cast<int*>(refCon); };
    QelAudioAnalysisRef handle = nullptr;
    {
        CFOwner<CFMutableArrayRef> keys(
            CFArrayCreateMutable(kCFAllocatorDefault, 0, &kCFTypeArrayCallBacks));
        const CFOwner<CFStringRef> key = MakeString("spectrum");
        CFArrayAppendValue(keys.Get(), key.Get());
        ASSERT_EQ(0, QelAudioAnalysisNew(keys.Get(), count, &deliveries, &handle));
    }
    const AudioStreamBasicDescription format = CanonicalFormat(44100.0, 1);
    const AudioChannelLayout layout = PlainLayout();
    EXPECT_EQ(0, QelAudioAnalysisInitialize(handle, 4096, &format, &layout, 0));
    const Audio audio = Noise(0.5f, 1, 1024, 1);
    BufferList list(audio, 0, 1024);
    EXPECT_EQ(0, QelAudioAnalysisPushAudio(handle, 1024, list.Get()));
    EXPECT_EQ(1, deliveries);
    EXPECT_EQ(0, QelAudioAnalysisDispose(handle));
}

TEST(KeyListContractTest, InitializingAgainReplacesChannelsRateAndLargestPush) {
    TestAnalyzer analyzer({"spectrum"}, StreamSetup{44100.0, 1, 1024, 0});
    ASSERT_EQ(0, analyzer.Initialize({8000.0, 2, 4096, 0}));
    EXPECT_EQ(-3865, analyzer.Push(Noise(0.5f, 1, 1024, 1)));
    EXPECT_EQ(0, analyzer.Push(Noise(0.5f, 2, 4096, 1)));
    ASSERT_EQ(7u, analyzer.Deliveries().size());
    EXPECT_EQ(2u, analyzer.Deliveries()[0].blocks.size());
}

} // namespace
} // namespace qel::test
