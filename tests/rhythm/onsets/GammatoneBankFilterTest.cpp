// What the filters of the bank put out, sample by sample.

#include "rhythm/onsets/GammatoneBank.h"
#include "tests/harness/TestSignals.h"
#include "tests/rhythm/onsets/GammatoneBankOwner.h"
#include "tests/rhythm/onsets/ReferenceOnsets.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <numbers>

namespace qel::core {
namespace {

using test::BankOwner;
using test::kOnsetBank;

struct Output {
    std::vector<float> real;
    std::vector<float> imag;

    bool operator==(const Output&) const = default;
};

// The input in blocks through one filter without delay.
Output Filtered(Gfb_Filter& filter, const std::vector<float>& input, std::size_t blockFrames) {
    Output output{std::vector<float>(input.size()), std::vector<float>(input.size())};
    for (std::size_t at = 0; at < input.size(); at += blockFrames) {
        const auto count = static_cast<int>(std::min(blockFrames, input.size() - at));
        gfb_Analyze(output.real.data() + at, output.imag.data() + at, input.data() + at, &filter,
                    nullptr, nullptr, count);
    }
    return output;
}

std::complex<double> PoleOf(const Gfb_Filter& filter) {
    return {static_cast<double>(filter.realPole), static_cast<double>(filter.imagPole)};
}

// Each of four stages keeps its roundings of 6e-8 for 1 / (1 - radius) samples.
double RoundingOf(const Gfb_Filter& filter) {
    return 4.0 * 6e-8 / (1.0 - std::abs(PoleOf(filter))) + 1e-6;
}

// z^-3 / (1 - p z^-1)^4 has the impulse response C(n, 3) p^(n-3): nothing in the first three
// samples.
TEST(GammatoneBankFilterTest, TheImpulseResponseIsThatOfFourStagesThreeSamplesLate) {
    const BankOwner bank(kOnsetBank);
    const std::vector<float> impulse = test::Impulses(4000, {{0, 1.0f}})[0];
    for (const int band : {0, 5, 16, 32}) {
        Gfb_Filter& filter = *bank->filters[band];
        const std::complex<double> pole = PoleOf(filter);
        const Output output = Filtered(filter, impulse, impulse.size());
        std::vector<std::complex<double>> expected(impulse.size());
        double greatest = 0.0;
        for (std::size_t i = 3; i < expected.size(); ++i) {
            const auto n = static_cast<double>(i);
            expected[i] = static_cast<double>(filter.gain) * n * (n - 1.0) * (n - 2.0) / 6.0 *
                          std::pow(pole, n - 3.0);
            greatest = std::max(greatest, std::abs(expected[i]));
        }
        for (std::size_t i = 0; i < 3; ++i) {
            EXPECT_EQ(0.0f, output.real[i]) << band;
            EXPECT_EQ(0.0f, output.imag[i]) << band;
        }
        EXPECT_EQ(filter.gain, output.real[3]) << band;
        EXPECT_EQ(0.0f, output.imag[3]) << band;
        for (std::size_t i = 0; i < expected.size(); ++i) {
            ASSERT_NEAR(expected[i].real(), output.real[i], RoundingOf(filter) * greatest) << i;
            ASSERT_NEAR(expected[i].imag(), output.imag[i], RoundingOf(filter) * greatest) << i;
        }
    }
}

// At its centre a filter has the gain 2 for a turning phasor, so the real output of a cosine is the
// cosine itself, three samples late, and the imaginary one its quarter-turn pair; what the filter
// leaves of the phasor that turns the other way is small.
TEST(GammatoneBankFilterTest, ACosineAtTheCentreComesOutWithItsHilbertPair) {
    const BankOwner bank(kOnsetBank);
    for (const int band : {0, 10, 20, 32}) {
        Gfb_Filter& filter = *bank->filters[band];
        const std::complex<double> pole = PoleOf(filter);
        const double angle = std::arg(pole);
        std::vector<float> cosine(20000);
        for (std::size_t i = 0; i < cosine.size(); ++i) {
            cosine[i] = static_cast<float>(std::cos(angle * static_cast<double>(i)));
        }
        const Output output = Filtered(filter, cosine, 1000);
        const auto response = [&](double at) {
            const std::complex<double> delay = std::polar(1.0, -at);
            return static_cast<double>(filter.gain) * std::pow(delay, 3.0) /
                   std::pow(1.0 - pole * delay, 4.0);
        };
        EXPECT_NEAR(2.0, std::abs(response(angle)), 1e-4) << band;
        for (std::size_t i = 19000; i < cosine.size(); ++i) {
            const double phase = angle * static_cast<double>(i);
            const std::complex<double> expected =
                0.5 * (response(angle) * std::polar(1.0, phase) +
                       response(-angle) * std::polar(1.0, -phase));
            ASSERT_NEAR(expected.real(), output.real[i], 2e-4) << band;
            ASSERT_NEAR(expected.imag(), output.imag[i], 2e-4) << band;
            ASSERT_NEAR(std::cos(phase - 3.0 * angle), output.real[i], 0.03) << band;
            ASSERT_NEAR(std::sin(phase - 3.0 * angle), output.imag[i], 0.03) << band;
        }
    }
}

TEST(GammatoneBankFilterTest, NoiseComesOutAsInDoublePrecision) {
    const BankOwner bank(kOnsetBank);
    const std::vector<float> noise = test::Noise(0.8f, 1, 30000, 5)[0];
    for (int band = 0; band < 33; band += 4) {
        Gfb_Filter& filter = *bank->filters[band];
        test::ReferenceBand reference;
        reference.realPole = static_cast<double>(filter.realPole);
        reference.imagPole = static_cast<double>(filter.imagPole);
        reference.gain = static_cast<double>(filter.gain);
        const Output output = Filtered(filter, noise, 512);
        std::vector<std::complex<double>> expected;
        double greatest = 0.0;
        for (const float sample : noise) {
            reference.Step(static_cast<double>(sample));
            expected.emplace_back(reference.real[3], reference.imag[3]);
            greatest = std::max(greatest, std::abs(expected.back()));
        }
        for (std::size_t i = 0; i < noise.size(); ++i) {
            ASSERT_NEAR(expected[i].real(), output.real[i], RoundingOf(filter) * greatest) << i;
            ASSERT_NEAR(expected[i].imag(), output.imag[i], RoundingOf(filter) * greatest) << i;
        }
        for (std::size_t stage = 0; stage < 4; ++stage) {
            const double size = std::hypot(reference.real[stage], reference.imag[stage]);
            EXPECT_NEAR(reference.real[stage], filter.realState[stage], 1e-3 * size);
            EXPECT_NEAR(reference.imag[stage], filter.imagState[stage], 1e-3 * size);
        }
        EXPECT_EQ(output.real.back(), filter.realState[3]);
        EXPECT_EQ(output.imag.back(), filter.imagState[3]);
    }
}

TEST(GammatoneBankFilterTest, TheCutIntoBlocksDoesNotMatter) {
    const std::vector<float> noise = test::Noise(0.8f, 1, 5000, 6)[0];
    const BankOwner whole(kOnsetBank);
    for (const std::size_t blockFrames : {1u, 2u, 3u, 7u, 63u, 512u}) {
        const BankOwner bank(kOnsetBank);
        for (const int band : {0, 16, 32}) {
            Gfb_Filter fresh = *whole->filters[band];
            EXPECT_EQ(Filtered(fresh, noise, noise.size()),
                      Filtered(*bank->filters[band], noise, blockFrames))
                << band << ", blocks of " << blockFrames;
        }
    }
}

TEST(GammatoneBankFilterTest, AnEmptyBlockChangesNothing) {
    Gfb_Filter filter;
    Gfb_Filter_new_3arg(&filter, 44100.0f, 1000.0f, 4, 1);
    Filtered(filter, test::Noise(0.8f, 1, 500, 6)[0], 500);
    const Gfb_Filter before = filter;
    float untouched = 3.0f;
    gfb_Analyze(&untouched, &untouched, &untouched, &filter, nullptr, nullptr, 0);
    EXPECT_EQ(3.0f, untouched);
    for (int stage = 0; stage < 4; ++stage) {
        EXPECT_EQ(before.realState[stage], filter.realState[stage]);
        EXPECT_EQ(before.imagState[stage], filter.imagState[stage]);
    }
}

class HairCellTest : public testing::Test {
protected:
    HairCellTest() { Gfb_Filter_new_3arg(&mFilter, 44100.0f, 1000.0f, 4, 1); }

