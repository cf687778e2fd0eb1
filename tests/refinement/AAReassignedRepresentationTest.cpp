// The dictionary of "reasigned spectrum": per channel and frame an array of numbers, of which only
// those that stand in the filled blocks are not empty.

#include "tests/harness/TestAnalyzer.h"
#include "tests/harness/TestSignals.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace qel::test {
namespace {

const std::string kKey = "reasigned spectrum";
constexpr UInt32 kBins = 256;
constexpr std::size_t kFrames = 3;
constexpr std::size_t kLength = 512 + (kFrames - 1) * 64;

// By channel, by frame, the numbers.
using Numbers = std::vector<std::vector<std::vector<float>>>;

CFArrayRef ArrayAt(CFArrayRef array, CFIndex index) {
    const auto* const element = static_cast<CFTypeRef>(CFArrayGetValueAtIndex(array, index));
    EXPECT_EQ(CFArrayGetTypeID(), CFGetTypeID(element));
    return static_cast<CFArrayRef>(element);
}

std::vector<float> NumbersIn(CFArrayRef array) {
    std::vector<float> numbers(static_cast<std::size_t>(CFArrayGetCount(array)));
    for (std::size_t i = 0; i < numbers.size(); ++i) {
        const auto* const number =
            static_cast<CFNumberRef>(CFArrayGetValueAtIndex(array, static_cast<CFIndex>(i)));
        EXPECT_TRUE(CFNumberGetValue(number, kCFNumberFloat32Type, &numbers[i]));
    }
    return numbers;
}

Numbers NumbersOf(CFArrayRef channels) {
    Numbers numbers(static_cast<std::size_t>(CFArrayGetCount(channels)));
    for (std::size_t c = 0; c < numbers.size(); ++c) {
        const CFArrayRef frames = ArrayAt(channels, static_cast<CFIndex>(c));
        for (CFIndex f = 0; f < CFArrayGetCount(frames); ++f) {
            numbers[c].push_back(NumbersIn(ArrayAt(frames, f)));
        }
    }
    return numbers;
}

// What the representation has for `key`, made in the callback; and, by block, what it should have.
struct Represented {
    CFIndex entries = -1;
    Numbers numbers;
    std::vector<std::vector<float>> blocks;
};

Represented Represent(const Audio& audio, const std::string& asKey) {
    Represented result;
    TestAnalyzer analyzer({kKey}, {.channels = static_cast<UInt32>(audio.size()),
                                   .streamLength = static_cast<SInt64>(audio[0].size())});
    analyzer.onDelivery = [&](QelAudioAnalysisRef handle, CFStringRef, UInt32 count,
                              QelAudioAnalysisBlock* blocks) {
        const CFOwner<CFStringRef> key = MakeString(asKey);
        const CFOwner<CFPropertyListRef> list(QelAudioAnalysisCreateCFRepresentation(
            handle, kCFAllocatorDefault, key.Get(), count, blocks));
        if (list.Get() == nullptr) {
            return;
        }
        const auto dictionary = static_cast<CFDictionaryRef>(list.Get());
        result.entries = CFDictionaryGetCount(dictionary);
        const void* const value = CFDictionaryGetValue(dictionary, key.Get());
        ASSERT_NE(value, nullptr);
        result.numbers = NumbersOf(static_cast<CFArrayRef>(value));
        for (UInt32 b = 0; b < count; ++b) {
            const auto* const floats = static_cast<const float*>(blocks[b].mData);
            result.blocks.emplace_back(floats, floats + blocks[b].mDataByteSize / sizeof(float));
        }
    };
    EXPECT_EQ(analyzer.Push(audio), 0);
    EXPECT_EQ(analyzer.Process(), 0);
    return result;
}

TEST(AAReassignedRepresentationTest, FilledBlocksAreNumbersAndTheOthersEmpty) {
    for (const UInt32 channels : {1u, 2u}) {
        const Represented result = Represent(Noise(0.5f, channels, kLength, 1), kKey);
        EXPECT_EQ(result.entries, 1);
        ASSERT_EQ(result.numbers.size(), channels);
        ASSERT_EQ(result.blocks.size(), channels * kFrames);
        for (std::size_t c = 0; c < channels; ++c) {
            ASSERT_EQ(result.numbers[c].size(), kFrames);
            for (std::size_t f = 0; f < kFrames; ++f) {
                const std::size_t block = f * channels + c; // as in every array of blocks
                EXPECT_EQ(result.numbers[c][f], result.blocks[block]);
                EXPECT_EQ(result.numbers[c][f].size(), block % kFrames == 0 ? 2 * kBins : 0u);
            }
        }
    }
}

// The places that docs/keys.md works out for 2 channels: 10 frames in the rows of channel 0, 3
// frames in those of either channel.
TEST(AAReassignedRepresentationTest, TheFirstFrameOfEachChannelStandsWhereItsBlockDoes) {
    struct Place {
        std::size_t frames, channel, frame;
    };
    for (const Place& second : {Place{10, 0, 5}, Place{3, 1, 1}}) {
        const std::size_t length = 512 + (second.frames - 1) * 64;
        const Audio audio = Noise(0.5f, 2, length, 1);
        const Numbers stereo = Represent(audio, kKey).numbers;
        ASSERT_EQ(stereo.size(), 2u);
        std::size_t filled = 0;
        for (const auto& channel : stereo) {
            ASSERT_EQ(channel.size(), second.frames);
            filled += static_cast<std::size_t>(
                std::ranges::count_if(channel, [](const auto& row) { return !row.empty(); }));
        }
        EXPECT_EQ(filled, 2u);
        EXPECT_EQ(stereo[0][0], Represent({audio[0]}, kKey).numbers[0][0]);
        EXPECT_EQ(stereo[second.channel][second.frame], Represent({audio[1]}, kKey).numbers[0][0]);
    }
}

TEST(AAReassignedRepresentationTest, WithoutFramesTheChannelsAreEmpty) {
    const Represented result = Represent(Noise(0.5f, 2, 511, 1), kKey);
    EXPECT_EQ(result.entries, 1);
    EXPECT_EQ(result.numbers, Numbers(2));
}

TEST(AAReassignedRepresentationTest, AnotherKeyHasNone) {
    EXPECT_EQ(Represent(Noise(0.5f, 1, kLength, 1), "spectrum").entries, -1);
}

} // namespace
} // namespace qel::test
