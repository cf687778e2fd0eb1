// Sizes, metadata and dictionaries of "constant q spectrum" and "harmonic pitch class profile".

#include "tests/pitch/ConstantQTesting.h"

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

std::vector<float> FloatsOf(CFTypeRef array) {
    std::vector<float> floats;
    for (const CFTypeRef number : Elements(array)) {
        EXPECT_EQ(CFNumberGetTypeID(), CFGetTypeID(number));
        EXPECT_EQ(kCFNumberFloat32Type, CFNumberGetType(static_cast<CFNumberRef>(number)));
        float value = 0.0f;
        EXPECT_TRUE(
            CFNumberGetValue(static_cast<CFNumberRef>(number), kCFNumberFloat32Type, &value));
        floats.push_back(value);
    }
    return floats;
}

class ConstantQKeyTest : public testing::TestWithParam<std::string> {
protected:
    ConstantQKeyTest() : mAnalyzer(kConstantQKeys, StreamSetup{22050.0, 2}) {}
    std::size_t Size() const { return GetParam() == kSpectrumKey ? kConstantQBins : kProfileBins; }

    TestAnalyzer mAnalyzer;
};

// { key: [ channel: [ frame: [ number ] ] ] }, made in the callback and kept after it.
TEST_P(ConstantQKeyTest, EveryDeliveryIsAnArrayByChannelFrameAndBin) {
    std::vector<CFOwner<CFPropertyListRef>> kept;
    mAnalyzer.onDelivery = [&](QelAudioAnalysisRef handle, CFStringRef key, UInt32 count,
                               QelAudioAnalysisBlock* blocks) {
        if (ToText(key) == GetParam()) {
            kept.emplace_back(QelAudioAnalysisCreateCFRepresentation(handle, kCFAllocatorDefault,
                                                                     key, count, blocks));
        }
    };
    mAnalyzer.PushInBlocks(MusicLike(22050.0, 2, SamplesFor(3)), 4096);
    const std::vector<Delivery> deliveries = mAnalyzer.DeliveriesOf(GetParam());
    ASSERT_EQ(3u, deliveries.size());
    ASSERT_EQ(3u, kept.size());
    for (std::size_t n = 0; n < kept.size(); ++n) {
        ASSERT_NE(nullptr, kept[n].Get());
        const CFTypeRef value = ValueOf(kept[n].Get(), GetParam());
        ASSERT_NE(nullptr, value);
        const std::vector<CFTypeRef> channels = Elements(value);
        ASSERT_EQ(2u, channels.size());
        for (std::size_t c = 0; c < 2; ++c) {
            const std::vector<CFTypeRef> frames = Elements(channels[c]);
            ASSERT_EQ(1u, frames.size());
            const std::vector<float> numbers = FloatsOf(frames[0]);
            EXPECT_EQ(Size(), numbers.size());
            EXPECT_EQ(deliveries[n].Floats(c), numbers);
        }
    }
}

TEST_P(ConstantQKeyTest, SeveralFramesFollowEachOther) {
    std::vector<float> values = {1.0f, 2.0f, 3.0f, 4.0f, 5.0f, 6.0f, 7.0f, 8.0f};
    std::vector<QelAudioAnalysisBlock> blocks;
    for (std::size_t i = 0; i < 4; ++i) {
        blocks.push_back({values.data() + 2 * i, 8});
    }
    const CFOwner<CFPropertyListRef> list(QelAudioAnalysisCreateCFRepresentation(
        mAnalyzer.Handle(), kCFAllocatorDefault, MakeString(GetParam()).Get(), 4, blocks.data()));
    ASSERT_NE(nullptr, list.Get());
    const std::vector<CFTypeRef> channels = Elements(ValueOf(list.Get(), GetParam()));
    ASSERT_EQ(2u, channels.size());
    const std::vector<CFTypeRef> left = Elements(channels[0]);
    const std::vector<CFTypeRef> right = Elements(channels[1]);
    ASSERT_EQ(2u, left.size());
    ASSERT_EQ(2u, right.size());
    EXPECT_EQ((std::vector<float>{1.0f, 2.0f}), FloatsOf(left[0]));
    EXPECT_EQ((std::vector<float>{5.0f, 6.0f}), FloatsOf(left[1]));
    EXPECT_EQ((std::vector<float>{3.0f, 4.0f}), FloatsOf(right[0]));
    EXPECT_EQ((std::vector<float>{7.0f, 8.0f}), FloatsOf(right[1]));
}

INSTANTIATE_TEST_SUITE_P(Keys, ConstantQKeyTest, testing::Values(kSpectrumKey, kProfileKey),
                         [](const auto& testInfo) {
                             return testInfo.param == kSpectrumKey ? "Spectrum" : "Profile";
                         });

} // namespace
} // namespace qel::test
