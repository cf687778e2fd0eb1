// How the memory of "onset data" grows with the stream: the greatest resident set of a child
// process that analyzes a long stream, less that of one that analyzes a shorter one.

#include "tests/harness/ChildPeak.h"
#include "tests/harness/TestSignals.h"
#include "tests/rhythm/onsets/OnsetRun.h"

#include <gtest/gtest.h>

#include <cmath>

namespace qel::test {
namespace {

constexpr double kRate = 44100.0;
constexpr std::size_t kLoopFrames = 10 * 44100;

// Runs in the child. The audio is one loop, over and over, so that the stream itself takes no
// memory.
bool AnalyzesLoops(UInt32 channels, std::size_t loops, bool isDeclared) {
    const Audio loop = MusicLike(kRate, channels, kLoopFrames, 1);
    const std::size_t frames = loops * kLoopFrames;
    OnsetRun run({kRate, channels, 4096, isDeclared ? static_cast<SInt64>(frames) : 0});
    for (std::size_t i = 0; i < loops; ++i) {
        run.Push(loop);
    }
    const OnsetResults results = run.Process();
    return results.status == 0 && results.onsets.size() == channels && !results.onsets[0].empty();
}

double PeakBytes(UInt32 channels, std::size_t loops, bool isDeclared) {
    return ChildPeakBytes([&] { return AnalyzesLoops(channels, loops, isDeclared); });
}

class OnsetMemoryTest : public testing::TestWithParam<std::tuple<UInt32, bool>> {};

// A curve of the whole stream as floats, and the sums that it is made of, would be 8.
TEST_P(OnsetMemoryTest, EverySampleTakesLessThanOneAndAHalfBytes) {
    if (QEL_SANITIZED) {
        GTEST_SKIP() << "the checker's own memory grows with the work done";
    }
    constexpr std::size_t kShortLoops = 3;
    constexpr std::size_t kLongLoops = 15;
    const auto [channels, isDeclared] = GetParam();
    const double growth =
        PeakBytes(channels, kLongLoops, isDeclared) - PeakBytes(channels, kShortLoops, isDeclared);
    const double samples = static_cast<double>((kLongLoops - kShortLoops) * kLoopFrames) *
                           static_cast<double>(channels);
    RecordProperty("milliBytesPerSample", static_cast<int>(std::lround(1000.0 * growth / samples)));
    EXPECT_GT(growth / samples, 0.5); // less would be no measurement
    EXPECT_LT(growth / samples, 1.5);
}

INSTANTIATE_TEST_SUITE_P(ChannelsDeclared, OnsetMemoryTest,
                         testing::Combine(testing::Values(1u, 2u), testing::Bool()));

} // namespace
} // namespace qel::test
