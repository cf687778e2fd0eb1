#include "readings/onsets/AttackPlace.h"

#include "tests/readings/Signals.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <span>
#include <vector>

namespace qel::readings {
namespace {

constexpr double kBlock = 32;

// Noise of an amplitude, and from a sample on noise of another one.
std::vector<float> step(std::size_t at, float before, float after) {
    std::vector<float> samples = test::noise(0.18, 1); // 7938 samples
    for (std::size_t i = 0; i < samples.size(); ++i) {
        samples[i] *= i < at ? before : after;
    }
    return samples;
}

TEST(AttackPlaceTest, ARiseOutOfSilenceIsFoundToABlock) {
    for (const std::size_t at : {1000u, 1024u, 3333u, 5017u}) {
        AttackPlace place;
        place.add(step(at, 0, 0.5f));
        const auto attack = static_cast<double>(at);
        for (const double off : {-400.0, -100.0, 0.0, 100.0, 400.0}) {
            EXPECT_NEAR(place.near(attack + off), attack, kBlock) << at << ' ' << off;
        }
    }
}

TEST(AttackPlaceTest, ARiseFarAwayIsNotTaken) {
    AttackPlace place;
    place.add(step(4000, 0, 0.5f));
    EXPECT_EQ(place.near(3000), 3000);
    EXPECT_EQ(place.near(5000), 5000);
}

// Noise fluctuates by a few decibels, so 9 and 20 dB are clear of the limit.
TEST(AttackPlaceTest, ARiseOfLessThan15DecibelsIsNotSteep) {
    AttackPlace soft;
    soft.add(step(4000, 0.125f, 0.35f)); // 9 dB
    EXPECT_EQ(soft.near(4100), 4100);
    AttackPlace steep;
    steep.add(step(4000, 0.05f, 0.5f)); // 20 dB
    EXPECT_NEAR(steep.near(4100), 4000, kBlock);
}

TEST(AttackPlaceTest, SilenceComesBeforeTheStream) {
    AttackPlace place;
    place.add(step(0, 0, 0.5f));
    EXPECT_NEAR(place.near(200), 0, kBlock);
    EXPECT_NEAR(place.near(0), 0, kBlock);
}

TEST(AttackPlaceTest, NothingWasAdded) {
    const AttackPlace place;
    EXPECT_EQ(place.near(100), 100);
}

TEST(AttackPlaceTest, AClickOfOneSampleIsFoundInItsBlock) {
    for (std::size_t at = 3200; at < 3232; ++at) {
        std::vector<float> samples(8000);
        samples[at] = 0.8f;
        AttackPlace place;
        place.add(samples);
        EXPECT_NEAR(place.near(3300), static_cast<double>(at), kBlock) << at;
    }
}

TEST(AttackPlaceTest, CutsDoNotMatter) {
    const std::vector<float> samples = step(3333, 0.01f, 0.5f);
    AttackPlace whole;
    whole.add(samples);
    AttackPlace cut;
    for (std::span<const float> rest(samples); !rest.empty();) {
        const std::size_t length = std::min<std::size_t>(rest.size(), 1 + rest.size() % 97);
        cut.add(rest.first(length));
        rest = rest.subspan(length);
    }
    EXPECT_EQ(cut.near(3400), whole.near(3400));
}

TEST(AttackPlaceTest, ResetBeginsAnotherStream) {
    AttackPlace used;
    used.add(step(2000, 0.3f, 0.9f));
    used.reset();
    used.add(step(4000, 0, 0.5f));
    AttackPlace fresh;
    fresh.add(step(4000, 0, 0.5f));
    EXPECT_EQ(used.near(4100), fresh.near(4100));
}

TEST(AttackPlaceTest, TheLast8192SamplesOfALongStreamAreRemembered) {
    AttackPlace place;
    place.add(std::vector<float>(1 << 16));
    place.add(step(4000, 0, 0.5f));
    EXPECT_NEAR(place.near((1 << 16) + 4050), (1 << 16) + 4000, kBlock);
}

} // namespace
} // namespace qel::readings
