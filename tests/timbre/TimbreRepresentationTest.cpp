// Sizes, metadata and dictionaries of the keys that are delivered frame by frame.

#include "tests/timbre/TimbreTesting.h"

#include <algorithm>

namespace qel::test {
namespace {

// As the client reads them; the fourth is spelt as it stands.
const std::vector<std::string> kPhaseNames = {
    "phase deviation", "weighted phase deviation", "normalized weighted phase deviation",
    "complex spectral differencene", "rectified complex spectral difference"};

CFTypeRef ValueOf(CFTypeRef dictionary, const std::string& name) {
    EXPECT_EQ(CFDictionaryGetTypeID(), CFGetTypeID(dictionary));
    return CFDictionaryGetValue(static_cast<CFDictionaryRef>(dictionary), MakeString(name).Get());
}

CFIndex SizeOf(CFTypeRef dictionary) {
    return CFDictionaryGetCount(static_cast<CFDictionaryRef>(dictionary));
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

float NumberOf(CFTypeRef number) {
    EXPECT_EQ(CFNumberGetTypeID(), CFGetTypeID(number));
    EXPECT_EQ(kCFNumberFloat32Type, CFNumberGetType(static_cast<CFNumberRef>(number)));
    float value = 0.0f;
    EXPECT_TRUE(CFNumberGetValue(static_cast<CFNumberRef>(number), kCFNumberFloat32Type, &value));
    return value;
}

// The numbers of one frame, in the order of the block.
std::vector<float> FrameOf(const FrameKey& key, CFTypeRef frame) {
    std::vector<float> numbers;
    if (key.key == kPhaseProperties.key) {
        EXPECT_EQ(5, SizeOf(frame));
        for (const std::string& name : kPhaseNames) {
            const CFTypeRef value = ValueOf(frame, name);
            EXPECT_NE(nullptr, value) << name;
            numbers.push_back(value == nullptr ? 0.0f : NumberOf(value));
        }
    } else {
        for (const CFTypeRef number : Elements(frame)) {
            numbers.push_back(NumberOf(number));
        }
    }
    return numbers;
}

// Equal, or both no number.
bool SameNumbers(const std::vector<float>& a, const std::vector<float>& b) {
    return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                      [](float x, float y) { return x == y || (std::isnan(x) && std::isnan(y)); });
}

class TimbreKeyTest : public testing::TestWithParam<FrameKey> {
protected:
    TimbreKeyTest() : mAnalyzer({GetParam().key}, StreamSetup{22050.0, 2}) {}
    const FrameKey& Key() const { return GetParam(); }

    TestAnalyzer mAnalyzer;
};

// { key: [ channel: [ frame ] ] }, made in the callback and kept after it.
TEST_P(TimbreKeyTest, EveryDeliveryIsAnArrayByChannelAndFrame) {
    std::vector<CFOwner<CFPropertyListRef>> kept;
    mAnalyzer.onDelivery = [&](QelAudioAnalysisRef handle, CFStringRef key, UInt32 count,
                               QelAudioAnalysisBlock* blocks) {
        kept.emplace_back(QelAudioAnalysisCreateCFRepresentation(handle, kCFAllocatorDefault, key,
                                                                 count, blocks));
    };
    mAnalyzer.PushInBlocks(MusicLike(22050.0, 2, Key().SamplesFor(3)), 4096);
    ASSERT_EQ(3u, kept.size());
    ASSERT_EQ(3u, mAnalyzer.Deliveries().size());
    for (std::size_t n = 0; n < kept.size(); ++n) {
        ASSERT_NE(nullptr, kept[n].Get());
        EXPECT_EQ(1, SizeOf(kept[n].Get()));
        const CFTypeRef value = ValueOf(kept[n].Get(), Key().key);
        ASSERT_NE(nullptr, value);
        const std::vector<CFTypeRef> channels = Elements(value);
        ASSERT_EQ(2u, channels.size());
        for (std::size_t c = 0; c < 2; ++c) {
            const std::vector<CFTypeRef> frames = Elements(channels[c]);
            ASSERT_EQ(1u, frames.size());
            const std::vector<float> numbers = FrameOf(Key(), frames[0]);
            EXPECT_EQ(Key().numbers, numbers.size());
            EXPECT_TRUE(SameNumbers(mAnalyzer.Deliveries()[n].Floats(c), numbers));
        }
    }
}

// Blocks lie frame by frame and, within a frame, channel by channel.
TEST_P(TimbreKeyTest, SeveralFramesFollowEachOther) {
    constexpr std::size_t kNumbers = 5;
    std::vector<float> values(4 * kNumbers);
    std::vector<QelAudioAnalysisBlock> blocks;
    for (std::size_t i = 0; i < values.size(); ++i) {
        values[i] = static_cast<float>(i);
    }
    for (std::size_t i = 0; i < 4; ++i) {
        blocks.push_back({values.data() + kNumbers * i, kNumbers * sizeof(float)});
    }
    const CFOwner<CFPropertyListRef> list(QelAudioAnalysisCreateCFRepresentation(
        mAnalyzer.Handle(), kCFAllocatorDefault, MakeString(Key().key).Get(), 4, blocks.data()));
    ASSERT_NE(nullptr, list.Get());
    const std::vector<CFTypeRef> channels = Elements(ValueOf(list.Get(), Key().key));
    ASSERT_EQ(2u, channels.size());
    for (std::size_t c = 0; c < 2; ++c) {
        const std::vector<CFTypeRef> frames = Elements(channels[c]);
        ASSERT_EQ(2u, frames.size());
        for (std::size_t f = 0; f < 2; ++f) {
            const auto first = static_cast<float>(kNumbers * (2 * f + c));
            EXPECT_EQ(
                (std::vector<float>{first, first + 1.0f, first + 2.0f, first + 3.0f, first + 4.0f}),
                FrameOf(Key(), frames[f]));
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Keys, TimbreKeyTest, testing::ValuesIn(kFrameKeys),
                         [](const auto& testInfo) {
                             std::string name = testInfo.param.key;
                             std::erase(name, ' ');
                             return name;
                         });

} // namespace
} // namespace qel::test
