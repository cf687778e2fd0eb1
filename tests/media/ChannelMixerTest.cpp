#include "media/ChannelMixer.h"

#include <gtest/gtest.h>

#include <vector>

namespace qel::media {
namespace {

TEST(ChannelMixerTest, MonoIsTheMeanOfAllChannels) {
    ChannelMixer mixer(3, 2, ChannelMix::Mono);
    ASSERT_EQ(mixer.OutputChannels(), 1u);
    for (std::size_t c = 0; c < 3; ++c) {
        mixer.Input()[c][0] = static_cast<float>(c); // 0, 1, 2: mean 1
        mixer.Input()[c][1] = c == 1 ? -3.0f : 0.0f; // mean -1
    }
    const auto mixed = mixer.Mix(2);
    EXPECT_EQ(mixed[0][0], 1.0f);
    EXPECT_EQ(mixed[0][1], -1.0f);
}

TEST(ChannelMixerTest, EqualChannelsGiveExactlyOneOfThem) {
    ChannelMixer mixer(7, 1, ChannelMix::Mono);
    for (std::size_t c = 0; c < 7; ++c) {
        mixer.Input()[c][0] = 0.1f;
    }
    EXPECT_EQ(mixer.Mix(1)[0][0], 0.1f);
}

TEST(ChannelMixerTest, KeptChannelsPassUnchanged) {
    ChannelMixer mixer(2, 1, ChannelMix::Keep);
    mixer.Input()[0][0] = 0.25f;
    mixer.Input()[1][0] = -0.75f;
    ASSERT_EQ(mixer.OutputChannels(), 2u);
    const auto mixed = mixer.Mix(1);
    EXPECT_EQ(mixed[0][0], 0.25f);
    EXPECT_EQ(mixed[1][0], -0.75f);
}

TEST(ChannelMixerTest, TheSamplesOfOneBlockDoNotReachTheNext) {
    ChannelMixer mixer(2, 1, ChannelMix::Mono);
    for (int block = 1; block <= 3; ++block) {
        mixer.Input()[0][0] = static_cast<float>(block);
        mixer.Input()[1][0] = static_cast<float>(block);
        EXPECT_EQ(mixer.Mix(1)[0][0], static_cast<float>(block));
    }
}

} // namespace
} // namespace qel::media
