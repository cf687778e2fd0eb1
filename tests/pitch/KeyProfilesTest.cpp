#include "pitch/KeyProfiles.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <numbers>
#include <numeric>
#include <random>
#include <string>
#include <vector>

namespace qel::core {
namespace {

using Chroma = std::array<float, kPitchClasses>;
using Strengths = std::array<float, kMusicalKeys>;
using Centroid = std::array<float, kTonalCentroidSize>;

constexpr std::size_t kColumns = 1 + kMusicalKeys;

constexpr Chroma kMajorBase = {0.4678f,   -0.25387f, 0.09936f,  -0.33488f, 0.32221f,  -0.063486f,
                               -0.21791f, 0.4426f,   -0.25203f, 0.12059f,  -0.36999f, 0.039597f};
constexpr Chroma kMinorBase = {0.49021f,  -0.32921f, 0.026797f, 0.2494f,   -0.15248f,   -0.083309f,
                               -0.27245f, 0.41468f,  -0.07965f, -0.11405f, -0.0041909f, -0.14575f};

Strengths StrengthsOf(const Chroma& chroma) {
    Strengths out{};
    MakeKeyStrengthComparison(chroma.data(), out.data());
    return out;
}

Centroid CentroidOf(const Chroma& chroma) {
    Centroid out{};
    ComputeTonalCentroid(chroma.data(), out.data());
    return out;
}

Chroma RandomChroma(std::mt19937& random) {
    std::uniform_real_distribution<float> level(0, 1);
    Chroma chroma{};
    std::ranges::generate(chroma, [&] { return level(random); });
    return chroma;
}

Chroma Raised(const Chroma& chroma, std::size_t semitones) {
    Chroma raised{};
    for (std::size_t p = 0; p < kPitchClasses; ++p) {
        raised[(p + semitones) % kPitchClasses] = chroma[p];
    }
    return raised;
}

// All 25 vectors against each other, as correlations, of which the first row has the strengths.
Strengths FromFullMatrix(const Chroma& chroma) {
    std::vector<float> a(kColumns * kPitchClasses);
    float sum = 0;
    for (const float x : chroma) {
        sum += x;
    }
    for (std::size_t p = 0; p < kPitchClasses; ++p) {
        a[p] = chroma[p] / (sum / 12);
        for (std::size_t k = 0; k < kMusicalKeys; ++k) {
            a[(1 + k) * kPitchClasses + p] = KeyProfile(static_cast<UInt32>(k))[p];
        }
    }
    std::vector<float> c(kColumns * kColumns);
    for (std::size_t entry = 0; entry < c.size(); ++entry) {
        const float* const x = a.data() + entry / kColumns * kPitchClasses;
        const float* const y = a.data() + entry % kColumns * kPitchClasses;
        c[entry] = std::inner_product(x, x + kPitchClasses, y, 0.0f) / (kColumns - 1);
    }
    std::array<float, kColumns> d{};
    for (std::size_t i = 0; i < kColumns; ++i) {
        d[i] = std::sqrt(c[i * (kColumns + 1)]);
    }
    for (std::size_t i = 0; i < kColumns; ++i) {
        for (std::size_t j = 0; j < kColumns; ++j) {
            c[j * kColumns + i] /= d[i];
        }
    }
    for (std::size_t i = 0; i < kColumns; ++i) {
        for (std::size_t j = 0; j < kColumns; ++j) {
            c[i * kColumns + j] /= d[i];
        }
    }
    Strengths out{};
    for (std::size_t k = 0; k < kMusicalKeys; ++k) {
        const float x = c[k + 1];
        const float cut = std::fabs(x) > 1 ? x / std::fabs(x) : x;
        out[k] = std::isnan(cut) ? 0 : cut;
    }
    return out;
}

std::string Text(CFStringRef string) {
    std::array<char, 16> text{};
    CFStringGetCString(string, text.data(), text.size(), kCFStringEncodingUTF8);
    return text.data();
}

TEST(KeyProfilesTest, ProfilesAreTheBasesRaisedToTheTonic) {
    for (std::size_t tonic = 0; tonic < kPitchClasses; ++tonic) {
        const Chroma major = Raised(kMajorBase, tonic);
        const Chroma minor = Raised(kMinorBase, tonic);
        for (std::size_t p = 0; p < kPitchClasses; ++p) {
            EXPECT_EQ(KeyProfile(static_cast<UInt32>(tonic))[p], major[p]);
            EXPECT_EQ(KeyProfile(static_cast<UInt32>(kPitchClasses + tonic))[p], minor[p]);
        }
    }
}

TEST(KeyProfilesTest, ProfilesSumToZeroUpToTheirDigits) {
    for (UInt32 k = 0; k < kMusicalKeys; ++k) {
        double sum = 0;
        for (std::size_t p = 0; p < kPitchClasses; ++p) {
            sum += double{KeyProfile(k)[p]};
        }
        EXPECT_NEAR(sum, 0, 12 * 0.5e-5); // given to five decimal places
    }
}

TEST(KeyProfilesTest, NamesAreMajorThenMinorFromCUpwards) {
    const std::array<const char*, 12> tonics = {"C",  "C#", "D",  "D#", "E",  "F",
                                                "F#", "G",  "G#", "A",  "A#", "B"};
    for (UInt32 k = 0; k < kPitchClasses; ++k) {
        // Required by the contract: two major keys are in lower case.
        const std::string major = k == 5 || k == 6 ? " major" : " Major";
        EXPECT_EQ(Text(KeyName(k)), tonics[k] + major);
        EXPECT_EQ(Text(KeyName(kPitchClasses + k)), std::string(tonics[k]) + " Minor");
    }
}

TEST(KeyProfilesTest, NamesAreKnownByTheirAddress) {
    const CFStringRef name = KeyName(7);
    const CFStringRef copy = CFStringCreateWithCString(nullptr, "G Major", kCFStringEncodingASCII);
    ASSERT_NE(copy, nullptr);
    EXPECT_TRUE(IsKeyName(name));
    EXPECT_FALSE(IsKeyName(copy));
    EXPECT_FALSE(IsKeyName(&name));
    EXPECT_FALSE(IsKeyName(nullptr));
    CFRelease(copy);
}

TEST(KeyStrengthTest, AProfileFitsItsOwnKeyEntirely) {
    for (UInt32 k = 0; k < kMusicalKeys; ++k) {
        // The vector is divided by its mean, which for a profile alone would be next to zero: a
        // constant is orthogonal to all profiles and only lowers the cosines by one factor.
        Chroma chroma{};
        std::copy_n(KeyProfile(k), kPitchClasses, chroma.begin());
        double energy = 0;
        for (float& x : chroma) {
            energy += double{x} * double{x};
            x += 0.5f;
        }
        const Strengths strengths = StrengthsOf(chroma);
        const double expected = std::sqrt(energy / (energy + 12 * 0.25));
        EXPECT_NEAR(strengths[k], expected, 1e-5); // the profiles' sums, up to 6e-5, do not vanish
        EXPECT_EQ(std::ranges::max_element(strengths) - strengths.begin(), k);
    }
}

TEST(KeyStrengthTest, IsTheCosineToEachProfile) {
    std::mt19937 random(1);
    for (int run = 0; run < 100; ++run) {
        const Chroma chroma = RandomChroma(random);
        const Strengths strengths = StrengthsOf(chroma);
        for (UInt32 k = 0; k < kMusicalKeys; ++k) {
            double product = 0;
            double energy = 0;
            double profileEnergy = 0;
            for (std::size_t p = 0; p < kPitchClasses; ++p) {
                const double profile = KeyProfile(k)[p];
                product += double{chroma[p]} * profile;
                energy += double{chroma[p]} * double{chroma[p]};
                profileEnergy += profile * profile;
            }
            // Twelve products and as many squares, each rounded by 2^-24 of at most 1.
            EXPECT_NEAR(strengths[k], product / std::sqrt(energy * profileEnergy),
                        32 * std::exp2(-24.0));
        }
    }
}

TEST(KeyStrengthTest, IsTheFirstRowOfTheFullMatrix) {
    std::mt19937 random(2);
    for (int run = 0; run < 100; ++run) {
        const Chroma chroma = RandomChroma(random);
        const Strengths strengths = StrengthsOf(chroma);
        const Strengths expected = FromFullMatrix(chroma);
        for (std::size_t k = 0; k < kMusicalKeys; ++k) {
            EXPECT_NEAR(strengths[k], expected[k], 16 * std::exp2(-24.0)) << k; // order of sums
        }
    }
}

TEST(KeyStrengthTest, RaisingTheChromaRaisesTheKey) {
    const Chroma dMinor = Raised({1, 0, 0, 0.9f, 0, 0, 0, 0.8f, 0, 0, 0, 0}, 2);
    for (std::size_t up = 0; up < kPitchClasses; ++up) {
        const Strengths strengths = StrengthsOf(Raised(dMinor, up));
        EXPECT_EQ(std::ranges::max_element(strengths) - strengths.begin(),
                  static_cast<std::ptrdiff_t>(kPitchClasses + (2 + up) % kPitchClasses));
    }
}

TEST(KeyStrengthTest, LevelDoesNotCount) {
    std::mt19937 random(3);
    const Chroma chroma = RandomChroma(random);
    Chroma quiet = chroma;
    for (float& x : quiet) {
        x *= 0.125f; // a power of 2 changes no digit
    }
    EXPECT_EQ(StrengthsOf(quiet), StrengthsOf(chroma));
}

TEST(KeyStrengthTest, WhatIsNoNumberIsZero) {
    constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
    Chroma nothing{};
    EXPECT_EQ(StrengthsOf(nothing), Strengths{});
    nothing.fill(kNaN);
    EXPECT_EQ(StrengthsOf(nothing), Strengths{});
    Chroma oneInfinite{};
    oneInfinite[3] = std::numeric_limits<float>::infinity();
    EXPECT_EQ(StrengthsOf(oneInfinite), Strengths{});
}

TEST(TonalCentroidTest, OnePitchClassLiesOnThreeCircles) {
    constexpr double kPi = std::numbers::pi;
    for (std::size_t p = 0; p < kPitchClasses; ++p) {
        Chroma chroma{};
        chroma[p] = 0.7f;
        const Centroid centroid = CentroidOf(chroma);
        const auto l = static_cast<double>(p);
        const std::array<double, 6> expected = {
            std::sin(7 * l * kPi / 6),       std::cos(7 * l * kPi / 6),
            std::sin(3 * l * kPi / 2),       std::cos(3 * l * kPi / 2),
            0.5 * std::sin(2 * l * kPi / 3), 0.5 * std::cos(2 * l * kPi / 3)};
        for (std::size_t i = 0; i < expected.size(); ++i) {
            // Angles up to 77 pi / 6 = 40.3 are rounded to 2^-19.
            EXPECT_NEAR(centroid[i], expected[i], std::exp2(-18.0)) << p << ", " << i;
        }
    }
}

TEST(TonalCentroidTest, EqualPitchClassesLieInTheMiddle) {
    Chroma chroma;
    chroma.fill(0.3f);
    for (const float x : CentroidOf(chroma)) {
        EXPECT_NEAR(x, 0, std::exp2(-18.0)); // the angles' rounding
    }
}

TEST(TonalCentroidTest, IsTheMeanOfThePitchClasses) {
    std::mt19937 random(4);
    const Chroma chroma = RandomChroma(random);
    std::array<double, kTonalCentroidSize> sum{};
    double size = 0;
    for (std::size_t p = 0; p < kPitchClasses; ++p) {
        Chroma one{};
        one[p] = 1;
        const Centroid place = CentroidOf(one);
        for (std::size_t i = 0; i < sum.size(); ++i) {
            sum[i] += double{chroma[p]} * double{place[i]};
        }
        size += double{chroma[p]};
    }
    const Centroid centroid = CentroidOf(chroma);
    for (std::size_t i = 0; i < sum.size(); ++i) {
        EXPECT_NEAR(centroid[i], sum[i] / size, 16 * std::exp2(-24.0)); // twelve additions
    }
}

TEST(TonalCentroidTest, SilenceHasNone) {
    for (const float x : CentroidOf({})) {
        EXPECT_TRUE(std::isnan(x));
    }
}

} // namespace
} // namespace qel::core
