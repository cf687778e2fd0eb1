// Arguments that no well-meaning client passes, and that the library answers all the same.

#include "tests/harness/TestAnalyzer.h"
#include "tests/harness/TestSignals.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <new>
#include <string>
#include <vector>

namespace qel::test {
namespace {

const std::vector<std::string> kDescriptors = {
    "temporal properties",      "generic spectrum properties", "spectrum histogram properties",
    "spectrum peak properties", "spectrum flux properties",    "spectrum"};

// A mono analyzer of keys that may be anything, made by hand.
class RawAnalyzer {
public:
    explicit RawAnalyzer(CFArrayRef keys, QelAudioAnalysisDataCallback callback = &Count) {
        EXPECT_EQ(QelAudioAnalysisNew(keys, callback, &mDeliveries, &mHandle), 0);
    }
    ~RawAnalyzer() { EXPECT_EQ(QelAudioAnalysisDispose(mHandle), 0); }
    RawAnalyzer(const RawAnalyzer&) = delete;
    RawAnalyzer& operator=(const RawAnalyzer&) = delete;

    SInt32 Initialize(UInt32 maxFrames) {
        const AudioStreamBasicDescription format = CanonicalFormat(44100.0, 1);
        const AudioChannelLayout layout = PlainLayout();
        return QelAudioAnalysisInitialize(mHandle, maxFrames, &format, &layout, 0);
    }

    SInt32 PushSilence(UInt32 frames) {
        const Audio audio(1, std::vector<float>(frames));
        BufferList list(audio, 0, frames);
        return QelAudioAnalysisPushAudio(mHandle, frames, list.Get());
    }

    QelAudioAnalysisRef Handle() const { return mHandle; }
    int Deliveries() const { return mDeliveries; }

private:
    static void Count(QelAudioAnalysisRef, CFStringRef, UInt32, QelAudioAnalysisBlock*,
                      void* refCon) {
        ++*static_cast<int*>(refCon);
    }

