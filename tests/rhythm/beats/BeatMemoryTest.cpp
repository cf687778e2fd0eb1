// How the memory of the beat keys grows with the stream: the greatest resident set of a child
// process that analyzes a long stream, less that of one that analyzes a shorter one.

#include "tests/harness/ChildPeak.h"
#include "tests/rhythm/beats/BeatRun.h"

#include <gtest/gtest.h>

#include <cmath>

namespace qel::test {
namespace {

constexpr double kRate = 44100.0;
constexpr std::size_t kLoopSeconds = 10;

// Runs in the child. The audio is one loop, over and over, so that the stream itself takes no
// memory. A bar of 2 s, so that the loop joins.
bool AnalyzesLoops(const std::vector<std::string>& keys, UInt32 channels, std::size_t loops,
                   bool isDeclared) {
    const Audio loop(channels, DrumTrack(kRate, {.seconds = double{kLoopSeconds}}));
    const std::size_t frames = loops * loop[0].size();
    BeatRun run(keys, {kRate, channels, 4096, isDeclared ? static_cast<SInt64>(frames) : 0});
    for (std::size_t i = 0; i < loops; ++i) {
        run.Push(loop);
    }
    const BeatResults results = run.Process();
    return results.status == 0 && results.order.size() == keys.size();
}

double PeakBytes(const std::vector<std::string>& keys, UInt32 channels, std::size_t loops,
                 bool isDeclared) {
    return ChildPeakBytes([&] { return AnalyzesLoops(keys, channels, loops, isDeclared); });
}

// Floats that each further sample of a channel adds at the peak.
double FloatsPerSample(const std::vector<std::string>& keys, UInt32 channels, bool isDeclared) {
    constexpr std::size_t kShortLoops = 6;
    constexpr std::size_t kLongLoops = 24;
    const double shorter = PeakBytes(keys, channels, kShortLoops, isDeclared);
    const double longer = PeakBytes(keys, channels, kLongLoops, isDeclared);
    const double samples = static_cast<double>((kLongLoops - kShortLoops) * kLoopSeconds) * kRate *
                           static_cast<double>(channels);
    return (longer - shorter) / sizeof(float) / samples;
}

class BeatMemoryTest : public testing::TestWithParam<std::tuple<UInt32, bool>> {
protected:
    void SetUp() override {
        if (QEL_SANITIZED) {
            GTEST_SKIP() << "the checker's own memory grows with the work done";
        }
    }
    double Growth(const std::vector<std::string>& keys) const {
        const double growth =
            FloatsPerSample(keys, std::get<0>(GetParam()), std::get<1>(GetParam()));
        RecordProperty("milliFloatsPerSample", static_cast<int>(std::lround(1000.0 * growth)));
        return growth;
    }
};

// One value of the detection function per 128 samples, and what is made of it; and for the meter
// one value per 441 samples.
TEST_P(BeatMemoryTest, EverythingTakesLessThanAFifthOfAFloatPerSample) {
    const double growth = Growth(kAllBeatKeys);
    EXPECT_GT(growth, 1.0 / 128.0); // less would be no measurement
    EXPECT_LT(growth, 0.2);
}

INSTANTIATE_TEST_SUITE_P(ChannelsDeclared, BeatMemoryTest,
                         testing::Combine(testing::Values(1u, 2u), testing::Bool()));

} // namespace
} // namespace qel::test
