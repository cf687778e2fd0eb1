#include "support/audio/CAAudioChannelLayout.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <limits>
#include <new>
#include <string>

namespace qel::core {
namespace {

TEST(CAReferenceCountedTest, LastReleaseDestroysTheObject) {
    class Watched : public CAReferenceCounted {
    public:
        explicit Watched(bool& destroyed) : mDestroyed(destroyed) {}
        ~Watched() override { mDestroyed = true; }

    private:
        bool& mDestroyed;
    };
    bool destroyed = false;
    auto* const object = new Watched(destroyed);
    object->retain();
    object->release();
    EXPECT_FALSE(destroyed);
    object->release();
    EXPECT_TRUE(destroyed);
}

TEST(CAAudioChannelLayoutTest, UsualAndAlternateTagsByChannelCount) {
    struct Case {
        unsigned int mChannels;
        UInt32 mUsual;
        UInt32 mAlternate;
    };
    // The published numbers of the tags.
    for (const Case c :
         {Case{1, 6553601, 6553601}, Case{2, 6619138, 6946818}, Case{4, 7077892, 7012356},
          Case{5, 7143429, 7733253}, Case{6, 7208966, 9109510}, Case{7, 9175047, 9175047},
          Case{8, 7274504, 7274504}}) {
        for (const bool alternate : {false, true}) {
            const CAAudioChannelLayout layout(c.mChannels, alternate);
            EXPECT_EQ(layout.Layout()->mChannelLayoutTag, alternate ? c.mAlternate : c.mUsual);
            EXPECT_EQ(layout.Layout()->mNumberChannelDescriptions, 0u);
            EXPECT_EQ(layout.NumberChannels(), c.mChannels);
            EXPECT_EQ(layout.Size(), 12u);
        }
    }
}

TEST(CAAudioChannelLayoutTest, OtherCountsHaveUnknownDescriptions) {
    for (const unsigned int channels : {0u, 3u, 9u, 20u}) {
        const CAAudioChannelLayout wrapper(channels, false);
        const AudioChannelLayout* const layout = wrapper;
        EXPECT_EQ(layout->mChannelLayoutTag, 0u);
        EXPECT_EQ(layout->mChannelBitmap, 0u);
        ASSERT_EQ(layout->mNumberChannelDescriptions, channels);
        EXPECT_EQ(wrapper.Size(), 12 + 20 * channels);
        for (unsigned int i = 0; i < channels; ++i) {
            const AudioChannelDescription& channel = layout->mChannelDescriptions[i];
            EXPECT_EQ(static_cast<SInt32>(channel.mChannelLabel), -1);
            EXPECT_EQ(channel.mChannelFlags, 0u);
            for (const float coordinate : channel.mCoordinates) {
                EXPECT_EQ(coordinate, 0.0f);
            }
        }
    }
}

TEST(CAAudioChannelLayoutTest, NumberOfChannelsComesFromDescriptionsBitmapOrTag) {
    AudioChannelLayout layout{};
    layout.mNumberChannelDescriptions = 1;
    EXPECT_EQ(CAAudioChannelLayout::NumberChannels(layout), 1u);
    layout.mChannelLayoutTag = 65536;
    layout.mChannelBitmap = 0x8000010D;
    EXPECT_EQ(CAAudioChannelLayout::NumberChannels(layout), 5u);
    layout.mChannelLayoutTag = 6619138;
    EXPECT_EQ(CAAudioChannelLayout::NumberChannels(layout), 2u);
}

TEST(CAAudioChannelLayoutTest, ByteSizeHasAHeaderAndDescriptions) {
    EXPECT_EQ(CAAudioChannelLayout::CalculateByteSize(0), 12u);
    EXPECT_EQ(CAAudioChannelLayout::CalculateByteSize(3), 72u);
    EXPECT_THROW(CAAudioChannelLayout::CalculateByteSize(std::numeric_limits<unsigned int>::max()),
                 std::bad_alloc);
    EXPECT_THROW(CAAudioChannelLayout(400000000u, false), std::bad_alloc);
}

TEST(CAAudioChannelLayoutTest, LayoutWithoutDescriptionsCanBeReadAsAWholeRecord) {
    const CAAudioChannelLayout stereo(2, false);
    const AudioChannelLayout copy = *stereo.Layout(); // the address sanitizer watches this
    EXPECT_EQ(copy.mChannelDescriptions[0].mChannelLabel, 0u);
}

TEST(CAAudioChannelLayoutTest, CopiesShareOneLayoutAndOutliveEachOther) {
    CAAudioChannelLayout outer;
    EXPECT_FALSE(outer.IsValid());
    const AudioChannelLayout* shared = nullptr;
    {
        const CAAudioChannelLayout original(3, false);
        const CAAudioChannelLayout copy(original);
        shared = original.Layout();
        EXPECT_EQ(copy.Layout(), shared);
        outer = copy;
        const CAAudioChannelLayout& same = outer;
        outer = same;
    }
    EXPECT_EQ(outer.Layout(), shared);
    EXPECT_EQ(outer.NumberChannels(), 3u);
}

TEST(CAAudioChannelLayoutTest, ChangingOneCopyLeavesTheOther) {
    const CAAudioChannelLayout original(3, false);
    CAAudioChannelLayout copy(original);
    copy.SetWithTag(6619138);
    EXPECT_EQ(copy.NumberChannels(), 2u);
    EXPECT_EQ(original.NumberChannels(), 3u);
}

TEST(CAAudioChannelLayoutTest, BareLayoutIsCopiedAndEqualityGoesByContent) {
    AudioChannelLayout* const bare = CAAudioChannelLayout::Create(2);
    bare->mChannelDescriptions[1].mChannelLabel = kAudioChannelLabel_Right;
    const CAAudioChannelLayout layout(bare);
    EXPECT_NE(layout.Layout(), bare);
    EXPECT_TRUE(*layout.Layout() == *bare);
    bare->mChannelDescriptions[1].mCoordinates[2] = 1;
    EXPECT_FALSE(*layout.Layout() == *bare);
    CAAudioChannelLayout other;
    EXPECT_FALSE(layout == other);
    other = bare;
    EXPECT_FALSE(layout == other);
    other = layout.Layout();
    EXPECT_TRUE(layout == other);
    CAAudioChannelLayout::Destroy(bare);
    other = static_cast<const AudioChannelLayout*>(nullptr);
    EXPECT_FALSE(other.IsValid());
    EXPECT_EQ(other.Size(), 0u);
    EXPECT_TRUE(other == CAAudioChannelLayout());
}

TEST(CAAudioChannelLayoutTest, PrintingShowsEveryDescription) {
    std::FILE* const stream = std::tmpfile();
    ASSERT_NE(stream, nullptr);
    CAAudioChannelLayout(0, false).Print(stream);
    CAAudioChannelLayout(3, false).Print(stream);
    CAAudioChannelLayout().Print(stream);
    std::rewind(stream);
    char text[400] = {};
    EXPECT_GT(std::fread(text, 1, sizeof text - 1, stream), 0u);
    std::fclose(stream);
    EXPECT_EQ(std::string(text), "AudioChannelLayout: tag 0, bitmap 0x0, 0 descriptions\n"
                                 "AudioChannelLayout: tag 0, bitmap 0x0, 3 descriptions\n"
                                 "  [0] label -1, flags 0x0, (0, 0, 0)\n"
                                 "  [1] label -1, flags 0x0, (0, 0, 0)\n"
                                 "  [2] label -1, flags 0x0, (0, 0, 0)\n"
                                 "AudioChannelLayout: none\n");
}

} // namespace
} // namespace qel::core
