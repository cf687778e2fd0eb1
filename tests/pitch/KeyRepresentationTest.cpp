// The dictionaries of the five keys.

#include "tests/pitch/ChromaRun.h"
#include "tests/pitch/ChromaSounds.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstring>
#include <memory>

namespace qel::test {
namespace {

constexpr double kRate = 44100.0;

using Dictionary = CFOwner<CFPropertyListRef>;

Dictionary Represent(const ChromaRun& run, const std::string& key,
                     std::vector<QelAudioAnalysisBlock> blocks) {
    const CFOwner<CFStringRef> name = MakeString(key);
    return Dictionary(
        QelAudioAnalysisCreateCFRepresentation(run.Handle(), kCFAllocatorDefault, name.Get(),
                                               static_cast<UInt32>(blocks.size()), blocks.data()));
}

// The one value of the dictionary.
CFArrayRef Channels(const Dictionary& dictionary, const std::string& key) {
    EXPECT_NE(nullptr, dictionary.Get());
    EXPECT_EQ(CFDictionaryGetTypeID(), CFGetTypeID(dictionary.Get()));
    const auto typed = static_cast<CFDictionaryRef>(dictionary.Get());
    EXPECT_EQ(1, CFDictionaryGetCount(typed));
    const CFOwner<CFStringRef> name = MakeString(key);
    const void* value = CFDictionaryGetValue(typed, name.Get());
    EXPECT_NE(nullptr, value) << key;
    EXPECT_EQ(CFArrayGetTypeID(), CFGetTypeID(value));
    return static_cast<CFArrayRef>(value);
}

std::vector<const void*> Elements(const void* array) {
    EXPECT_EQ(CFArrayGetTypeID(), CFGetTypeID(array));
    const auto typed = static_cast<CFArrayRef>(array);
    std::vector<const void*> elements;
    for (CFIndex i = 0; i < CFArrayGetCount(typed); ++i) {
        elements.push_back(CFArrayGetValueAtIndex(typed, i));
    }
    return elements;
}

std::vector<std::string> Names(const void* array) {
    std::vector<std::string> names;
    for (const void* element : Elements(array)) {
        EXPECT_EQ(CFStringGetTypeID(), CFGetTypeID(element));
        names.push_back(ToText(static_cast<CFStringRef>(element)));
    }
    return names;
}

std::vector<std::vector<std::string>> NamesByChannel(CFArrayRef channels) {
    std::vector<std::vector<std::string>> names;
    for (const void* channel : Elements(channels)) {
        names.push_back(Names(channel));
    }
    return names;
}

std::vector<float> Numbers(const void* array) {
    std::vector<float> numbers;
    for (const void* element : Elements(array)) {
        EXPECT_EQ(CFNumberGetTypeID(), CFGetTypeID(element));
        float value = 0.0f;
        EXPECT_TRUE(
            CFNumberGetValue(static_cast<CFNumberRef>(element), kCFNumberFloat32Type, &value));
        numbers.push_back(value);
    }
    return numbers;
}

// Payloads that a caller makes: exactly as large as told, on the heap, so that a read beyond the
// end is seen by the checker.
class Payload {
public:
    explicit Payload(const std::vector<const char*>& texts)
        : mReferences(std::make_unique<CFStringRef[]>(texts.size())), mCount(texts.size()) {
        for (std::size_t i = 0; i < mCount; ++i) {
            mStrings.push_back(MakeString(texts[i]));
            mReferences[i] = mStrings[i].Get();
        }
    }
    QelAudioAnalysisBlock Block() {
        return {static_cast<void*>(mReferences.get()),
                static_cast<UInt32>(mCount * sizeof(CFStringRef))};
    }

private:
    std::vector<CFOwner<CFStringRef>> mStrings;
    std::unique_ptr<CFStringRef[]> mReferences;
    std::size_t mCount;
};

TEST(ChromaRepresentationTest, FloatsAreByChannelByFrame) {
    ChromaRun run(kAllChromaKeys, {kRate, 2, 4096, 0});
    for (const auto& [key, size] : std::vector<std::pair<std::string, std::size_t>>{
             {kPitchClassKey, 12}, {kCorrelationKey, 24}, {kCentroidKey, 6}}) {
        std::vector<std::vector<float>> payloads;
        std::vector<QelAudioAnalysisBlock> blocks;
        for (std::size_t b = 0; b < 6; ++b) { // three frames of two channels
            payloads.emplace_back(size);
            for (std::size_t i = 0; i < size; ++i) {
                payloads[b][i] = static_cast<float>(100 * b + i) + 0.25f;
            }
        }
        for (std::vector<float>& payload : payloads) {
            blocks.push_back({payload.data(), static_cast<UInt32>(size * sizeof(float))});
        }
        const Dictionary dictionary = Represent(run, key, blocks);
        const auto channels = Elements(Channels(dictionary, key));
        ASSERT_EQ(2u, channels.size());
        for (std::size_t c = 0; c < 2; ++c) {
            const auto frames = Elements(channels[c]);
            ASSERT_EQ(3u, frames.size());
            for (std::size_t f = 0; f < 3; ++f) {
                EXPECT_EQ(payloads[2 * f + c], Numbers(frames[f])) << key;
            }
        }
    }
}

TEST(ChromaRepresentationTest, WorksWithinTheCallback) {
    ChromaRun run(kAllChromaKeys, {kRate, 2, 4096, 0});
    std::vector<std::string> seen;
    run.onDelivery = [&](CFStringRef name, UInt32 count, QelAudioAnalysisBlock* blocks) {
        const std::string key = ToText(name);
        const Dictionary dictionary = Represent(run, key, {blocks, blocks + count});
        const auto channels = Elements(Channels(dictionary, key));
        ASSERT_EQ(2u, channels.size()) << key;
        for (std::size_t c = 0; c < 2; ++c) {
            const auto text = [&] { return ToText(static_cast<CFStringRef>(blocks[c].mData)); };
            if (key == kGlobalKey) {
                EXPECT_EQ(text(), ToText(static_cast<CFStringRef>(channels[c])));
            } else if (key == kDominantKey) {
                EXPECT_EQ(std::vector<std::string>{text()}, Names(channels[c]));
            } else {
                const auto numbers = Numbers(Elements(channels[c]).at(0));
                ASSERT_EQ(blocks[c].mDataByteSize, numbers.size() * sizeof(float));
                EXPECT_EQ(0, std::memcmp(blocks[c].mData, numbers.data(), blocks[c].mDataByteSize));
            }
        }
        seen.push_back(key);
    };
    run.Push(MusicLike(kRate, 2, kChromaFrame));
    EXPECT_EQ(0, run.Process());
    EXPECT_EQ((std::vector<std::string>{kDominantKey, kPitchClassKey, kCorrelationKey, kCentroidKey,
                                        kGlobalKey}),
              seen);
}

// Element f of the array in the block of frame f, which is not the form of the data callback.
TEST(KeyRepresentationTest, DominantKeyReadsTheElementOfItsFrame) {
    ChromaRun run({kDominantKey}, {kRate, 2, 4096, 0});
    Payload left0({"a0", "a1", "a2"});
    Payload right0({"b0", "b1", "b2"});
    Payload left1({"c0", "c1", "c2"});
    Payload right1({"d0", "d1"});
    Payload left2({"e0", "e1", "e2"});
    Payload right2({"f0", "f1", "f2", "f3"});
    const Dictionary dictionary = Represent(run, kDominantKey,
                                            {left0.Block(), right0.Block(), left1.Block(),
                                             right1.Block(), left2.Block(), right2.Block()});
    EXPECT_EQ((std::vector<std::vector<std::string>>{{"a0", "c1", "e2"}, {"b0", "d1", "f2"}}),
              NamesByChannel(Channels(dictionary, kDominantKey)));
}

TEST(KeyRepresentationTest, DominantKeyTakesOneArrayForAllFrames) {
    ChromaRun run({kDominantKey}, {kRate, 1, 4096, 0});
    Payload names({"F major", "A Minor", "F# major"});
    const QelAudioAnalysisBlock block = names.Block();
    const Dictionary dictionary = Represent(run, kDominantKey, {block, block, block});
    EXPECT_EQ((std::vector<std::vector<std::string>>{{"F major", "A Minor", "F# major"}}),
              NamesByChannel(Channels(dictionary, kDominantKey)));
}

// What a block does not hold is left out, and never read.
TEST(KeyRepresentationTest, DominantKeyStopsAtTheEndOfABlock) {
    ChromaRun run({kDominantKey}, {kRate, 1, 4096, 0});
    Payload one({"a0"});
    Payload other({"b0"});
    Payload third({"c0", "c1", "c2"});
    const Dictionary dictionary =
        Represent(run, kDominantKey, {one.Block(), other.Block(), third.Block()});
    EXPECT_EQ((std::vector<std::vector<std::string>>{{"a0", "c2"}}),
              NamesByChannel(Channels(dictionary, kDominantKey)));
    // A part of a reference is none.
    QelAudioAnalysisBlock cut = one.Block();
    cut.mDataByteSize = 7;
    const Dictionary nothing = Represent(run, kDominantKey, {cut});
    EXPECT_EQ((std::vector<std::vector<std::string>>{{}}),
              NamesByChannel(Channels(nothing, kDominantKey)));
}

TEST(KeyRepresentationTest, GlobalKeyIsOneStringPerChannel) {
    ChromaRun run({kDominantKey, kGlobalKey}, {kRate, 3, 4096, 0});
    const CFOwner<CFStringRef> texts[] = {MakeString("one"), MakeString("two"),
                                          MakeString("three")};
    std::vector<QelAudioAnalysisBlock> blocks;
    for (const CFOwner<CFStringRef>& text : texts) {
        // The sizes of all but the first are not told.
        blocks.push_back(
            {const_cast<void*>(static_cast<const void*>(text.Get())), blocks.empty() ? 8u : 0u});
    }
    const Dictionary dictionary = Represent(run, kGlobalKey, blocks);
    EXPECT_EQ((std::vector<std::string>{"one", "two", "three"}),
              Names(Channels(dictionary, kGlobalKey)));
}

TEST(KeyRepresentationTest, GlobalKeyNeedsNotBeAskedFor) {
    ChromaRun run({kCentroidKey}, {kRate, 1, 4096, 0});
    const CFOwner<CFStringRef> text = MakeString("B Minor");
    const Dictionary dictionary =
        Represent(run, kGlobalKey, {{const_cast<void*>(static_cast<const void*>(text.Get())), 8}});
    EXPECT_EQ(std::vector<std::string>{"B Minor"}, Names(Channels(dictionary, kGlobalKey)));
}

TEST(KeyRepresentationTest, StringsOutliveTheirBlocks) {
    ChromaRun run({kDominantKey}, {kRate, 1, 4096, 0});
    auto names = std::make_unique<Payload>(std::vector<const char*>{"kept"});
    const Dictionary dictionary = Represent(run, kDominantKey, {names->Block()});
    names.reset();
    EXPECT_EQ((std::vector<std::vector<std::string>>{{"kept"}}),
              NamesByChannel(Channels(dictionary, kDominantKey)));
}

TEST(KeyRepresentationTest, AKeyWithoutAnOwnerHasNone) {
    ChromaRun run(kAllChromaKeys, {kRate, 1, 4096, 0});
    std::array<float, 12> values{};
    for (const char* key : {"no such key", "tempo", "harmonic pitch class profile"}) {
        EXPECT_EQ(nullptr, Represent(run, key, {{values.data(), 48}}).Get()) << key;
    }
}

} // namespace
} // namespace qel::test
