// What of the generator cannot be reached, or not be seen, through the exported functions.

#include "descriptors/AABagOfPropertiesGenerator.h"

#include "tests/harness/TestAnalyzer.h"

#include <gtest/gtest.h>

namespace qel::core {
namespace {

using test::CFOwner;
using test::MakeString;

class AABagOfPropertiesGeneratorTest : public testing::Test {
protected:
    static void CountDelivery(void* unused, CFStringRef, UInt32, QelAudioAnalysisBlock*,
                              void* refCon) {
        EXPECT_EQ(nullptr, unused);
        ++*static_cast<int*>(refCon);
    }

    UInt32 SizeFor(const char* key) {
        return mGenerator.GetSizeOfAnalysisDataForKey(MakeString(key).Get());
    }

    int mDeliveries = 0;
    AABagOfPropertiesGenerator mGenerator{2,    44100.0, 1024,          512,
                                          4096, 0,       CountDelivery, &mDeliveries};
};

TEST_F(AABagOfPropertiesGeneratorTest, ReportsTheSizeOfABlockOfEveryKey) {
    EXPECT_EQ(12u, SizeFor("temporal properties"));
    EXPECT_EQ(64u, SizeFor("generic spectrum properties"));
    EXPECT_EQ(8u, SizeFor("spectrum histogram properties"));
    EXPECT_EQ(32u, SizeFor("spectrum peak properties"));
    EXPECT_EQ(8u, SizeFor("spectrum flux properties"));
    EXPECT_EQ(4096u, SizeFor("spectrum"));
    EXPECT_EQ(0u, SizeFor("mel spectrum"));
    EXPECT_EQ(0u, SizeFor(""));
}

TEST_F(AABagOfPropertiesGeneratorTest, AKeyOfNoGroupGivesAnEmptyDictionary) {
    const CFOwner<CFPropertyListRef> list(mGenerator.CreateCFRepresentation(
        kCFAllocatorDefault, MakeString("mel spectrum").Get(), 0, nullptr));
    ASSERT_NE(nullptr, list.Get());
    ASSERT_EQ(CFDictionaryGetTypeID(), CFGetTypeID(list.Get()));
    EXPECT_EQ(0, CFDictionaryGetCount(static_cast<CFDictionaryRef>(list.Get())));
}

TEST_F(AABagOfPropertiesGeneratorTest, ANullListIsRefused) {
    EXPECT_EQ(kAudioAnalysisErr_NullBufferList, mGenerator.PushAudio(nullptr, 0));
}

TEST_F(AABagOfPropertiesGeneratorTest, BeforeItIsReadiedAPushHasNoEffect) {
    test::BufferList list(2);
    EXPECT_EQ(0, mGenerator.PushAudio(list.Get(), 0));
    EXPECT_EQ(0, mDeliveries);
}

TEST_F(AABagOfPropertiesGeneratorTest, DeliversOncePerFrameAndPassesANullFirstArgument) {
    CFOwner<CFMutableArrayRef> keys(
        CFArrayCreateMutable(kCFAllocatorDefault, 0, &kCFTypeArrayCallBacks));
    const CFOwner<CFStringRef> key = MakeString("spectrum flux properties");
    CFArrayAppendValue(keys.Get(), key.Get());
    ASSERT_EQ(0, mGenerator.SetComputeProperty(keys.Get()));
    ASSERT_EQ(0, mGenerator.ReadyAnalysis());
    const test::Audio audio(2, std::vector<float>(4096, 0.5f));
    test::BufferList list(audio, 0, 4096);
    EXPECT_EQ(0, mGenerator.PushAudio(list.Get(), 4096));
    EXPECT_EQ(7, mDeliveries);
}

TEST_F(AABagOfPropertiesGeneratorTest, SettingTheKeysAgainReplacesTheEarlierOnes) {
    const char* const names[] = {"spectrum", "spectrum peak properties"};
    for (const char* name : names) {
        CFOwner<CFMutableArrayRef> keys(
            CFArrayCreateMutable(kCFAllocatorDefault, 0, &kCFTypeArrayCallBacks));
        const CFOwner<CFStringRef> key = MakeString(name);
        CFArrayAppendValue(keys.Get(), key.Get());
        ASSERT_EQ(0, mGenerator.SetComputeProperty(keys.Get()));
    }
    ASSERT_EQ(0, mGenerator.ReadyAnalysis());
    const test::Audio audio(2, std::vector<float>(1024, 0.5f));
    test::BufferList list(audio, 0, 1024);
    EXPECT_EQ(0, mGenerator.PushAudio(list.Get(), 1024));
    EXPECT_EQ(1, mDeliveries);
}

} // namespace
} // namespace qel::core
