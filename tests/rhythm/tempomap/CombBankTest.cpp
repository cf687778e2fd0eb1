// The bank of combs against one comb after the other to the bit, and its energies against sums from
// scratch in double precision.

#include "rhythm/tempomap/CombBank.h"

#include "rhythm/tempomap/CombSalience.h"
#include "tests/rhythm/tempomap/PlainCombs.h"

#include <gtest/gtest.h>

#include <array>
#include <bit>
#include <cmath>
#include <cstdint>
#include <functional>
#include <limits>
#include <random>
#include <vector>

namespace qel::core {
namespace {

constexpr UInt32 kBands = CombBank::kBands;
constexpr UInt32 kSamples = CombBank::kSamples;

using Frame = std::array<float, kSamples * kBands>; // of one push
using Frames = std::vector<Frame>;

float Feedback(UInt32 comb) {
    return std::pow(0.5f, static_cast<float>(comb + 1) / 516.0f);
}

CombBank Bank(UInt32 lagCount) {
    CombBank bank;
    bank.Allocate(lagCount);
    for (UInt32 i = 0; i < lagCount; ++i) {
        bank.SetGains(i, Feedback(i), 1.0f - Feedback(i));
    }
    return bank;
}

std::vector<float> Energies(CombBank& bank, const Frame& frame, UInt32 lagCount) {
    std::vector<float> energies(std::size_t{kSamples} * lagCount * kBands, -1.0f);
    bank.Push(frame.data(), energies.data());
    return energies;
}

Frames Made(std::size_t count, const std::function<float()>& make) {
    Frames frames(count);
    for (Frame& frame : frames) {
        for (float& x : frame) {
            x = make();
        }
    }
    return frames;
}

Frames Noise(std::size_t count) {
    std::mt19937 generator(5);
    std::uniform_real_distribution<float> value(-1, 1);
    return Made(count, [&] { return value(generator); });
}

// Zeros of both signs, denormal numbers, and numbers whose squares overflow or vanish.
Frames OddNumbers(std::size_t count) {
    std::mt19937 generator(6);
    const std::array<float, 8> odd{0.0f,   -0.0f, 1.0f,   std::numeric_limits<float>::denorm_min(),
                                   1e-20f, 3.0f,  -1e18f, std::numeric_limits<float>::max()};
    std::uniform_int_distribution<std::size_t> index(0, odd.size() - 1);
    return Made(count, [&] { return odd[index(generator)]; });
}

// Noise that is not a number, or infinite, from some samples on.
Frames NoNumbers(std::size_t count) {
    Frames frames = Noise(count);
    frames[count / 4][1] = std::numeric_limits<float>::infinity();
    frames[count / 3][kBands + 2] = std::numeric_limits<float>::quiet_NaN();
    return frames;
}

// The bits, but for those of what is not a number.
std::uint32_t Bits(float x) {
    return std::isnan(x) ? 0x7fc00000u : std::bit_cast<std::uint32_t>(x);
}

void ExpectPlainCombs(const Frames& frames, UInt32 lagCount) {
    std::vector<test::PlainComb> plain;
    for (UInt32 n = 0; n < lagCount * kBands; ++n) {
        const UInt32 i = n / kBands;
        plain.emplace_back(i + 1, Feedback(i), 1.0f - Feedback(i));
    }
    CombBank bank = Bank(lagCount);
    for (std::size_t f = 0; f < frames.size(); ++f) {
        const std::vector<float> energies = Energies(bank, frames[f], lagCount);
        for (std::size_t n = 0; n < energies.size(); ++n) {
            const std::size_t comb = n % plain.size();
            const std::size_t sample = n / plain.size();
            const float expected = plain[comb].Push(frames[f][sample * kBands + n % kBands]);
            ASSERT_EQ(Bits(expected), Bits(energies[n]))
                << "frame " << f << " sample " << sample << " lag " << comb / kBands + 1 << " band "
                << n % kBands << ": " << energies[n] << ", not " << expected;
        }
    }
}

class CombBankTest : public ::testing::TestWithParam<UInt32> {
protected:
    // Twice through the longest store, and a part of it.
    std::size_t Count() const { return GetParam() + 11; }
};

TEST_P(CombBankTest, NoiseGivesTheEnergiesOfPlainCombsToTheBit) {
    ExpectPlainCombs(Noise(Count()), GetParam());
}

TEST_P(CombBankTest, OddNumbersGiveTheEnergiesOfPlainCombsToTheBit) {
    ExpectPlainCombs(OddNumbers(Count()), GetParam());
}

TEST_P(CombBankTest, WhatIsNoNumberGivesTheEnergiesOfPlainCombsToTheBit) {
    ExpectPlainCombs(NoNumbers(Count()), GetParam());
}

TEST_P(CombBankTest, EnergiesAreThoseOfTheLastOutputsAtEverySample) {
    const UInt32 lagCount = GetParam();
    const Frames frames = Noise(Count());
    CombBank bank = Bank(lagCount);
    std::vector<std::vector<double>> squares(lagCount); // of band 3
    std::vector<test::PlainComb> plain;
    for (UInt32 i = 0; i < lagCount; ++i) {
        plain.emplace_back(i + 1, Feedback(i), 1.0f - Feedback(i));
    }
    // No sum here takes more than 80 additions of numbers that are not negative: 80 * 2^-24.
    constexpr double kTolerance = 5e-6;
    for (const Frame& frame : frames) {
        const std::vector<float> energies = Energies(bank, frame, lagCount);
        for (UInt32 s = 0; s < kSamples; ++s) {
            for (UInt32 i = 0; i < lagCount; ++i) {
                plain[i].Push(frame[s * kBands + 3]);
                const double output = plain[i].Outputs().back();
                squares[i].push_back(output * output);
                double expected = 0;
                for (std::size_t n = squares[i].size(); n > 0 && n + i + 1 > squares[i].size();) {
                    expected += squares[i][--n];
                }
                ASSERT_NEAR(energies[(s * lagCount + i) * kBands + 3], expected,
                            kTolerance * expected)
                    << "lag " << i + 1;
            }
        }
    }
}

TEST_P(CombBankTest, SilenceAllocatedAnewAfterSoundHasNoEnergy) {
    const UInt32 lagCount = GetParam();
    CombBank bank = Bank(lagCount);
    for (const Frame& frame : Noise(Count())) {
        Energies(bank, frame, lagCount);
    }
    bank.Allocate(lagCount);
    EXPECT_EQ(Energies(bank, Frame{}, lagCount),
              std::vector<float>(std::size_t{kSamples} * lagCount * kBands));
}

TEST_P(CombBankTest, NothingIsLeftOfALoudPastOnceItIsOutOfReach) {
    const UInt32 lagCount = GetParam();
    CombBank bank;
    bank.Allocate(lagCount);
    for (UInt32 i = 0; i < lagCount; ++i) {
        bank.SetGains(i, 0.0f, 1.0f);
    }
    Frame loud;
    loud.fill(1e6f);
    for (UInt32 f = 0; f < 2 * lagCount + 3; ++f) {
        Energies(bank, loud, lagCount);
    }
    std::vector<float> energies;
    for (UInt32 f = 0; f < lagCount / kSamples; ++f) {
        energies = Energies(bank, Frame{}, lagCount);
    }
    // Of the earlier sample, the longest lag still reaches the last loud one.
    const std::size_t later = std::size_t{lagCount} * kBands;
    EXPECT_EQ(std::vector<float>(energies.begin() + static_cast<long>(later), energies.end()),
              std::vector<float>(later));
    EXPECT_GT(energies[later - 1], 0.0f);
}

INSTANTIATE_TEST_SUITE_P(LagCounts, CombBankTest, ::testing::Values(16u, 32u, 128u, 256u));

std::vector<float> RandomNumbers(std::size_t count, unsigned int seed) {
    std::mt19937 generator(seed);
    std::uniform_real_distribution<float> value(0, 1);
    std::vector<float> x(count);
    for (float& v : x) {
        v = value(generator);
    }
    return x;
}

TEST(SumSalienceTest, SumsAreThoseOfAPlainLoopToTheBit) {
    constexpr UInt32 kLags = 48;
    const std::vector<float> energies = RandomNumbers(kLags * kBands, 1);
    const std::vector<float> scale = RandomNumbers(kLags, 2);
    const std::vector<float> norm = RandomNumbers(kLags, 3);
    const std::vector<float> normScale = RandomNumbers(kLags, 4);
    const float inf = std::numeric_limits<float>::infinity();
    for (const float odd : {0.25f, 0.0f, inf, std::nanf(""), 1e-42f}) {
        const std::array<float, kBands> means{0.5f, 2.0f, odd, 0.125f};
        std::vector<float> salience(kLags);
        SumSalience(energies.data(), means.data(), {scale.data(), norm.data(), normScale.data()},
                    kLags, salience.data());
        for (UInt32 i = 0; i < kLags; ++i) {
            float expected = 0.0f;
            for (UInt32 b = 0; b < kBands; ++b) {
                const float share = energies[i * kBands + b] * scale[i] / means[b];
                expected += (share - norm[i]) * normScale[i];
            }
            EXPECT_EQ(Bits(expected), Bits(salience[i])) << odd << " at " << i;
        }
    }
}

} // namespace
} // namespace qel::core
