// The loops behind the phase properties against plain ones.

#include "timbre/PhaseVectors.h"

#include "spectral/phase/UnWrap.h"
#include "tests/platform/vector/InstructionSets.h"
#include "timbre/PrincArg.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <numbers>
#include <random>
#include <vector>

namespace qel::core {
namespace {

constexpr float kPi = std::numbers::pi_v<float>;

// Fewer than a vector of any processor has, whole vectors, and some more.
constexpr std::size_t kCounts[] = {1, 2, 3, 7, 16, 33, 512, 1003};

using Floats = std::vector<float>;

Floats Uniform(std::size_t count, float lowest, float highest, unsigned seed) {
    std::mt19937 random(seed);
    std::uniform_real_distribution<float> values(lowest, highest);
    Floats floats(count);
    for (float& value : floats) {
        value = values(random);
    }
    return floats;
}

// Every third one at an end of the range or beside it, or zero, where roundings decide the side.
Floats Angles(std::size_t count, unsigned seed) {
    Floats angles = Uniform(count, -kPi, kPi, seed);
    const float edges[] = {kPi, -kPi, 0.0f, std::nextafter(kPi, 0.0f), std::nextafter(-kPi, 0.0f)};
    for (std::size_t i = 0; i < count; i += 3) {
        angles[i] = edges[i / 3 % std::size(edges)];
    }
    return angles;
}

Floats Continued(const Floats& angles) {
    Floats phases(angles.size());
    const Floats terms(angles.size());
    ContinuePhases(angles.data(), terms.data(), phases.data(), angles.size());
    return phases;
}

Floats PlainlyContinued(const Floats& angles) {
    Floats phases(angles.size());
    const auto count = static_cast<unsigned>(angles.size());
    UnWrap(angles.data(), phases.data(), count);
    PrincArg(phases.data(), count);
    return phases;
}

Floats PlainDifferences(const Floats& now, const Floats& before) {
    Floats differences(now.size());
    for (std::size_t i = 0; i < now.size(); ++i) {
        differences[i] = before[i] - now[i];
    }
    PrincArg(differences.data(), static_cast<unsigned>(differences.size()));
    return differences;
}

TEST(PhaseVectorsTest, PhasesAreUnwrappedAndWrappedToTheLastBit) {
    qel::testing::ForEachInstructionSet([] {
        for (const std::size_t count : kCounts) {
            for (unsigned seed = 1; seed <= 20; ++seed) {
                const Floats angles = Angles(count, seed);
                ASSERT_EQ(Continued(angles), PlainlyContinued(angles)) << count << ' ' << seed;
            }
        }
    });
}

// Half a turn and more each time, so that turns add up to as many as there can be.
TEST(PhaseVectorsTest, ManyTurnsComeOutTheSame) {
    for (const float step : {-2.0f, -3.1f, 2.0f, 3.1f}) {
        Floats angles(1003);
        for (std::size_t i = 0; i < angles.size(); ++i) {
            angles[i] = std::remainder(static_cast<float>(i) * 2.0f * step, 2.0f * kPi);
        }
        EXPECT_EQ(Continued(angles), PlainlyContinued(angles)) << step;
    }
}

TEST(PhaseVectorsTest, FromAnAngleThatIsNoNumberOnThereAreNone) {
    Floats angles = Angles(100, 3);
    angles[40] = std::nanf("");
    const Floats phases = Continued(angles);
    const Floats expected = PlainlyContinued(angles);
    for (std::size_t i = 0; i < phases.size(); ++i) {
        EXPECT_EQ(i >= 40, std::isnan(phases[i])) << i;
        EXPECT_TRUE(phases[i] == expected[i] || i >= 40) << i;
    }
}

TEST(PhaseVectorsTest, TermsAreSummedInRisingOrder) {
    qel::testing::ForEachInstructionSet([] {
        for (const std::size_t count : kCounts) {
            const Floats angles = Angles(count, 4);
            const Floats terms = Uniform(count, 0.0f, 1e3f, 5);
            float sum = 0.0f;
            for (const float term : terms) {
                sum += term;
            }
            Floats phases(count);
            EXPECT_EQ(ContinuePhases(angles.data(), terms.data(), phases.data(), count), sum);
        }
    });
}

TEST(PhaseVectorsTest, NothingHasNoPhasesAndNoSum) {
    EXPECT_EQ(ContinuePhases(nullptr, nullptr, nullptr, 0), 0.0f);
}

TEST(PhaseVectorsTest, DifferencesAreThePlainOnesToTheLastBit) {
    qel::testing::ForEachInstructionSet([] {
        for (const std::size_t count : kCounts) {
            Floats magnitudesBefore(count);
            Floats phasesBefore = Angles(count, 6);
            Floats differencesBefore = Angles(count, 7);
            std::reverse(differencesBefore.begin(), differencesBefore.end()); // edges meet others
            const Floats magnitudes = Uniform(count, 0.0f, 100.0f, 8);
            const Floats phases = Angles(count, 9);
            const Floats first = PlainDifferences(phases, phasesBefore);
            const Floats expected = PlainDifferences(first, differencesBefore);

            Floats second(count);
            Floats weighted(count);
            FollowPhases(magnitudes.data(), phases.data(),
                         {magnitudesBefore.data(), phasesBefore.data(), differencesBefore.data()},
                         count, second.data(), weighted.data());
            EXPECT_EQ(second, expected);
            for (std::size_t i = 0; i < count; ++i) {
                ASSERT_EQ(weighted[i], magnitudes[i] * expected[i]);
            }
            EXPECT_EQ(magnitudesBefore, magnitudes);
            EXPECT_EQ(phasesBefore, phases);
            EXPECT_EQ(differencesBefore, first);
        }
    });
}

// All differences of single precision around those where the side changes.
TEST(PhaseVectorsTest, AroundTheEndsDifferencesAreThePlainOnes) {
    Floats before;
    for (const float end : {-2.0f * kPi, -kPi, 0.0f, kPi, 2.0f * kPi}) {
        for (float angle = end - 1e-4f; angle < end + 1e-4f;
             angle = std::max(std::nextafter(angle, 100.0f), angle + 1e-9f)) {
            before.push_back(angle);
        }
    }
    const std::size_t count = before.size();
    const Floats none(count);
    const Floats expected = PlainDifferences(none, before);
    Floats magnitudes(count);
    Floats differences(count);
    Floats second(count);
    Floats weighted(count);
    FollowPhases(none.data(), none.data(), {magnitudes.data(), before.data(), differences.data()},
                 count, second.data(), weighted.data());
    for (std::size_t i = 0; i < count; ++i) {
        ASSERT_EQ(differences[i], expected[i]) << i;
    }
}

TEST(PhaseVectorsTest, ThePredictionIsTheExponentialOfARealNumber) {
    qel::testing::ForEachInstructionSet([] {
        for (const std::size_t count : kCounts) {
            const Floats magnitudes = Uniform(count, 0.0f, 10.0f, 10);
            Floats before = Uniform(count, 0.0f, 10.0f, 11);
            Floats phases = Angles(count, 12);
            Floats differences = Uniform(count, -kPi, kPi, 13);
            Floats errors(count);
            FindPredictionErrors(magnitudes.data(),
                                 {before.data(), phases.data(), differences.data()}, count,
                                 errors.data());
            for (std::size_t i = 0; i < count; ++i) {
                // Rounded: the exponent, the exponential, two units of which are 2.4e-7, the
                // product and the difference.
                const double predicted =
                    static_cast<double>(before[i]) *
                    std::exp(static_cast<double>(phases[i]) + static_cast<double>(differences[i]));
                const double bound =
                    6e-8 * (static_cast<double>(magnitudes[i]) + predicted * (2.0 * kPi + 6.0));
                ASSERT_NEAR(errors[i], std::abs(static_cast<double>(magnitudes[i]) - predicted),
                            bound);
            }
        }
    });
}

TEST(PhaseVectorsTest, AnExponentThatIsNoNumberPredictsNone) {
    float magnitude = 1.0f;
    float before = 1.0f;
    float phase = std::nanf("");
    float difference = 0.0f;
    float error = 0.0f;
    FindPredictionErrors(&magnitude, {&before, &phase, &difference}, 1, &error);
    EXPECT_TRUE(std::isnan(error));
}

} // namespace
} // namespace qel::core
