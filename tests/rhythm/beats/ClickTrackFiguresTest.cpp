// Click tracks over the whole range of tempi: the tempo to the whole BPM, and beats that follow the
// clicks at a constant distance, which is told in advance.

#include "tests/rhythm/beats/BeatAssertions.h"
#include "tests/rhythm/beats/ClickTrack.h"

#include <cmath>

namespace qel::test {
namespace {

constexpr double kTrackSeconds = 30.0;
constexpr double kUnsettledSeconds = 2.0;
constexpr double kGreatestDeviationSeconds = 0.02;
// Required by the contract: the chain of beats begins at the last frame, wherever that is, and
// moves onto the clicks from there. Half a period of distance takes at most six beats.
constexpr std::size_t kBeatsThatLeadOver = 6;

struct Spread {
    double mean = 0.0;
    double deviation = 0.0;
};

// Beat minus click, seconds. `aboutSeconds` decides which click a beat belongs to.
Spread OffsetsFromClicks(const std::vector<Event>& beats, std::size_t freeAtEnd, double clicksBPM,
                         double aboutSeconds) {
    const double distance = 60.0 / clicksBPM;
    double sum = 0.0;
    double squares = 0.0;
    double count = 0.0;
    for (std::size_t i = 0; i + freeAtEnd < beats.size(); ++i) {
        if (beats[i].timeSeconds < kUnsettledSeconds) {
            continue;
        }
        const double fromFirst = beats[i].timeSeconds - kFirstClickSeconds;
        const double click = distance * std::round((fromFirst - aboutSeconds) / distance);
        sum += fromFirst - click;
        squares += (fromFirst - click) * (fromFirst - click);
        count += 1.0;
    }
    EXPECT_GE(count, 15.0);
    const double mean = sum / count;
    return {mean, std::sqrt(std::max(0.0, squares / count - mean * mean))};
}

class ClickSweep : public testing::TestWithParam<std::tuple<double, int>> {
protected:
    double RateHz() const { return std::get<0>(GetParam()); }
    double ClicksBPM() const { return std::get<1>(GetParam()); }

