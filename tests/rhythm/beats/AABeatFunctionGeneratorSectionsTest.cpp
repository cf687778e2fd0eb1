// Streams of more than one section of 200,000 function frames, and functions that audio rarely
// makes. The function is stored directly.

#include "tests/rhythm/beats/BeatAssertions.h"
#include "tests/rhythm/beats/BeatGeneratorFixture.h"

#include <cmath>
#include <functional>
#include <random>

namespace qel::test {
namespace {

constexpr double kRate = 44100.0;
constexpr SInt32 kNotEnoughData = -3864;
const std::vector<std::string> kTempoAndBeats = {kTempoKey, kBeatKey};
// Samples of a stream of 300,000 function frames.
constexpr UInt32 kLongStream = 300000 * 128;

// Peaks of changing height at a steady distance, a little narrower than the smoothing.
std::vector<float> PulseFunction(std::size_t frames, double distance, std::uint32_t seed,
                                 double start = 40.0) {
    constexpr double kWidth = 3.0;
    std::mt19937 generator(seed);
    const auto uniform = [&] { return static_cast<double>(generator()) / 4294967296.0; };
    std::vector<float> function(frames);
    for (float& value : function) {
        value = static_cast<float>(0.05 * uniform());
    }
    for (double place = start; place < static_cast<double>(frames); place += distance) {
        const double height = 0.5 + 0.5 * uniform();
        const auto first = static_cast<std::ptrdiff_t>(place) - 12;
        for (std::ptrdiff_t i = std::max<std::ptrdiff_t>(0, first);
             i < first + 25 && i < static_cast<std::ptrdiff_t>(frames); ++i) {
            const double u = (static_cast<double>(i) - place) / kWidth;
            function[static_cast<std::size_t>(i)] +=
                static_cast<float>(height * std::exp(-0.5 * u * u));
        }
    }
    return function;
}

std::vector<double> Widened(std::span<const float> values) {
    return {values.begin(), values.end()};
}

class AABeatFunctionGeneratorSectionsTest : public BeatGeneratorTest {
protected:
    // The delivered beats from one function frame to another.
    std::vector<Event> BeatsBetween(double first, double end) const {
        std::vector<Event> beats;
        for (const Event& beat : mEvents.at(0)) {
            const double frame = beat.timeSeconds * FunctionRate(kRate);
            if (frame > first - 0.5 && frame < end - 0.5) {
                beats.push_back(beat);
            }
        }
        return beats;
    }
};

TEST_F(AABeatFunctionGeneratorSectionsTest, TheFirstSectionsTempoLeadsThroughAll) {
    std::vector<float> function = PulseFunction(kSectionFrames, 172.265625, 12);
    const std::vector<float> faster = PulseFunction(50000, 140.0, 13);
    function.insert(function.end(), faster.begin(), faster.end());
    Make(1, kTempoAndBeats, kLongStream);
    Access::AppendFunction(*mGenerator, {function});
    ASSERT_EQ(0, mGenerator->Process(1, nullptr, nullptr));

    const std::vector<double> all = Widened(function);
    const std::span<const double> first(all.data(), kSectionFrames);
    const std::span<const double> second(all.data() + kSectionFrames, 50000);
    const Tempi tempi = EstimateTempi(first, kRate);
    ASSERT_EQ(120.0f, tempi.tempo1);
    ExpectTempi(tempi, mTempi.at(0));
    ExpectBeats(TrackBeats(first, kRate, tempi), kRate, 0.0, BeatsBetween(0.0, 200000.0));
    ExpectBeats(TrackBeats(second, kRate, tempi), kRate, 200000.0,
                BeatsBetween(200000.0, 250000.0));
    EXPECT_EQ(249999.0 / FunctionRate(kRate), mEvents[0].back().timeSeconds);
    for (std::size_t i = 1; i < mEvents[0].size(); ++i) {
        ASSERT_GT(mEvents[0][i].timeSeconds, mEvents[0][i - 1].timeSeconds);
    }
}

// All scores are 0, so each link leads back by two periods; nothing can be normalised.
TEST_F(AABeatFunctionGeneratorSectionsTest, AnEmptyLaterSectionStepsByTwoPeriods) {
    std::vector<float> function = PulseFunction(kSectionFrames, 172.265625, 1);
    function.resize(kSectionFrames + 1000);
    Make(1, kTempoAndBeats, kLongStream);
    Access::AppendFunction(*mGenerator, {function});
    ASSERT_EQ(0, mGenerator->Process(1, nullptr, nullptr));
    ASSERT_EQ(120.0f, mTempi.at(0)[0]);
    const std::vector<Event> beats = BeatsBetween(200000.0, 201000.0);
    // 344.53125 frames each, the fraction cut: 999, 654, 309.
    ASSERT_EQ(3u, beats.size());
    EXPECT_EQ(200309.0 / FunctionRate(kRate), beats[0].timeSeconds);
    EXPECT_EQ(200654.0 / FunctionRate(kRate), beats[1].timeSeconds);
    EXPECT_EQ(200999.0 / FunctionRate(kRate), beats[2].timeSeconds);
    for (const Event& beat : beats) {
        EXPECT_FALSE(std::isfinite(beat.strength));
    }
}

TEST_F(AABeatFunctionGeneratorSectionsTest, ALaterSectionMayBeOneFrame) {
    std::vector<float> function = PulseFunction(kSectionFrames + 1, 172.265625, 1);
    Make(1, kTempoAndBeats, kLongStream);
    Access::AppendFunction(*mGenerator, {function});
    ASSERT_EQ(0, mGenerator->Process(1, nullptr, nullptr));
    const std::vector<Event> beats = BeatsBetween(200000.0, 200001.0);
    ASSERT_EQ(1u, beats.size());
    EXPECT_EQ(1.0f, beats[0].strength);
}

TEST_F(AABeatFunctionGeneratorSectionsTest, TwoSectionsShareTheProgress) {
    const std::vector<float> function = PulseFunction(kSectionFrames + 5000, 172.265625, 1);
    Make(1, kTempoAndBeats, kLongStream);
    Access::AppendFunction(*mGenerator, {function});
    ASSERT_EQ(0, mGenerator->Process(1, Report, static_cast<BeatGeneratorTest*>(this)));
    std::vector<double> expected = {7.5, 17.5, 20.0, 22.5, 25.0};
    const struct {
        double start;
        double length;
    } kSections[] = {{25.0, 200000.0}, {75.0, 5000.0}};
    for (const auto& [start, length] : kSections) {
        for (double i = 0.0; i < length; i += 2000.0) {
            expected.push_back(start + i / length * 0.3 * 25.0);
        }
        expected.push_back(start + 0.4 * 25.0);
        for (double i = 0.0; i < length; i += 2000.0) {
            expected.push_back(start + (0.4 + i / length * 0.2) * 25.0);
        }
        for (const double fraction : {0.7, 0.8, 0.9, 1.0}) {
            expected.push_back(start + fraction * 25.0);
        }
    }
    expected.push_back(100.0);
    ASSERT_EQ(expected.size(), mProgress.size());
    for (std::size_t i = 0; i < expected.size(); ++i) {
        // Sums of a few single-precision terms up to 100.
        EXPECT_NEAR(expected[i], mProgress[i], 1e-4) << i;
    }
}

TEST_F(AABeatFunctionGeneratorSectionsTest, WithoutFlushAWholeSectionIsEnough) {
    const std::vector<float> function = PulseFunction(kSectionFrames, 172.265625, 1);
    Make(1, {kTempoKey}, kLongStream);
    Access::AppendFunction(*mGenerator, {{function.begin(), function.end() - 1}});
    EXPECT_EQ(kNotEnoughData, mGenerator->Process(0, nullptr, nullptr));
    EXPECT_TRUE(mTempi.empty());
    Access::AppendFunction(*mGenerator, {{function.end() - 1, function.end()}});
    EXPECT_EQ(0, mGenerator->Process(0, nullptr, nullptr));
    ExpectTempi(EstimateTempi(Widened(function), kRate), mTempi.at(0));
}

// What comes after a section that was taken without a flush is a stretch of its own, whose times
// go on after it.
TEST_F(AABeatFunctionGeneratorSectionsTest, AfterASectionWithoutFlushTheStreamGoesOn) {
    Make(1, {kBeatKey}, kLongStream);
    Access::AppendFunction(*mGenerator, {PulseFunction(kSectionFrames, 172.265625, 12)});
    ASSERT_EQ(0, mGenerator->Process(0, nullptr, nullptr));
    const std::vector<float> rest = PulseFunction(3000, 172.265625, 9);
    Access::AppendFunction(*mGenerator, {rest});
    EXPECT_EQ(kNotEnoughData, mGenerator->Process(0, nullptr, nullptr));
    ASSERT_EQ(0, mGenerator->Process(1, nullptr, nullptr));
    ASSERT_EQ(2u, mEvents.size());
    EXPECT_EQ(199999.0 / FunctionRate(kRate), mEvents[0].back().timeSeconds);
    const std::vector<double> wide = Widened(rest);
    ExpectBeats(TrackBeats(wide, kRate, EstimateTempi(wide, kRate)), kRate, 200000.0, mEvents[1]);
}

// The order that counts for the down beats. Without audio there is no meter, and what was found
// stays where it is.
TEST_F(AABeatFunctionGeneratorSectionsTest,
       StoredBeatsDescendWithinASectionAndAscendFromOneToTheNext) {
    constexpr std::size_t kRest = 3000;
    Make(1, {kBeatKey, kMeterKey}, kLongStream);
    Access::AppendFunction(*mGenerator, {PulseFunction(kSectionFrames + kRest, 172.265625, 12)});
    ASSERT_EQ(-3, mGenerator->Process(1, nullptr, nullptr));
    const std::vector<double> times = Access::StoredBeatTimes(*mGenerator, 0);
    ASSERT_EQ(mEvents.at(0).size(), times.size());
    const double border = static_cast<double>(kSectionFrames) / FunctionRate(kRate);
    const auto second =
        std::find_if(times.begin(), times.end(), [border](double time) { return time >= border; });
    ASSERT_GT(second - times.begin(), 1000);
    ASSERT_GT(times.end() - second, 10);
    EXPECT_TRUE(std::is_sorted(times.begin(), second, std::greater<>()));
    EXPECT_TRUE(std::is_sorted(second, times.end(), std::greater<>()));
    EXPECT_GE(times.back(), border);
    EXPECT_EQ(static_cast<double>(kSectionFrames + kRest - 1) / FunctionRate(kRate), *second);
}

// The later segment's times start after all frames of the one before.
TEST_F(AABeatFunctionGeneratorSectionsTest, AnotherSegmentGoesOnInTime) {
    const std::vector<float> function = PulseFunction(3000, 172.265625, 1);
    Make(1, {kBeatKey}, kLongStream);
    for (int segment = 0; segment < 3; ++segment) {
        Access::AppendFunction(*mGenerator, {function});
        ASSERT_EQ(0, mGenerator->Process(1, nullptr, nullptr));
    }
    ASSERT_EQ(3u, mEvents.size());
    for (std::size_t i = 0; i < mEvents[0].size(); ++i) {
        const double frame = std::round(mEvents[0][i].timeSeconds * FunctionRate(kRate));
        EXPECT_EQ((3000.0 + frame) / FunctionRate(kRate), mEvents[1].at(i).timeSeconds);
        EXPECT_EQ((6000.0 + frame) / FunctionRate(kRate), mEvents[2].at(i).timeSeconds);
    }
}

// The smoothed function peaks at frame 0, a period before the next beat; yet the chain leads to
// frame 1, as meant.
TEST_F(AABeatFunctionGeneratorSectionsTest, FrameZeroIsNeverAPredecessor) {
    constexpr double kPeriod = 172.265625;
    const double start = -SmoothingShift(static_cast<float>(kPeriod));
    const std::vector<float> function = PulseFunction(3000, kPeriod, 5, start);
    Make(1, kTempoAndBeats, kLongStream);
    Access::AppendFunction(*mGenerator, {function});
    ASSERT_EQ(0, mGenerator->Process(1, nullptr, nullptr));
    ASSERT_EQ(120.0f, mTempi.at(0)[0]);
    EXPECT_EQ(1.0 / FunctionRate(kRate), mEvents.at(0).front().timeSeconds);
    EXPECT_NEAR(172.0, mEvents[0].at(1).timeSeconds * FunctionRate(kRate), 1.5);
}

// At 2^k values the autocorrelation wraps at its own length.
TEST_F(AABeatFunctionGeneratorSectionsTest, ALengthOfAPowerOfTwoWraps) {
    const std::vector<float> function = PulseFunction(1024, 172.265625, 7);
    Make(1, kTempoAndBeats, kLongStream);
    Access::AppendFunction(*mGenerator, {function});
    ASSERT_EQ(0, mGenerator->Process(1, nullptr, nullptr));
    const std::vector<double> wide = Widened(function);
    const Tempi tempi = EstimateTempi(wide, kRate);
    ExpectTempi(tempi, mTempi.at(0));
    ExpectBeats(TrackBeats(wide, kRate, tempi), kRate, 0.0, mEvents.at(0));
}

// Where the second score is the higher one, the second tempo leads, though it is reported second.
// It takes a function without clear peaks: noise that changes slowly.
TEST_F(AABeatFunctionGeneratorSectionsTest, ALowConfidenceLetsTheSecondTempoLead) {
    for (std::uint32_t seed = 1; seed < 300; ++seed) {
        std::mt19937 generator(seed);
        std::vector<float> function(3000);
        double slow = 0.0;
        double slower = 0.0;
        for (float& value : function) {
            slow += 0.03 * (static_cast<double>(generator()) / 2147483648.0 - 1.0 - slow);
            slower += 0.03 * (slow - slower);
            value = static_cast<float>(slower);
        }
        const std::vector<double> wide = Widened(function);
        const Tempi tempi = EstimateTempi(wide, kRate);
        if (tempi.status != 0 || tempi.confidence >= 0.49f || tempi.hint != 1) {
            continue;
        }
        const Tracking tracking = TrackBeats(wide, kRate, tempi);
        if (tempi.tempo1 == tempi.tempo2 || tracking.narrowestChoice < 1e-5) {
            continue;
        }
        Make(1, kTempoAndBeats, kLongStream);
        Access::AppendFunction(*mGenerator, {function});
        ASSERT_EQ(0, mGenerator->Process(1, nullptr, nullptr));
        ExpectTempi(tempi, mTempi.at(0));
        ExpectBeats(tracking, kRate, 0.0, mEvents.at(0));
        return;
    }
    FAIL() << "no function with a low confidence among these";
}

} // namespace
} // namespace qel::test
