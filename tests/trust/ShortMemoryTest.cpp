// A process whose addresses are limited, as by `ulimit -v`, with limits from what hardly starts to
// what is enough. Below the library, too, nothing may end the process or wait: not the transforms,
// not the C library, not the system. Each life is one of a copy of this process, so that every key
// starts cold.

#include "tests/trust/ShortMemory.h"

#include "tests/trust/KeyLife.h"
#include "tests/trust/KeyNames.h"
#include "tests/trust/SharedMemory.h"

#include <Accelerate/Accelerate.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <new>
#include <string>
#include <vector>

namespace qel::trust {
namespace {

// Beyond what a life was seen to take. A heap that cannot grow where it stands takes its next
// megabytes elsewhere, which the life that was measured did not need.
constexpr std::size_t kMarginBytes = std::size_t{16} << 20;

bool IsExhaustive() {
    return std::getenv("QEL_TRUST_EXHAUSTIVE") != nullptr;
}

class ShortMemoryTest : public testing::TestWithParam<std::string> {
protected:
    void SetUp() override {
        if (QEL_SANITIZED) {
            GTEST_SKIP() << "checkers take addresses of their own";
        }
    }
};

TEST_P(ShortMemoryTest, EveryLifeEndsWithAStatusOrBadAlloc) {
    KeyLife life(GetParam(), 8000, 1, 24576); // three seconds: every key delivers
    SharedMemory<Digests> expected;
    const std::size_t enough = AddressesTaken([&] { return life.Run(*expected); });
    ASSERT_GT(enough, 0u);
    const auto run = [&] {
        Digests results;
        const int outcome = life.Run(results);
        return outcome == KeyLife::kAllDelivered && results != *expected ? KeyLife::kOtherResults
                                                                         : outcome;
    };
    const std::size_t steps = IsExhaustive() ? 200 : 10;
    std::size_t refused = 0;
    for (std::size_t step = 0; step < steps; ++step) {
        const Ending ending = RunShortOfMemory(enough / steps * step, run);
        const bool ranOut = ending == Ending{Ending::Kind::kReturned, KeyLife::kRanOut};
        EXPECT_TRUE(ranOut || (ending == Ending{Ending::Kind::kReturned, KeyLife::kAllDelivered}))
            << testing::PrintToString(ending) << " with " << step << " of " << steps;
        refused += ranOut ? 1 : 0;
    }
    EXPECT_GT(refused, 0u);
    EXPECT_EQ(RunShortOfMemory(enough + kMarginBytes, run),
              (Ending{Ending::Kind::kReturned, KeyLife::kAllDelivered}));
    std::printf("%zu bytes, %zu of %zu refused\n", enough, refused, steps);
}

// By the binary logarithm of the points. Where plans are large, so is what they need for a run.
class ShortMemoryTransformTest : public testing::TestWithParam<vDSP_Length> {};

TEST_P(ShortMemoryTransformTest, TransformIsMadeAndRunOrRefused) {
    if (QEL_SANITIZED) {
        GTEST_SKIP() << "checkers take addresses of their own";
    }
    const vDSP_Length log2Points = GetParam();
    std::vector<float> re(std::size_t{1} << log2Points);
    std::vector<float> im(re.size());
    const DSPSplitComplex vector{re.data(), im.data()};
    const auto run = [&] {
        re.front() = 1; // an impulse, whose spectrum is flat
        try {
            const FFTSetup setup = vDSP_create_fftsetup(log2Points, kFFTRadix2);
            if (setup == nullptr) {
                return KeyLife::kRanOut;
            }
            vDSP_fft_zip(setup, &vector, 1, log2Points, kFFTDirection_Forward);
            vDSP_destroy_fftsetup(setup);
        } catch (const std::bad_alloc&) {
            return KeyLife::kRanOut;
        }
        const auto isOne = [](float value) { return value == 1; };
        return std::ranges::all_of(re, isOne) ? KeyLife::kAllDelivered : KeyLife::kOtherResults;
    };
    const std::size_t enough = AddressesTaken(run);
    const std::size_t steps = IsExhaustive() ? 200 : 10;
    std::size_t refused = 0;
    for (std::size_t step = 0; step < steps; ++step) {
        const Ending ending = RunShortOfMemory(enough / steps * step, run);
        const bool ranOut = ending == Ending{Ending::Kind::kReturned, KeyLife::kRanOut};
        ASSERT_TRUE(ranOut || (ending == Ending{Ending::Kind::kReturned, KeyLife::kAllDelivered}))
            << testing::PrintToString(ending) << " with " << step << " of " << steps;
        refused += ranOut ? 1 : 0;
    }
    EXPECT_GT(refused, 0u);
}

INSTANTIATE_TEST_SUITE_P(Sizes, ShortMemoryTransformTest, testing::Range<vDSP_Length>(0, 22, 3));

INSTANTIATE_TEST_SUITE_P(Keys, ShortMemoryTest, testing::ValuesIn(AllKeys()), KeyTestName);

} // namespace
} // namespace qel::trust
