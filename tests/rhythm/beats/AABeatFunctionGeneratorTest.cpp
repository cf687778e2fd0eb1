// What of the beat generator cannot be reached, or not be seen, through the exported functions: the
// stored signals, windows, and runs of down beats.

#include "tests/harness/TestSignals.h"
#include "tests/rhythm/beats/BeatAssertions.h"
#include "tests/rhythm/beats/BeatGeneratorFixture.h"

#include <bit>
#include <cmath>
#include <limits>

namespace qel::test {
namespace {

constexpr double kRate = 44100.0;

TEST_F(BeatGeneratorTest, ReportsTheSizeOfABlockOfEveryKey) {
    Make(2, {kBeatKey});
    const auto sizeFor = [this](const std::string& key) {
        return mGenerator->GetSizeOfAnalysisDataForKey(MakeString(key).Get());
    };
    EXPECT_EQ(12u, sizeFor(kTempoKey));
    EXPECT_EQ(16u, sizeFor(kBeatKey));
    EXPECT_EQ(4u, sizeFor(kMeterKey));
    EXPECT_EQ(16u, sizeFor(kDownBeatKey));
    EXPECT_EQ(0u, sizeFor("tempo"));
}

TEST_F(BeatGeneratorTest, TheDetectionFunctionIsTheReferences) {
    const Audio audio = MusicLike(kRate, 2, 44100 * 3);
    Make(2, {kBeatKey});
    Push(audio);
    const Audio function = Access::Function(*mGenerator, 2);
    for (std::size_t c = 0; c < 2; ++c) {
        const std::vector<double> expected = DetectionFunction(audio[c], kRate);
        ASSERT_EQ(expected.size(), function[c].size());
        double top = 0.0;
        for (const double value : expected) {
            top = std::max(top, std::abs(value));
        }
        for (std::size_t i = 0; i < expected.size(); ++i) {
            // Decibels of up to 200 in single precision differ by 1e-5 per band; the rises are
            // means of those, times the mean magnitude that makes up the value itself.
            EXPECT_NEAR(expected[i], function[c][i], 1e-5 * top) << "frame " << i;
        }
    }
}

TEST_F(BeatGeneratorTest, TheFunctionOfSilenceIsZero) {
    Make(1, {kBeatKey});
    Push(Silence(1, 20000));
    const Audio function = Access::Function(*mGenerator, 1);
    EXPECT_EQ(std::vector<float>(NumFunctionFrames(20000)), function[0]);
}

TEST_F(BeatGeneratorTest, AudioIsResampledOnlyForTheMeter) {
    const Audio audio = MusicLike(kRate, 2, 30001);
    core::MeterAudio expected(2, kRate);
    BufferList list(audio, 0, 30001);
    expected.Push(*list.Get(), 30001);
    for (const std::string& key : {kMeterKey, kDownBeatKey}) {
        Make(2, {key});
        Push(audio);
        EXPECT_EQ(expected.Signals(), Access::MeterSignals(*mGenerator));
    }
    for (const std::string& key : {kTempoKey, kBeatKey}) {
        Make(2, {key});
        EXPECT_FALSE(Access::KeepsMeterAudio(*mGenerator));
    }
}

// `strengths` in the order of finding; what comes back are the places in that order, descending as
// times ascend.
class DownBeatRunTest : public BeatGeneratorTest {
protected:
    std::vector<std::size_t> PlacesFor(const std::vector<float>& strengths, UInt32 meter) {
        Make(1, {kDownBeatKey});
        mEvents.clear();
        Access::FindDownBeats(*mGenerator, strengths, meter);
        EXPECT_EQ(1u, mEvents.size());
        std::vector<std::size_t> places;
        double last = -1.0;
        for (const Event& event : mEvents.at(0)) {
            EXPECT_GT(event.timeSeconds, last);
            last = event.timeSeconds;
            const auto place =
                strengths.size() - 1 - static_cast<std::size_t>(std::lround(event.timeSeconds));
            EXPECT_EQ(std::bit_cast<std::uint32_t>(strengths.at(place)),
                      std::bit_cast<std::uint32_t>(event.strength));
            places.insert(places.begin(), place);
        }
        return places;
    }

    // The given number of beats, all weak but one.
    static std::vector<float> StrongAt(std::size_t anchor, std::size_t count) {
        std::vector<float> strengths(count, 0.25f);
        strengths.at(anchor) = 1.0f;
        return strengths;
    }