    // The offset to expect under the tempo that the beats follow.
    double Expected(const std::array<float, 3>& tempi) const {
        const auto [tempo1, tempo2, confidence] = tempi;
        const double beatBPM = static_cast<double>(confidence < 0.5f ? tempo2 : tempo1);
        // A beat on every click or on every second one: else there would be beats without clicks.
        EXPECT_TRUE(std::abs(beatBPM - ClicksBPM()) <= 0.5 ||
                    std::abs(2.0 * beatBPM - ClicksBPM()) <= 1.0)
            << beatBPM;
        return BeatOffsetSeconds(60.0 * FunctionRate(RateHz()) / beatBPM, RateHz());
    }
};

TEST_P(ClickSweep, OneOfBothTempiIsExact) {
    ASSERT_TRUE(RulesAllow(ClicksBPM(), RateHz()));
    const BeatResults results =
        Analyze({ClickTrack(RateHz(), ClicksBPM(), kTrackSeconds)}, RateHz(), {kTempoKey});
    ASSERT_EQ(0, results.status);
    const auto bpm = static_cast<float>(ClicksBPM());
    EXPECT_TRUE(results.tempi.at(0)[0] == bpm || results.tempi.at(0)[1] == bpm)
        << results.tempi.at(0)[0] << " and " << results.tempi.at(0)[1];
}

TEST_P(ClickSweep, BeatsFollowTheClicksAtTheOffsetToldInAdvance) {
    const BeatResults results = Analyze({ClickTrack(RateHz(), ClicksBPM(), kTrackSeconds)},
                                        RateHz(), {kTempoKey, kBeatKey});
    ASSERT_EQ(0, results.status);
    const double expected = Expected(results.tempi.at(0));
    const Spread offsets =
        OffsetsFromClicks(results.beats.at(0), kBeatsThatLeadOver, ClicksBPM(), expected);
    EXPECT_LT(offsets.deviation, kGreatestDeviationSeconds);
    // One frame: half of one because beats and the peaks of the function stand on whole frames, and
    // half of one for what the formula takes as small, the steps of the window and the noise that a
    // click rises from.
    EXPECT_NEAR(expected, offsets.mean, 1.0 / FunctionRate(RateHz()));
    RecordProperty("offsetMicroseconds", static_cast<int>(std::lround(1e6 * offsets.mean)));
    RecordProperty("expectedMicroseconds", static_cast<int>(std::lround(1e6 * expected)));
    RecordProperty("deviationMicroseconds", static_cast<int>(std::lround(1e6 * offsets.deviation)));
}

// Where the last frame is where a beat belongs, the beats follow the clicks up to the end.
TEST_P(ClickSweep, BeatsFollowTheClicksToTheEndWhereTheTrackEndsOnABeat) {
    const std::vector<float> whole = ClickTrack(RateHz(), ClicksBPM(), kTrackSeconds);
    const BeatResults sounding = Analyze({whole}, RateHz(), {kTempoKey});
    ASSERT_EQ(0, sounding.status);
    const double expected = Expected(sounding.tempi.at(0));
    const double clicks = std::floor((kTrackSeconds - 2.0) * ClicksBPM() / 60.0);
    const double end = kFirstClickSeconds + clicks * 60.0 / ClicksBPM() + expected;
    const auto lastFrame = static_cast<std::size_t>(std::lround(end * FunctionRate(RateHz())));
    const auto length = static_cast<std::ptrdiff_t>(lastFrame * kBeatHopSize + kBeatFrameSize);
    const BeatResults results =
        Analyze({{whole.begin(), whole.begin() + length}}, RateHz(), {kTempoKey, kBeatKey});
    ASSERT_EQ(0, results.status);
    ASSERT_EQ(static_cast<double>(lastFrame) / FunctionRate(RateHz()),
              results.beats.at(0).back().timeSeconds);
    const Spread offsets = OffsetsFromClicks(results.beats.at(0), 0, ClicksBPM(), expected);
    EXPECT_LT(offsets.deviation, kGreatestDeviationSeconds);
    EXPECT_NEAR(expected, offsets.mean, 1.0 / FunctionRate(RateHz()));
}

INSTANTIATE_TEST_SUITE_P(TempiRates, ClickSweep,
                         testing::Combine(testing::Values(44100.0, 48000.0),
                                          testing::Range(60, 201, 7)));

// 230 BPM lie above the range, and so does the lag of its period, so that twice that lag is the
// best: 115 BPM. Of its related lags the half means 230 BPM again, and only the double one is
// within the range.
TEST(ClickTrackFiguresTest, ATempoAboveTheRangeIsReadAsItsHalf) {
    for (const double rateHz : {44100.0, 48000.0}) {
        ASSERT_FALSE(RulesAllow(230.0, rateHz));
        const BeatResults results =
            Analyze({ClickTrack(rateHz, 230.0, kTrackSeconds)}, rateHz, {kTempoKey});
        ASSERT_EQ(0, results.status);
        EXPECT_EQ(115.0f, results.tempi.at(0)[0]);
        EXPECT_NEAR(57.5, static_cast<double>(results.tempi.at(0)[1]), 0.5);
    }
}

// With the slow hint the shortest lag is that of 110 BPM. Below it clicks are found, as the second
// tempo, since half of it is nearer to the hint's 60 BPM; above it even their lag is out of sight.
TEST(ClickTrackFiguresTest, TheSlowRangeEndsAtAHundredAndTenBPM) {
    for (const double rateHz : {44100.0, 48000.0}) {
        const BeatResults below =
            Analyze({ClickTrack(rateHz, 108.0, kTrackSeconds)}, rateHz, {kTempoKey}, 0.0f);
        ASSERT_EQ(0, below.status);
        EXPECT_EQ(54.0f, below.tempi.at(0)[0]);
        EXPECT_EQ(108.0f, below.tempi.at(0)[1]);
        const BeatResults above =
            Analyze({ClickTrack(rateHz, 116.0, kTrackSeconds)}, rateHz, {kTempoKey}, 0.0f);
        ASSERT_EQ(0, above.status);
        EXPECT_EQ(58.0f, above.tempi.at(0)[0]);
        EXPECT_EQ(29.0f, above.tempi.at(0)[1]);
    }
}

} // namespace
} // namespace qel::test
