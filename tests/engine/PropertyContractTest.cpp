// Properties that can be asked for, and parameters, on an analyzer of the descriptor keys.

#include "tests/harness/TestAnalyzer.h"
#include "tests/harness/TestSignals.h"

#include <gtest/gtest.h>

#include <array>
#include <cstring>

namespace qel::test {
namespace {

constexpr std::byte kFill{0xA5};
constexpr UInt32 kUntouched = 77;

class PropertyTest : public testing::Test {
protected:
    PropertyTest()
        : mAnalyzer({"spectrum", "temporal properties"}, StreamSetup{48000.0, 2, 512, 9}) {
        mOut.fill(kFill);
    }

    SInt32 Get(UInt32 id, const char* specifier = nullptr) {
        const CFOwner<CFStringRef> name = MakeString(specifier != nullptr ? specifier : "");
        return QelAudioAnalysisGetProperty(mAnalyzer.Handle(), id,
                                           specifier != nullptr ? name.Get() : nullptr, 0,
                                           mOut.data(), 0, &mOutSize);
    }

    // Whether every byte of the output from `first` on is as it was.
    bool UntouchedFrom(std::size_t first) const {
        for (std::size_t i = first; i < mOut.size(); ++i) {
            if (mOut[i] != kFill) {
                return false;
            }
        }
        return true;
    }

    template <typename Value>
    Value Read(std::size_t offset) const {
        Value value;
        std::memcpy(&value, mOut.data() + offset, sizeof value);
        return value;
    }

