// The guards of the exported functions: null handles, handles before initialization, the list of
// public keys.

#include "tests/harness/TestAnalyzer.h"
#include "tests/harness/TestSignals.h"

#include <gtest/gtest.h>

namespace qel::test {
namespace {

constexpr UInt32 kUntouched = 77;

TEST(NullHandleTest, InitializeHasAStatusOfItsOwn) {
    const AudioStreamBasicDescription format = CanonicalFormat(44100.0, 1);
    const AudioChannelLayout layout = PlainLayout();
    EXPECT_EQ(-3868, QelAudioAnalysisInitialize(nullptr, 512, &format, &layout, 0));
}

TEST(NullHandleTest, ABadFormatWinsOverANullHandle) {
    AudioStreamBasicDescription format = CanonicalFormat(44100.0, 1);
    format.mBitsPerChannel = 16;
    const AudioChannelLayout layout = PlainLayout();
    EXPECT_EQ(-3865, QelAudioAnalysisInitialize(nullptr, 512, &format, &layout, 0));
}

TEST(NullHandleTest, PushProcessAndResetSayNotInitialized) {
    BufferList list(1);
    EXPECT_EQ(-3866, QelAudioAnalysisPushAudio(nullptr, 0, list.Get()));
    EXPECT_EQ(-3866, QelAudioAnalysisProcess(nullptr, 1, nullptr, nullptr));
    EXPECT_EQ(-3866, QelAudioAnalysisReset(nullptr));
}

TEST(NullHandleTest, GetPropertySaysNotInitializedWhateverTheId) {
    for (const UInt32 id : {0u, 4u, 6u, 9u}) {
        UInt32 outSize = kUntouched;
        EXPECT_EQ(-3866,
                  QelAudioAnalysisGetProperty(nullptr, id, nullptr, 0, nullptr, 0, &outSize));
        EXPECT_EQ(kUntouched, outSize);
    }
}

TEST(NullHandleTest, SetPropertySaysUnknownProperty) {
    EXPECT_EQ(-3860, QelAudioAnalysisSetProperty(nullptr, 0, nullptr, 0, nullptr, 0));
}

TEST(NullHandleTest, ParametersAreNoErrorAndStoreNothing) {
    const CFOwner<CFStringRef> name = MakeString("Min BPM");
    float value = 3.5f;
    EXPECT_EQ(0, QelAudioAnalysisGetParameter(nullptr, name.Get(), &value));
    EXPECT_EQ(3.5f, value);
    EXPECT_EQ(0, QelAudioAnalysisSetParameter(nullptr, name.Get(), 1.0f));
}

TEST(NullHandleTest, RepresentationIsNull) {
    const CFOwner<CFStringRef> key = MakeString("spectrum");
    EXPECT_EQ(nullptr, QelAudioAnalysisCreateCFRepresentation(nullptr, kCFAllocatorDefault,
                                                              key.Get(), 0, nullptr));
}

TEST(NullHandleTest, DisposeIsAllowed) {
    EXPECT_EQ(0, QelAudioAnalysisDispose(nullptr));
}

TEST(BeforeInitializeTest, PushSaysSoBeforeItLooksAtAnythingElse) {
    TestAnalyzer analyzer({"spectrum"});
    BufferList list(7);
    EXPECT_EQ(-3866, QelAudioAnalysisPushAudio(analyzer.Handle(), 1000000, list.Get()));
}

TEST(BeforeInitializeTest, ProcessSaysSoAndReportsNoProgress) {
    TestAnalyzer analyzer({"spectrum"});
    int calls = 0;
    const auto count = [](void*, float, void* refCon) {
        ++*static_cast<int*>(refCon);
        return 0;
    };
    EXPECT_EQ(-3866, QelAudioAnalysisProcess(analyzer.Handle(), 1, count, &calls));
    EXPECT_EQ(0, calls);
}

TEST(BeforeInitializeTest, ResetSaysSo) {
    TestAnalyzer analyzer({"spectrum"});
    EXPECT_EQ(-3866, analyzer.Reset());
}

TEST(BeforeInitializeTest, DisposeSucceeds) {
    CFOwner<CFMutableArrayRef> keys(CFArrayCreateMutable(kCFAllocatorDefault, 0, nullptr));
    QelAudioAnalysisRef handle = nullptr;
    const auto ignore = [](QelAudioAnalysisRef, CFStringRef, UInt32, QelAudioAnalysisBlock*,
                           void*) {};
    ASSERT_EQ(0, QelAudioAnalysisNew(keys.Get(), ignore, nullptr, &handle));
    ASSERT_NE(nullptr, handle);
    EXPECT_EQ(0, QelAudioAnalysisDispose(handle));
}

TEST(BeforeInitializeTest, KeysAndParametersHaveNoOwnerYet) {
    TestAnalyzer analyzer({"spectrum"});
    const CFOwner<CFStringRef> key = MakeString("spectrum");
    const CFOwner<CFStringRef> parameter = MakeString("Min BPM");
    QelAudioAnalysisKeyMetaData metaData{};
    UInt32 outSize = 0;
    EXPECT_EQ(-3860,
              QelAudioAnalysisGetProperty(analyzer.Handle(), kQelAnalysisProperty_MetaDataForKey,
                                          key.Get(), 8, &metaData, 24, &outSize));
    float value = 0.0f;
    EXPECT_EQ(-3860, QelAudioAnalysisGetParameter(analyzer.Handle(), parameter.Get(), &value));
    EXPECT_EQ(-3860, QelAudioAnalysisSetParameter(analyzer.Handle(), parameter.Get(), 1.0f));
    EXPECT_EQ(nullptr, QelAudioAnalysisCreateCFRepresentation(
                           analyzer.Handle(), kCFAllocatorDefault, key.Get(), 0, nullptr));
}

TEST(BeforeInitializeTest, PropertiesOfTheStreamAnswerAsTheyDoLater) {
    TestAnalyzer analyzer({"spectrum"});
    UInt32 outSize = 0;
    EXPECT_EQ(0, QelAudioAnalysisGetProperty(analyzer.Handle(), kQelAnalysisProperty_MaxFrames,
                                             nullptr, 0, nullptr, 0, &outSize));
    EXPECT_EQ(8u, outSize);
}

TEST(BeforeInitializeTest, ARefusedFormatLeavesTheAnalyzerUninitialized) {
    TestAnalyzer analyzer({"spectrum"});
    AudioStreamBasicDescription format = CanonicalFormat(44100.0, 1);
    format.mFormatFlags |= static_cast<UInt32>(kAudioFormatFlagIsBigEndian);
    const AudioChannelLayout layout = PlainLayout();
    EXPECT_EQ(-3865, QelAudioAnalysisInitialize(analyzer.Handle(), 512, &format, &layout, 0));
    EXPECT_EQ(-3866, analyzer.Push(Silence(1, 100)));
}

TEST(GlobalCopyKeysTest, GivesTheThirtyPublicKeysInTheirOrder) {
    const std::vector<std::string> expected = {"temporal properties",
                                               "generic spectrum properties",
                                               "spectrum histogram properties",
                                               "spectrum peak properties",
                                               "spectrum flux properties",
                                               "phase properties",
                                               "mel frequency cepstral coefficients",
                                               "tempo",
                                               "dominant key",
                                               "fundamental frequency",
                                               "inharmonicity",
                                               "spectrum",
                                               "cepstrum",
                                               "mel spectrum",
                                               "gamma tome spectrum",
                                               "constant q spectrum",
                                               "pitch class profile",
                                               "pitch class porofile key correlation",
                                               "pitch class profile tonal centroid",
                                               "harmonic pitch class profile",
                                               "partials",
                                               "instantaneous frequency",
                                               "global tempo",
                                               "global number of beats per bar",
                                               "global key",
                                               "onset data",
                                               "beat data",
                                               "down beat data",
                                               "audio range",
                                               "reasigned spectrum"};
    const CFOwner<CFMutableArrayRef> array(QelAudioAnalysisGlobalCopyKeys());
    ASSERT_NE(nullptr, array.Get());
    std::vector<std::string> actual;
    for (CFIndex i = 0; i < CFArrayGetCount(array.Get()); ++i) {
        actual.push_back(ToText(static_cast<CFStringRef>(CFArrayGetValueAtIndex(array.Get(), i))));
    }
    EXPECT_EQ(30u, actual.size());
    EXPECT_EQ(expected, actual);
}

TEST(GlobalCopyKeysTest, GivesANewArrayThatTheCallerMayChange) {
    const CFOwner<CFMutableArrayRef> first(QelAudioAnalysisGlobalCopyKeys());
    CFArrayRemoveAllValues(first.Get());
    const CFOwner<CFMutableArrayRef> second(QelAudioAnalysisGlobalCopyKeys());
    EXPECT_NE(first.Get(), second.Get());
    EXPECT_EQ(30, CFArrayGetCount(second.Get()));
}

TEST(GlobalCopyKeysTest, TheArrayHasNoCallbacksAndSoComparesPointers) {
    const CFOwner<CFMutableArrayRef> array(QelAudioAnalysisGlobalCopyKeys());
    const CFRange all{0, CFArrayGetCount(array.Get())};
    const void* const own = CFArrayGetValueAtIndex(array.Get(), 11);
    const CFOwner<CFStringRef> equal = MakeString("spectrum");
    EXPECT_TRUE(CFEqual(own, equal.Get()));
    EXPECT_TRUE(CFArrayContainsValue(array.Get(), all, own));
    EXPECT_FALSE(CFArrayContainsValue(array.Get(), all, equal.Get()));
}

TEST(GlobalCopyKeysTest, TheKeysOutliveTheArray) {
    CFStringRef key = nullptr;
    {
        const CFOwner<CFMutableArrayRef> array(QelAudioAnalysisGlobalCopyKeys());
        key = static_cast<CFStringRef>(CFArrayGetValueAtIndex(array.Get(), 11));
    }
    EXPECT_EQ("spectrum", ToText(key));
}

TEST(GlobalCopyKeysTest, TheArrayCanBeHandedStraightToANewAnalyzer) {
    QelAudioAnalysisRef handle = nullptr;
    int deliveries = 0;
    const auto count = [](QelAudioAnalysisRef, CFStringRef, UInt32, QelAudioAnalysisBlock*,
                          void* refCon) { ++*static_cast<int*>(refCon); };
    {
        const CFOwner<CFMutableArrayRef> keys(QelAudioAnalysisGlobalCopyKeys());
        ASSERT_EQ(0, QelAudioAnalysisNew(keys.Get(), count, &deliveries, &handle));
    }
    const AudioStreamBasicDescription format = CanonicalFormat(44100.0, 1);
    const AudioChannelLayout layout = PlainLayout();
    EXPECT_EQ(0, QelAudioAnalysisInitialize(handle, 4096, &format, &layout, 0));
    const Audio audio = Noise(0.5f, 1, 4096, 1);
    BufferList list(audio, 0, 4096);
    EXPECT_EQ(0, QelAudioAnalysisPushAudio(handle, 4096, list.Get()));
    EXPECT_GT(deliveries, 0);
    EXPECT_EQ(0, QelAudioAnalysisDispose(handle));
}

} // namespace
} // namespace qel::test