    QelAudioAnalysisRef mHandle = nullptr;
    int mDeliveries = 0;
};

CFOwner<CFMutableArrayRef> ArrayOf(std::initializer_list<const void*> values) {
    CFMutableArrayRef array = CFArrayCreateMutable(nullptr, 0, nullptr);
    for (const void* value : values) {
        CFArrayAppendValue(array, value);
    }
    return CFOwner<CFMutableArrayRef>(array);
}

TEST(OddArgumentsFaultTest, NullKeysAreAnEmptyList) {
    RawAnalyzer analyzer(nullptr);
    EXPECT_EQ(analyzer.Initialize(1024), 0);
    EXPECT_EQ(analyzer.PushSilence(1024), 0);
    EXPECT_EQ(QelAudioAnalysisProcess(analyzer.Handle(), 1, nullptr, nullptr), 0);
    EXPECT_EQ(analyzer.Deliveries(), 0);
}

TEST(OddArgumentsFaultTest, AnElementThatIsNoStringEndsTheList) {
    const int number = 7;
    const CFOwner<CFNumberRef> object(CFNumberCreate(nullptr, kCFNumberIntType, &number));
    for (const void* odd :
         {static_cast<const void*>(nullptr), static_cast<const void*>(object.Get())}) {
        const auto keys = ArrayOf({CFSTR("spectrum"), odd, CFSTR("spectrum flux properties")});
        RawAnalyzer analyzer(keys.Get());
        EXPECT_EQ(analyzer.Initialize(1024), 0);
        EXPECT_EQ(analyzer.PushSilence(1024), 0);
        // The group exists, and it looks at the whole list.
        EXPECT_EQ(analyzer.Deliveries(), 2);

        const auto oddFirst = ArrayOf({odd, CFSTR("spectrum")});
        RawAnalyzer empty(oddFirst.Get());
        EXPECT_EQ(empty.Initialize(1024), 0);
        EXPECT_EQ(empty.PushSilence(1024), 0);
        EXPECT_EQ(empty.Deliveries(), 0);
    }
}

TEST(OddArgumentsFaultTest, ANullDataCallbackDropsTheResults) {
    const auto keys = ArrayOf({CFSTR("spectrum"), CFSTR("temporal properties")});
    RawAnalyzer analyzer(keys.Get(), nullptr);
    EXPECT_EQ(analyzer.Initialize(1024), 0);
    EXPECT_EQ(analyzer.PushSilence(1024), 0);
}

TEST(OddArgumentsFaultTest, ANullFormatIsNotCanonical) {
    const auto keys = ArrayOf({CFSTR("spectrum")});
    RawAnalyzer analyzer(keys.Get());
    const AudioChannelLayout layout = PlainLayout();
    EXPECT_EQ(QelAudioAnalysisInitialize(analyzer.Handle(), 16, nullptr, &layout, 0),
              kAudioAnalysisErr_BadFormat);
    EXPECT_EQ(QelAudioAnalysisInitialize(nullptr, 16, nullptr, &layout, 0),
              kAudioAnalysisErr_BadFormat);
}

TEST(OddArgumentsFaultTest, ANullLayoutIsNone) {
    const auto keys = ArrayOf({CFSTR("spectrum")});
    RawAnalyzer analyzer(keys.Get());
    const AudioStreamBasicDescription format = CanonicalFormat(44100.0, 1);
    EXPECT_EQ(QelAudioAnalysisInitialize(analyzer.Handle(), 1024, &format, nullptr, 0), 0);
    EXPECT_EQ(analyzer.PushSilence(1024), 0);
    EXPECT_EQ(analyzer.Deliveries(), 1);
}

TEST(OddArgumentsFaultTest, ANullListIsRefusedAfterTheChecksThatNeedNoList) {
    const auto keys = ArrayOf({CFSTR("spectrum")});
    RawAnalyzer analyzer(keys.Get());
    EXPECT_EQ(QelAudioAnalysisPushAudio(analyzer.Handle(), 16, nullptr),
              kAudioAnalysisErr_NotInitialized);
    ASSERT_EQ(analyzer.Initialize(1024), 0);
    EXPECT_EQ(QelAudioAnalysisPushAudio(analyzer.Handle(), 1025, nullptr),
              kAudioAnalysisErr_TooManyFrames);
    EXPECT_EQ(QelAudioAnalysisPushAudio(analyzer.Handle(), 16, nullptr),
              kAudioAnalysisErr_BadFormat);
}

TEST(OddArgumentsFaultTest, NullOutputsOfAPropertyAreNotWritten) {
    TestAnalyzer analyzer({"spectrum"}, StreamSetup{});
    UInt32 size = 0;
    EXPECT_EQ(QelAudioAnalysisGetProperty(analyzer.Handle(), kQelAnalysisProperty_MetaDataForKey,
                                          CFSTR("spectrum"), 0, nullptr, 0, &size),
              0);
    EXPECT_EQ(size, 8u);
    QelAudioAnalysisKeyMetaData record{};
    EXPECT_EQ(QelAudioAnalysisGetProperty(analyzer.Handle(), kQelAnalysisProperty_MetaDataForKey,
                                          CFSTR("spectrum"), 0, &record, 0, nullptr),
              0);
    EXPECT_EQ(record.mFrameSize, 1024u);
}

TEST(OddArgumentsFaultTest, NullBlocksHaveNoRepresentation) {
    TestAnalyzer analyzer({"spectrum"}, StreamSetup{});
    EXPECT_EQ(QelAudioAnalysisCreateCFRepresentation(analyzer.Handle(), nullptr, CFSTR("spectrum"),
                                                     1, nullptr),
              nullptr);
    const CFOwner<CFPropertyListRef> empty(QelAudioAnalysisCreateCFRepresentation(
        analyzer.Handle(), nullptr, CFSTR("spectrum"), 0, nullptr));
    ASSERT_NE(empty.Get(), nullptr);
    EXPECT_EQ(CFDictionaryGetCount(static_cast<CFDictionaryRef>(empty.Get())), 1);
}

// A block of the client's own with less in it than the key has values gives what it has.
TEST(OddArgumentsFaultTest, ShortAndEmptyBlocksAreReadToTheirEndOnly) {
    TestAnalyzer analyzer({"generic spectrum properties"}, StreamSetup{});
    float twoValues[] = {1.0f, 2.0f};
    for (const QelAudioAnalysisBlock block :
         {QelAudioAnalysisBlock{twoValues, sizeof twoValues}, QelAudioAnalysisBlock{nullptr, 64}}) {
        const CFOwner<CFPropertyListRef> result(QelAudioAnalysisCreateCFRepresentation(
            analyzer.Handle(), nullptr, CFSTR("generic spectrum properties"), 1, &block));
        const auto channels = static_cast<CFArrayRef>(CFDictionaryGetValue(
            static_cast<CFDictionaryRef>(result.Get()), CFSTR("generic spectrum properties")));
        ASSERT_NE(channels, nullptr);
        const auto frames = static_cast<CFArrayRef>(CFArrayGetValueAtIndex(channels, 0));
        const auto values = static_cast<CFDictionaryRef>(CFArrayGetValueAtIndex(frames, 0));
        EXPECT_EQ(CFDictionaryGetCount(values), block.mData != nullptr ? 2 : 0);
    }
}

TEST(OddArgumentsFaultTest, APushTooLargeForMemoryIsRefusedAtOnceAndTheHandleStaysUsable) {
    const auto keys = ArrayOf({CFSTR("spectrum")});
    RawAnalyzer analyzer(keys.Get());
    EXPECT_THROW(analyzer.Initialize(1u << 30), std::bad_alloc);
    EXPECT_EQ(analyzer.PushSilence(16), 0);
    EXPECT_EQ(QelAudioAnalysisProcess(analyzer.Handle(), 1, nullptr, nullptr), 0);
    EXPECT_EQ(QelAudioAnalysisReset(analyzer.Handle()), 0);
    EXPECT_EQ(analyzer.Initialize(1024), 0);
    EXPECT_EQ(analyzer.PushSilence(1024), 0);
    EXPECT_EQ(analyzer.Deliveries(), 1);
}

// The search for the rolloff ends before its first bin when the energy is no number, and runs to
// the last bin when it is infinite.
TEST(OddArgumentsFaultTest, RolloffOfEnergyThatIsNoNumberOrInfinite) {
    constexpr std::size_t kRolloff = 10;
    constexpr float kBinHz = 44100.0f / 1024.0f;
    TestAnalyzer analyzer({"generic spectrum properties"}, StreamSetup{44100.0, 1, 4096, 0});
    ASSERT_EQ(analyzer.Push(Audio(1, std::vector<float>(1024, std::nanf("")))), 0);
    EXPECT_EQ(analyzer.Rows("generic spectrum properties").at(0).at(kRolloff), 0.0f);

    // Finite magnitudes whose squares overflow.
    TestAnalyzer loud({"generic spectrum properties"}, StreamSetup{44100.0, 1, 4096, 0});
    Audio noise = MusicLike(44100.0, 1, 1024);
    for (float& sample : noise[0]) {
        sample *= 1e25f;
    }
    ASSERT_EQ(loud.Push(noise), 0);
    EXPECT_FLOAT_EQ(loud.Rows("generic spectrum properties").at(0).at(kRolloff), 511 * kBinHz);
}

} // namespace
} // namespace qel::test