    TestAnalyzer mAnalyzer;
    alignas(8) std::array<std::byte, 64> mOut;
    UInt32 mOutSize = kUntouched;
};

TEST_F(PropertyTest, TheRecordOfMetaDataHas24BytesInItsPublishedLayout) {
    static_assert(sizeof(QelAudioAnalysisKeyMetaData) == 24);
    static_assert(offsetof(QelAudioAnalysisKeyMetaData, mSampleRate) == 0);
    static_assert(offsetof(QelAudioAnalysisKeyMetaData, mFrameSize) == 8);
    static_assert(offsetof(QelAudioAnalysisKeyMetaData, mHopSize) == 12);
    EXPECT_EQ(0, Get(kQelAnalysisProperty_MetaDataForKey, "spectrum"));
    EXPECT_EQ(8u, mOutSize);
    EXPECT_EQ(48000.0, Read<double>(0));
    EXPECT_EQ(1024u, Read<UInt32>(8));
    EXPECT_EQ(512u, Read<UInt32>(12));
    EXPECT_TRUE(UntouchedFrom(24));
}

TEST_F(PropertyTest, MetaDataOfTheTemporalPropertiesIsTheSampleRateAlone) {
    EXPECT_EQ(0, Get(kQelAnalysisProperty_MetaDataForKey, "temporal properties"));
    EXPECT_EQ(8u, mOutSize);
    EXPECT_EQ(48000.0, Read<double>(0));
    EXPECT_TRUE(UntouchedFrom(8));
}

TEST_F(PropertyTest, MetaDataAnswersForEveryKeyOfAGroupThatExists) {
    for (const char* key : {"generic spectrum properties", "spectrum histogram properties",
                            "spectrum peak properties", "spectrum flux properties"}) {
        mOut.fill(kFill);
        EXPECT_EQ(0, Get(kQelAnalysisProperty_MetaDataForKey, key)) << key;
        EXPECT_EQ(1024u, Read<UInt32>(8)) << key;
    }
}

TEST_F(PropertyTest, MetaDataForAKeyWithoutAnOwnerIsAnUnknownProperty) {
    for (const char* key : {"no such key", "cepstrum", "global key"}) {
        EXPECT_EQ(-3860, Get(kQelAnalysisProperty_MetaDataForKey, key)) << key;
        EXPECT_TRUE(UntouchedFrom(0));
    }
}

TEST_F(PropertyTest, Ids0To5SucceedAndWriteNothing) {
    for (UInt32 id = 0; id <= 5; ++id) {
        mOutSize = kUntouched;
        EXPECT_EQ(0, Get(id, "spectrum")) << id;
        EXPECT_EQ(8u, mOutSize) << id;
        EXPECT_TRUE(UntouchedFrom(0)) << id;
    }
}

TEST_F(PropertyTest, Ids1To5NeedNeitherASpecifierNorAnOutput) {
    for (UInt32 id = 1; id <= 5; ++id) {
        UInt32 outSize = kUntouched;
        EXPECT_EQ(0, QelAudioAnalysisGetProperty(mAnalyzer.Handle(), id, nullptr, 0, nullptr, 0,
                                                 &outSize));
        EXPECT_EQ(8u, outSize);
    }
}

TEST_F(PropertyTest, IdsAbove8AreUnknownAndLeaveTheSizeAlone) {
    for (const UInt32 id : {9u, 10u, 0xFFFFFFFFu}) {
        EXPECT_EQ(-3860, Get(id, "spectrum")) << id;
        EXPECT_EQ(kUntouched, mOutSize);
        EXPECT_TRUE(UntouchedFrom(0));
    }
}

TEST_F(PropertyTest, TheDescriptorsHaveNoParametersToList) {
    CFOwner<CFMutableArrayRef> names(
        CFArrayCreateMutable(kCFAllocatorDefault, 0, &kCFTypeArrayCallBacks));
    CFMutableArrayRef list = names.Get();
    EXPECT_EQ(0, QelAudioAnalysisGetProperty(mAnalyzer.Handle(), kQelAnalysisProperty_ParameterList,
                                             nullptr, 0, &list, 8, &mOutSize));
    EXPECT_EQ(8u, mOutSize);
    EXPECT_EQ(names.Get(), list);
    EXPECT_EQ(0, CFArrayGetCount(names.Get()));
}

TEST_F(PropertyTest, TheParameterListAcceptsANullOutput) {
    EXPECT_EQ(0, QelAudioAnalysisGetProperty(mAnalyzer.Handle(), kQelAnalysisProperty_ParameterList,
                                             nullptr, 0, nullptr, 0, &mOutSize));
    EXPECT_EQ(8u, mOutSize);
}

TEST_F(PropertyTest, ParameterValueInfoWithoutAnOwnerIsAnUnknownProperty) {
    for (const char* name : {"no such parameter", "Genre Hint", "spectrum"}) {
        EXPECT_EQ(-3860, Get(kQelAnalysisProperty_ParameterValueInfo, name)) << name;
        EXPECT_TRUE(UntouchedFrom(0));
    }
}

TEST_F(PropertyTest, NoPropertyCanBeSet) {
    const CFOwner<CFStringRef> key = MakeString("spectrum");
    const double value = 1.0;
    for (UInt32 id = 0; id <= 9; ++id) {
        EXPECT_EQ(-3860, QelAudioAnalysisSetProperty(mAnalyzer.Handle(), id, key.Get(), 8, &value,
                                                     sizeof value));
    }
}

TEST_F(PropertyTest, ParametersWithoutAnOwnerAreUnknown) {
    for (const char* text : {"no such parameter", "Genre Hint", "complexity", "Min BPM", "Max BPM",
                             "Onset Sensitivity"}) {
        const CFOwner<CFStringRef> name = MakeString(text);
        float value = 3.5f;
        EXPECT_EQ(-3860, QelAudioAnalysisGetParameter(mAnalyzer.Handle(), name.Get(), &value));
        EXPECT_EQ(3.5f, value);
        EXPECT_EQ(-3860, QelAudioAnalysisSetParameter(mAnalyzer.Handle(), name.Get(), 1.0f));
    }
}

TEST_F(PropertyTest, RepresentationOfAKeyWithoutAnOwnerIsNull) {
    for (const char* text : {"no such key", "cepstrum", "global key"}) {
        const CFOwner<CFStringRef> key = MakeString(text);
        EXPECT_EQ(nullptr, QelAudioAnalysisCreateCFRepresentation(
                               mAnalyzer.Handle(), kCFAllocatorDefault, key.Get(), 0, nullptr));
    }
}

} // namespace
} // namespace qel::test