    // On the filter's own states.
    std::vector<float> Run(Gfb_Filter& filter, float& ihcValue, float threshold,
                           std::size_t blockFrames) const {
        std::vector<float> output(mNoise.size());
        for (std::size_t at = 0; at < output.size(); at += blockFrames) {
            const auto count = static_cast<int>(std::min(blockFrames, output.size() - at));
            gfb_AnalyzePlusIhc(output.data() + at, mNoise.data() + at, &filter, filter.realState,
                               filter.imagState, &ihcValue, threshold, count);
        }
        return output;
    }

    const std::vector<float> mNoise = test::Noise(0.8f, 1, 8000, 7)[0];
    Gfb_Filter mFilter;
};

// Out of the filter's own output: rectified, smoothed, held above the threshold.
TEST_F(HairCellTest, RectifiesSmoothsAndHoldsAboveTheThreshold) {
    for (const float threshold : {-1.0f, 0.0f, 0.01f, 0.05f}) {
        Gfb_Filter plain = mFilter;
        Gfb_Filter filter = mFilter;
        const std::vector<float> real = Filtered(plain, mNoise, mNoise.size()).real;
        float ihcValue = 0.125f;
        const std::vector<float> output = Run(filter, ihcValue, threshold, mNoise.size());
        double expected = 0.125;
        std::size_t held = 0;
        const auto forward = static_cast<double>(filter.ihcForward);
        for (std::size_t i = 0; i < output.size(); ++i) {
            const double rectified = std::max(static_cast<double>(real[i]), 0.0);
            expected = forward * rectified + (1.0 - forward) * expected;
            // The smoothing forgets within two samples: three roundings of a value below 0.5.
            ASSERT_NEAR(std::max(expected, static_cast<double>(threshold)), output[i], 1e-7) << i;
            held += output[i] == threshold;
        }
        EXPECT_NEAR(expected, ihcValue, 1e-7); // not held above the threshold
        EXPECT_EQ(threshold > 0.0f, held > 0);
        for (int stage = 0; stage < 4; ++stage) { // the states keep their signs
            EXPECT_EQ(plain.realState[stage], filter.realState[stage]);
            EXPECT_EQ(plain.imagState[stage], filter.imagState[stage]);
        }
    }
}

TEST_F(HairCellTest, TheCutIntoBlocksDoesNotMatter) {
    Gfb_Filter filter = mFilter;
    float ihcValue = 0.0f;
    const std::vector<float> expected = Run(filter, ihcValue, 0.01f, mNoise.size());
    for (const std::size_t blockFrames : {1u, 63u, 512u}) {
        Gfb_Filter other = mFilter;
        float otherValue = 0.0f;
        EXPECT_EQ(expected, Run(other, otherValue, 0.01f, blockFrames));
        EXPECT_EQ(ihcValue, otherValue);
    }
}

TEST_F(HairCellTest, ForeignStatesLeaveTheFilterAlone) {
    Gfb_Filter own = mFilter;
    float ownValue = 0.0f;
    const std::vector<float> expected = Run(own, ownValue, 0.0f, mNoise.size());

    const Gfb_Filter before = mFilter;
    float real[4] = {};
    float imag[4] = {};
    float ihcValue = 0.0f;
    std::vector<float> output(mNoise.size());
    gfb_AnalyzePlusIhc(output.data(), mNoise.data(), &mFilter, real, imag, &ihcValue, 0.0f,
                       static_cast<int>(mNoise.size()));
    EXPECT_EQ(expected, output);
    for (int stage = 0; stage < 4; ++stage) {
        EXPECT_EQ(own.realState[stage], real[stage]);
        EXPECT_EQ(own.imagState[stage], imag[stage]);
        EXPECT_EQ(before.realState[stage], mFilter.realState[stage]);
        EXPECT_EQ(before.imagState[stage], mFilter.imagState[stage]);
    }
}

} // namespace
} // namespace qel::core
