#include "rhythm/onsets/CurveCode.h"

#include "rhythm/onsets/OnsetCurve.h"
#include "tests/platform/vector/InstructionSets.h"

#include <gtest/gtest.h>

#include <bit>
#include <cstdint>
#include <limits>
#include <random>
#include <vector>

namespace qel::core {
namespace {

using Vector = std::vector<float>;

// n values and the one after them, as the low-pass makes them of random inputs: the share of those
// that are not 0, and their magnitude.
Vector Curve(std::size_t n, double share, float magnitude, unsigned seed) {
    std::mt19937 random(seed);
    std::uniform_real_distribution<float> uniform(0.0f, magnitude);
    std::bernoulli_distribution isInput(share);
    Vector curve(n + 1);
    curve[n] = uniform(random);
    for (std::size_t i = n; i > 0; --i) {
        const float input = isInput(random) ? uniform(random) : 0.0f;
        curve[i - 1] = kOnsetSmoothingPole * curve[i] + input;
    }
    return curve;
}

std::vector<std::uint32_t> Bits(const Vector& values) {
    std::vector<std::uint32_t> bits;
    for (const float value : values) {
        bits.push_back(std::bit_cast<std::uint32_t>(value));
    }
    return bits;
}

// Returns the bytes of the code.
std::size_t ExpectSame(const Vector& curve) {
    const auto n = static_cast<UInt32>(curve.size() - 1);
    std::vector<Byte> code(kMostCodeBytes + 8, 0xAA);
    const std::size_t bytes = EncodeCurve(curve.data(), n, code.data());
    EXPECT_LE(bytes, kMostCodeBytes);
    EXPECT_EQ(0xAA, code[kMostCodeBytes]);
    Vector decoded(curve.size(), -1.0f);
    decoded[n] = curve[n];
    DecodeCurve(code.data(), n, decoded.data());
    EXPECT_EQ(Bits(curve), Bits(decoded)) << n;
    return bytes;
}

TEST(CurveCodeTest, EveryValueComesBackToTheLastBit) {
    qel::testing::ForEachInstructionSet([] {
        for (UInt32 n = 0; n <= kMostCoded; ++n) {
            ExpectSame(Curve(n, 0.5, 1e-3f, n));
        }
        for (const double share : {0.0, 0.03, 0.5, 0.97, 1.0}) {
            for (const float magnitude : {0.0f, 1e-37f, 1e-20f, 1e-3f, 0.05f, 1.0f}) {
                ExpectSame(Curve(kMostCoded, share, magnitude, 1));
            }
        }
    });
}

TEST(CurveCodeTest, JumpsFromZeroAndToInfinityComeBack) {
    qel::testing::ForEachInstructionSet([] {
        Vector curve(kMostCoded + 1, 0.0f);
        curve[100] = 1.0f;
        for (std::size_t i = 100; i > 0; --i) {
            curve[i - 1] = kOnsetSmoothingPole * curve[i];
        }
        ExpectSame(curve);
        std::fill(curve.begin(), curve.begin() + 50, std::numeric_limits<float>::infinity());
        ExpectSame(curve);
    });
}

// Every value jumps up by nearly all bits that there are, in turns with falls.
TEST(CurveCodeTest, TheLongestCodeFitsItsBytes) {
    Vector curve(kMostCoded + 1, 0.0f);
    for (std::size_t i = kMostCoded; i > 0; --i) {
        curve[i - 1] = curve[i] == 0.0f ? 38.0f : curve[i];
    }
    EXPECT_LE(ExpectSame(curve), kMostCodeBytes);
}

// A group of 32 has a mask and a length, 5 bytes; half of the values have inputs, whose numbers
// have at most 17 bits where an input is at most 2^-7 of the value: 10 bits a value.
TEST(CurveCodeTest, ACurveOfMusicTakesAThirdOfItsFloats) {
    Vector curve = Curve(4000, 0.5, 2e-3f, 3); // about 0.9, after it has risen
    curve.resize(kMostCoded + 1);
    const std::size_t bytes = ExpectSame(curve);
    EXPECT_LT(bytes, kMostCoded * 10 / 8 + 8);
    EXPECT_GT(bytes, kMostCoded * 7 / 8);
}

} // namespace
} // namespace qel::core
