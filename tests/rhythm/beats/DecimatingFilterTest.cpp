#include "rhythm/beats/DecimatingFilter.h"

#include "tests/platform/vector/InstructionSets.h"
#include "tests/platform/vector/VectorTesting.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <vector>

namespace qel::core {
namespace {

using testing::Noise;
using Vector = std::vector<float>;

Vector Decimated(const Vector& filter, const Vector& samples, std::size_t step, std::size_t count) {
    Vector out(count + 1, -77.0f);
    DecimatingFilter(filter.data(), filter.size(), samples.data(), step, count, out.data());
    EXPECT_EQ(-77.0f, out.back());
    out.pop_back();
    return out;
}

void ExpectPlainSums(std::size_t taps, std::size_t step, std::size_t count) {
    const Vector filter = Noise(taps, 1);
    const Vector samples = Noise((count - 1) * step + taps, 2);
    const Vector values = Decimated(filter, samples, step, count);
    for (std::size_t r = 0; r < count; ++r) {
        double expected = 0.0;
        for (std::size_t n = 0; n < taps; ++n) {
            expected += double{filter[n]} * double{samples[r * step + n]};
        }
        // Partial sums in single precision of terms below 1.
        EXPECT_NEAR(expected, values[r], 1e-7 * static_cast<double>(taps) + 1e-12)
            << taps << " taps, step " << step << ", value " << r << " of " << count;
    }
}

TEST(DecimatingFilterTest, EqualsThePlainSumsForAnyNumberOfTapsAndValues) {
    // Blocks of no vector, of vectors and a rest, and of more taps than are taken at a time.
    for (const std::size_t step : {1u, 7u, 8u, 80u, 441u, 1100u}) {
        for (const std::size_t taps : {0u, 1u, 300u, 441u, 4u * 441u, 5000u}) {
            for (const std::size_t count : {1u, 7u, 8u, 41u}) {
                ExpectPlainSums(taps, step, count);
            }
        }
    }
}

TEST(DecimatingFilterTest, AValueDoesNotDependOnTheValuesBesideIt) {
    const Vector filter = Noise(333, 3);
    const Vector samples = Noise(333 + 40 * 41, 4);
    const Vector values = Decimated(filter, samples, 41, 41);
    for (std::size_t r = 0; r < values.size(); ++r) {
        const Vector from(samples.begin() + static_cast<std::ptrdiff_t>(r * 41), samples.end());
        EXPECT_EQ(Decimated(filter, from, 41, 1)[0], values[r]) << r;
    }
}

TEST(DecimatingFilterTest, ARunThatIsFormedInSlicesGivesTheSameValues) {
    for (const std::size_t step : {1u, 41u, 441u, 1100u}) {
        for (const std::size_t taps : {1u, 2000u, 33289u}) {
            const Vector filter = Noise(taps, 7);
            const Vector samples = Noise(taps + 31 * step, 8);
            DecimatingRun run(taps, step, 32);
            std::size_t done = 0;
            while (!run.IsDone()) {
                const Vector moved = samples;
                run.AddSlice(filter.data(), moved.data());
                ASSERT_GT(run.TapsDone(), done);
                ASSERT_LE(run.TapsDone(), done + 2048);
                done = run.TapsDone();
            }
            EXPECT_EQ(taps, done);
            Vector values(32);
            run.Finish(values.data());
            EXPECT_EQ(Decimated(filter, samples, step, 32), values) << taps << ' ' << step;
        }
    }
}

// A slice of four blocks of 441 taps over all values takes longer than a short push otherwise does.
TEST(DecimatingFilterTest, ASliceAddsNoMoreThanAQuarterOfItsProductsAtOnce) {
    constexpr std::size_t kTaps = 33289;
    constexpr std::size_t kStep = 441;
    const Vector filter = Noise(kTaps, 9);
    const Vector samples = Noise(kTaps + 31 * kStep, 10);
    DecimatingRun run(kTaps, kStep, 32);
    for (std::size_t done = 0; !run.IsDone(); done = run.TapsDone()) {
        run.AddSlice(filter.data(), samples.data());
        ASSERT_LE(run.TapsDone(), done + kStep);
    }
}

TEST(DecimatingFilterTest, EveryInstructionSetGivesTheSameValues) {
    const Vector filter = Noise(3001, 5);
    const Vector samples = Noise(3001 + 12 * 441, 6);
    Vector expected;
    qel::testing::ForEachInstructionSet([&] {
        const Vector values = Decimated(filter, samples, 441, 13);
        if (expected.empty()) {
            expected = values;
        }
        EXPECT_EQ(expected, values);
    });
    EXPECT_EQ(13u, expected.size());
}

TEST(DecimatingFilterTest, AnInfiniteSampleSpoilsTheValuesThatReachItAlone) {
    const Vector filter(100, 0.0f);
    for (const std::size_t place : {0u, 150u, 280u, 289u}) {
        Vector samples(290, 1.0f);
        samples[place] = std::numeric_limits<float>::infinity();
        const Vector values = Decimated(filter, samples, 19, 11);
        for (std::size_t r = 0; r < values.size(); ++r) {
            EXPECT_EQ(r * 19 <= place && place < r * 19 + 100, std::isnan(values[r])) << r;
        }
    }
}

} // namespace
} // namespace qel::core
