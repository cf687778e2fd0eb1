#include "readings/stream/ChannelMix.h"

#include "tests/readings/Signals.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <limits>
#include <vector>

namespace qel::readings::test {
namespace {

Samples scaled(const Samples& samples, float factor) {
    Samples changed = samples;
    std::ranges::transform(changed, changed.begin(), [=](float x) { return factor * x; });
    return changed;
}

Samples later(const Samples& samples, std::size_t count) {
    Samples moved(samples.size());
    std::copy(samples.begin(), samples.end() - static_cast<std::ptrdiff_t>(count),
              moved.begin() + static_cast<std::ptrdiff_t>(count));
    return moved;
}

Samples music() {
    return sum(strokes(times(0.3, 0.5, 4), 4), tone(196, 4, 0.1f));
}

Answers readChannels(const std::vector<Samples>& channels, std::size_t pushFrames = 4096) {
    Reader reader(
        {Reading::Onsets, Reading::Pitch, Reading::Loudness},
        {.sampleRateHz = kRateHz, .channels = static_cast<std::uint32_t>(channels.size())});
    for (std::size_t at = 0; at < channels[0].size(); at += pushFrames) {
        std::vector<const float*> starts;
        for (const Samples& channel : channels) {
            starts.push_back(channel.data() + at);
        }
        reader.push(starts, std::min(pushFrames, channels[0].size() - at));
    }
    return reader.finish();
}

std::vector<double> numbersOf(const Answers& answers) {
    std::vector<double> numbers;
    for (const Onset& onset : *answers.onsets) {
        numbers.push_back(onset.seconds);
    }
    for (const Pitch& pitch : *answers.pitch) {
        numbers.push_back(pitch.frequencyHz);
    }
    return numbers;
}

constexpr float kInf = std::numeric_limits<float>::infinity();
constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();

// As they are, or as the largest amplitude, or as 0 if not finite.
const Samples kOdd{0.5f, kNaN, -kInf, kInf, 2e6f, -3e6f, 1e6f, -1e6f, -0.25f};
const Samples kOddCount{0.5f, 0, 0, 0, 1e6f, -1e6f, 1e6f, -1e6f, -0.25f};

TEST(ChannelMixTest, SamplesThatAreNoAudioCountAsSilenceOrTheLargestAmplitude) {
    for (const std::size_t place : {0u, 3u, 63u}) {
        Samples samples(64 + kOdd.size(), 0.125f);
        Samples expected = samples;
        std::ranges::copy(kOdd, samples.begin() + static_cast<std::ptrdiff_t>(place));
        std::ranges::copy(kOddCount, expected.begin() + static_cast<std::ptrdiff_t>(place));
        Samples mixed(samples.size());
        const float* const channel = samples.data();
        ChannelMix(1).mix({&channel, 1}, 0, mixed);
        EXPECT_EQ(mixed, expected) << place;
    }
}

TEST(ChannelMixTest, EachChannelOfSeveralCountsByItself) {
    const Samples quiet(kOdd.size(), 0.5f);
    const std::vector<const float*> channels{quiet.data(), kOdd.data(), quiet.data(), quiet.data()};
    Samples mixed(kOdd.size());
    ChannelMix(4).mix(channels, 0, mixed);
    for (std::size_t i = 0; i < mixed.size(); ++i) {
        EXPECT_EQ(mixed[i], (0.5f + kOddCount[i] + 0.5f + 0.5f) / 4) << i;
    }
}

TEST(ChannelMixTest, PartsOfABlockAreMixedFromTheirPlaces) {
    const Samples first{1, 2, 3, 4, 5};
    const Samples second{10, 20, 30, 40, 50};
    const std::vector<const float*> channels{first.data(), second.data()};
    for (const std::size_t count : {1u, 2u}) {
        const std::span<const float* const> some = std::span(channels).first(count);
        Samples mixed(3);
        ChannelMix(static_cast<std::uint32_t>(count)).mix(some, 2, mixed);
        EXPECT_EQ(mixed, count == 1 ? (Samples{3, 4, 5}) : (Samples{16.5f, 22, 27.5f}));
    }
}

TEST(ChannelMixTest, OfOppositeChannelsTheFirstIsRead) {
    const Samples first = music();
    const std::vector<double> expected = numbersOf(readChannels({first}));
    for (const float factor : {-1.0f, -0.9f, -0.6f}) {
        const Answers answers = readChannels({first, scaled(first, factor)});
        EXPECT_TRUE(answers.channelsCancel) << factor;
        EXPECT_EQ(answers.warnings().size(), 1u);
        EXPECT_EQ(numbersOf(answers), expected) << factor;
    }
}

// The energy of the sum is (1 + f)^2, that of the difference (1 - f)^2: 10 times for f = -0.519.
TEST(ChannelMixTest, OtherChannelsAreMixedToTheirMean) {
    const Samples first = music();
    for (const float factor : {-0.5f, 0.0f, 0.5f, 1.0f}) {
        const Answers answers = readChannels({first, scaled(first, factor)});
        EXPECT_FALSE(answers.channelsCancel) << factor;
        EXPECT_TRUE(answers.warnings().empty());
        const Samples mean = scaled(first, (1 + factor) / 2);
        EXPECT_EQ(readChannels({mean}).onsets->size(), answers.onsets->size()) << factor;
    }
    EXPECT_FALSE(readChannels({noise(4), later(noise(4), 1000)}).channelsCancel);
    EXPECT_FALSE(readChannels({silence(4), silence(4)}).channelsCancel);
}

TEST(ChannelMixTest, MoreThanTwoChannelsAreMixedToTheirMean) {
    const Samples first = music();
    EXPECT_FALSE(readChannels({first, scaled(first, -1), silence(4)}).channelsCancel);
}

TEST(ChannelMixTest, TheMixDoesNotDependOnTheCuts) {
    const Samples first = music();
    Samples second = scaled(first, -1); // cancels for 2 s
    std::copy(first.begin() + 88200, first.end(), second.begin() + 88200);
    const std::vector<double> whole = numbersOf(readChannels({first, second}, 1000000));
    EXPECT_EQ(whole, numbersOf(readChannels({first, second}, 777)));
}

TEST(ChannelMixTest, AResetForgetsTheEnergies) {
    const Samples first = music();
    const Samples opposite = scaled(first, -1);
    Reader reader({Reading::Onsets}, {.sampleRateHz = kRateHz, .channels = 2});
    reader.push(std::vector<const float*>{first.data(), opposite.data()}, first.size());
    EXPECT_TRUE(reader.finish().channelsCancel);
    reader.reset();
    reader.push(std::vector<const float*>{first.data(), first.data()}, first.size());
    EXPECT_FALSE(reader.finish().channelsCancel);
}

} // namespace
} // namespace qel::readings::test