    using Found = std::vector<std::size_t>;
};

// Backwards one step short of the last that fits: index 2 is left out, as meant.
TEST_F(DownBeatRunTest, TheBackwardRunStopsOneShort) {
    EXPECT_EQ((Found{6, 10, 14, 18}), PlacesFor(StrongAt(10, 20), 4));
}

// Even the anchor itself is then left out, as meant.
TEST_F(DownBeatRunTest, AnAnchorWithinTheFirstBarIsLeftOut) {
    EXPECT_EQ((Found{6, 10}), PlacesFor(StrongAt(2, 12), 4));
    EXPECT_EQ((Found{3, 6, 9}), PlacesFor(StrongAt(0, 10), 3));
    EXPECT_EQ(Found{}, PlacesFor(StrongAt(2, 3), 3));
}

TEST_F(DownBeatRunTest, TheForwardRunStaysWithinTheBeats) {
    EXPECT_EQ((Found{4, 8}), PlacesFor(StrongAt(4, 12), 4));
    EXPECT_EQ((Found{4, 8, 12}), PlacesFor(StrongAt(4, 13), 4));
    EXPECT_EQ((Found{5, 8, 11}), PlacesFor(StrongAt(11, 12), 3));
}

TEST_F(DownBeatRunTest, OfEqualStrengthsTheFirstFoundIsTheAnchor) {
    std::vector<float> strengths = StrongAt(5, 14);
    strengths[9] = strengths[11] = 1.0f;
    EXPECT_EQ((Found{5, 8, 11}), PlacesFor(strengths, 3));
    EXPECT_EQ((Found{3, 6}), PlacesFor(std::vector<float>(7, 0.5f), 3));
}

TEST_F(DownBeatRunTest, StrengthsThatAreNoNumbersComeLast) {
    std::vector<float> strengths = StrongAt(7, 14);
    strengths[0] = strengths[3] = std::numeric_limits<float>::quiet_NaN();
    strengths[13] = std::numeric_limits<float>::quiet_NaN();
    EXPECT_EQ((Found{4, 7, 10, 13}), PlacesFor(strengths, 3));
    strengths[9] = std::numeric_limits<float>::infinity();
    EXPECT_EQ((Found{3, 6, 9, 12}), PlacesFor(strengths, 3));
}

TEST_F(DownBeatRunTest, WithoutMeterOrBeatsThereAreNone) {
    EXPECT_EQ(Found{}, PlacesFor(StrongAt(10, 20), 0));
    EXPECT_EQ(Found{}, PlacesFor({}, 4));
    EXPECT_EQ(Found{}, PlacesFor({1.0f}, 4));
}

TEST_F(DownBeatRunTest, TheReferenceAgreesForAllPlaces) {
    for (const UInt32 meter : {3u, 4u, 5u, 7u}) {
        for (std::size_t count = 1; count < 24; ++count) {
            for (std::size_t anchor = 0; anchor < count; ++anchor) {
                const std::vector<float> strengths = StrongAt(anchor, count);
                ASSERT_EQ(DownBeatIndices(strengths, meter), PlacesFor(strengths, meter))
                    << anchor << " of " << count << " by " << meter;
            }
        }
    }
}

// exp(-0.5 (0.7 octaves)^2) about the lag of the centre tempo, which is 0.1 above the index.
TEST(BeatWindowTest, ThePreferenceIsAGaussianInOctaves) {
    // 60 x 200.2 / (100 + 0.1) = 120 BPM.
    std::vector<float> window(201);
    core::MakeCenteredWindow1(window.data(), 200.2f, 120.0f, 201);
    EXPECT_NEAR(1.0, window[100], 1e-6);
    for (std::size_t i = 0; i < window.size(); ++i) {
        const double octaves = std::log2(100.1 / (0.1 + static_cast<double>(i)));
        EXPECT_NEAR(std::exp(-0.5 * 0.49 * octaves * octaves), window[i], 1e-6) << i;
    }
}

TEST(BeatWindowTest, TheSmoothingIsAGaussianAroundTheStart) {
    std::vector<float> window(10, -1.0f);
    core::MakeCenteredWindow2(window.data(), 4.25f, -1.0f, 0.5f, 9);
    for (std::size_t i = 0; i < 9; ++i) {
        const double u = (4.25 - static_cast<double>(i)) * 0.5;
        EXPECT_NEAR(std::exp(-0.5 * u * u), window[i], 1e-6) << i;
    }
    EXPECT_EQ(-1.0f, window[9]);
}

TEST(BeatWindowTest, TheTransitionIsAGaussianInTheLogarithm) {
    std::vector<float> window(61);
    core::MakeSkewWindow1(window.data(), -80.0f, 1.0f, -1.0f / 40.0f, 61);
    EXPECT_NEAR(1.0, window[40], 1e-6);
    // Twice and half the distance weigh the same.
    EXPECT_NEAR(window[0], window[60], 1e-6);
    for (std::size_t i = 0; i < window.size(); ++i) {
        const double u = 6.0 * std::log((80.0 - static_cast<double>(i)) / 40.0);
        EXPECT_NEAR(std::exp(-0.5 * u * u), window[i], 2e-6) << i;
    }
}

} // namespace
} // namespace qel::test
