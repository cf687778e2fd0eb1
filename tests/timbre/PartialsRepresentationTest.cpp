// Sizes, metadata and dictionaries of "partials", "fundamental frequency" and "inharmonicity".

#include "tests/harness/TestSignals.h"
#include "tests/timbre/PartialsRun.h"

#include <gtest/gtest.h>

#include <array>

namespace qel::test {
namespace {

CFTypeRef ValueOf(CFTypeRef dictionary, const std::string& name) {
    EXPECT_EQ(CFDictionaryGetTypeID(), CFGetTypeID(dictionary));
    EXPECT_EQ(1, CFDictionaryGetCount(static_cast<CFDictionaryRef>(dictionary)));
    return CFDictionaryGetValue(static_cast<CFDictionaryRef>(dictionary), MakeString(name).Get());
}

std::vector<CFTypeRef> Elements(CFTypeRef array) {
    std::vector<CFTypeRef> elements;
    EXPECT_EQ(CFArrayGetTypeID(), CFGetTypeID(array));
    const auto typed = static_cast<CFArrayRef>(array);
    for (CFIndex i = 0; i < CFArrayGetCount(typed); ++i) {
        elements.push_back(CFArrayGetValueAtIndex(typed, i));
    }
    return elements;
}

float FloatOf(CFTypeRef number) {
    float value = -1.0f;
    if (number == nullptr) {
        ADD_FAILURE() << "no number";
        return value;
    }
    EXPECT_EQ(CFNumberGetTypeID(), CFGetTypeID(number));
    EXPECT_EQ(kCFNumberFloat32Type, CFNumberGetType(static_cast<CFNumberRef>(number)));
    EXPECT_TRUE(CFNumberGetValue(static_cast<CFNumberRef>(number), kCFNumberFloat32Type, &value));
    return value;
}

// The five numbers of a record, and nothing else.
void ExpectRecord(const PartialRecord& record, CFTypeRef frame) {
    ASSERT_EQ(CFDictionaryGetTypeID(), CFGetTypeID(frame));
    const auto dictionary = static_cast<CFDictionaryRef>(frame);
    EXPECT_EQ(5, CFDictionaryGetCount(dictionary));
    const auto get = [&](const char* name) {
        return CFDictionaryGetValue(dictionary, MakeString(name).Get());
    };
    const auto index = static_cast<CFNumberRef>(get("partial index"));
    ASSERT_NE(nullptr, index);
    SInt32 value = -1;
    EXPECT_EQ(kCFNumberSInt32Type, CFNumberGetType(index));
    EXPECT_TRUE(CFNumberGetValue(index, kCFNumberSInt32Type, &value));
    EXPECT_EQ(record.mIndex, value);
    EXPECT_EQ(record.mFrequency, FloatOf(get("partial frequency Hz")));
    EXPECT_EQ(record.mMagnitude, FloatOf(get("partial magnitude")));
    EXPECT_EQ(record.mPhase, FloatOf(get("partial phase")));
    EXPECT_EQ(static_cast<float>(record.mTime), FloatOf(get("partial time")));
}

void ExpectEmptyDictionary(CFTypeRef frame) {
    ASSERT_EQ(CFDictionaryGetTypeID(), CFGetTypeID(frame));
    EXPECT_EQ(0, CFDictionaryGetCount(static_cast<CFDictionaryRef>(frame)));
}

CFOwner<CFPropertyListRef> Represent(QelAudioAnalysisRef handle, const std::string& key,
                                     std::vector<QelAudioAnalysisBlock>& blocks) {
    return CFOwner<CFPropertyListRef>(
        QelAudioAnalysisCreateCFRepresentation(handle, kCFAllocatorDefault, MakeString(key).Get(),
                                               static_cast<UInt32>(blocks.size()), blocks.data()));
}

TEST(PartialsRepresentationTest, RecordsAndListsHaveTheirSizes) {
    EXPECT_EQ(24u, sizeof(PartialRecord));
    EXPECT_EQ(16u, sizeof(PartialList));
}

// { key: [ channel: [ frame: { last record } ] ] }, made in the callback and kept after it.
TEST(PartialsRepresentationTest, ADeliveryGivesTheLastRecordOfEachChannel) {
    TestAnalyzer analyzer({kPartialsKey}, {44100.0, 2});
    std::vector<CFOwner<CFPropertyListRef>> kept;
    std::vector<std::vector<PartialRow>> rows;
    analyzer.onDelivery = [&](QelAudioAnalysisRef handle, CFStringRef key, UInt32 count,
                              QelAudioAnalysisBlock* blocks) {
        kept.emplace_back(QelAudioAnalysisCreateCFRepresentation(handle, kCFAllocatorDefault, key,
                                                                 count, blocks));
        rows.emplace_back();
        for (UInt32 c = 0; c < count; ++c) {
            EXPECT_EQ(16u, blocks[c].mDataByteSize);
            const auto* list = static_cast<const PartialList*>(blocks[c].mData);
            rows.back().emplace_back(list->mPartials, list->mPartials + list->mCount);
        }
    };
    Audio audio = MusicLike(44100.0, 2, SamplesForPartials(4));
    audio[1].assign(audio[1].size(), 0.0f);
    analyzer.PushInBlocks(audio, 4096);
    ASSERT_EQ(4u, kept.size());
    for (std::size_t n = 0; n < kept.size(); ++n) {
        ASSERT_NE(nullptr, kept[n].Get());
        const std::vector<CFTypeRef> channels = Elements(ValueOf(kept[n].Get(), kPartialsKey));
        ASSERT_EQ(2u, channels.size());
        ASSERT_EQ(1u, Elements(channels[0]).size());
        ASSERT_EQ(1u, Elements(channels[1]).size());
        ASSERT_GT(rows[n][0].size(), 1u);
        ASSERT_TRUE(rows[n][1].empty());
        ExpectRecord(rows[n][0].back(), Elements(channels[0])[0]);
        ExpectEmptyDictionary(Elements(channels[1])[0]);
    }
}

// Blocks that are handed back are one per channel, each an array of lists, one per frame: another
// order than that of the data callback, and meant.
TEST(PartialsRepresentationTest, SeveralFramesStandInTheBlockOfTheirChannel) {
    const TestAnalyzer analyzer({kPartialsKey}, {44100.0, 2});
    std::array<PartialRecord, 5> records{};
    for (std::size_t i = 0; i < records.size(); ++i) {
        const auto f = static_cast<float>(i);
        records[i] = {static_cast<SInt32>(i) - 2, 100.0f + f, 0.5f + f, -1.0f - f,
                      16777217.0 + static_cast<double>(i)};
    }
    std::array<PartialList, 3> left = {PartialList{1, &records[0]}, PartialList{0, nullptr},
                                       PartialList{2, &records[1]}};
    std::array<PartialList, 3> right = {PartialList{3, &records[0]}, PartialList{5, &records[0]},
                                        PartialList{1, &records[3]}};
    std::vector<QelAudioAnalysisBlock> blocks(6, {nullptr, 0});
    blocks[0] = {left.data(), sizeof left};
    blocks[1] = {right.data(), sizeof right};
    const auto list = Represent(analyzer.Handle(), kPartialsKey, blocks);
    ASSERT_NE(nullptr, list.Get());
    const std::vector<CFTypeRef> channels = Elements(ValueOf(list.Get(), kPartialsKey));
    ASSERT_EQ(2u, channels.size());
    const std::vector<CFTypeRef> ofLeft = Elements(channels[0]);
    const std::vector<CFTypeRef> ofRight = Elements(channels[1]);
    ASSERT_EQ(3u, ofLeft.size());
    ASSERT_EQ(3u, ofRight.size());
    ExpectRecord(records[0], ofLeft[0]);
    ExpectEmptyDictionary(ofLeft[1]);
    ExpectRecord(records[2], ofLeft[2]);
    ExpectRecord(records[2], ofRight[0]);
    ExpectRecord(records[4], ofRight[1]);
    ExpectRecord(records[3], ofRight[2]);
}

TEST(PartialsRepresentationTest, TheOtherTwoKeysAreNumbersByChannelAndFrame) {
    for (const std::string& key : {kFundamentalKey, kInharmonicityKey}) {
        const TestAnalyzer analyzer({kPartialsKey}, {44100.0, 2});
        std::array<float, 6> values = {1.5f, 2.5f, 3.5f, 4.5f, 5.5f, 6.5f};
        std::vector<QelAudioAnalysisBlock> blocks;
        for (float& value : values) {
            blocks.push_back({&value, 4});
        }
        const auto list = Represent(analyzer.Handle(), key, blocks);
        ASSERT_NE(nullptr, list.Get());
        const std::vector<CFTypeRef> channels = Elements(ValueOf(list.Get(), key));
        ASSERT_EQ(2u, channels.size());
        for (std::size_t c = 0; c < 2; ++c) {
            const std::vector<CFTypeRef> frames = Elements(channels[c]);
            ASSERT_EQ(3u, frames.size());
            for (std::size_t f = 0; f < 3; ++f) {
                const std::vector<CFTypeRef> numbers = Elements(frames[f]);
                ASSERT_EQ(1u, numbers.size());
                EXPECT_EQ(values[f * 2 + c], FloatOf(numbers[0]));
            }
        }
    }
}

TEST(PartialsRepresentationTest, MetaDataHasRateFrameAndHop) {
    for (const std::string& key : kPartialKeys) {
        const TestAnalyzer analyzer({kInharmonicityKey}, {22050.0, 1});
        const CFOwner<CFStringRef> name = MakeString(key);
        QelAudioAnalysisKeyMetaData data{};
        UInt32 size = 0;
        EXPECT_EQ(0, QelAudioAnalysisGetProperty(analyzer.Handle(),
                                                 kQelAnalysisProperty_MetaDataForKey, name.Get(), 8,
                                                 &data, 24, &size));
        EXPECT_EQ(22050.0, data.mSampleRate);
        EXPECT_EQ(1024u, data.mFrameSize);
        EXPECT_EQ(512u, data.mHopSize);
        EXPECT_EQ(8u, size);
    }
}

// Required by the contract: the query succeeds and writes nothing.
TEST(PartialsRepresentationTest, TheDataSizeIsAskedForInVain) {
    for (const std::string& key : kPartialKeys) {
        const TestAnalyzer analyzer({kPartialsKey}, {44100.0, 1});
        const CFOwner<CFStringRef> name = MakeString(key);
        UInt32 bytes = 77;
        UInt32 size = 0;
        EXPECT_EQ(0, QelAudioAnalysisGetProperty(analyzer.Handle(),
                                                 kQelAnalysisProperty_DataSizeForKey, name.Get(), 8,
                                                 &bytes, 4, &size));
        EXPECT_EQ(8u, size);
        EXPECT_EQ(77u, bytes);
    }
}

} // namespace
} // namespace qel::test
