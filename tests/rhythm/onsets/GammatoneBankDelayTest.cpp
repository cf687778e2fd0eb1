// The bank with its bands delayed to the slowest.

#include "rhythm/onsets/GammatoneBank.h"
#include "tests/harness/TestSignals.h"
#include "tests/rhythm/onsets/GammatoneBankOwner.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <memory>
#include <numeric>
#include <string>

namespace qel::core {
namespace {

using test::BankOwner;
using test::Captured;
using test::kOnsetBank;

Gfb_Parameters Compensated(float rate = 44100.0f) {
    Gfb_Parameters parameters = kOnsetBank;
    parameters.sampleRate = rate;
    parameters.compensateDelay = 1;
    return parameters;
}

// The envelope C(n, 3) r^(n-3) rises as long as r (n + 1) / (n - 2) is above 1.
double PeakOf(const Gfb_Filter& filter) {
    const double radius = std::hypot(static_cast<double>(filter.realPole), filter.imagPole);
    return std::ceil((radius + 2.0) / (1.0 - radius));
}

std::size_t EnvelopePeak(const std::vector<float>& real, const std::vector<float>& imag) {
    std::size_t peak = 0;
    float greatest = 0.0f;
    for (std::size_t i = 0; i < real.size(); ++i) {
        const float square = real[i] * real[i] + imag[i] * imag[i];
        if (square > greatest) {
            greatest = square;
            peak = i;
        }
    }
    return peak;
}

TEST(GammatoneBankDelayTest, AFilterFindsTheDelayOfItsEnvelopeAndComesToRest) {
    int last = 1024;
    for (const float centre : {235.0f, 500.0f, 1000.0f, 4000.0f, 14439.0f}) {
        Gfb_Filter filter;
        Gfb_Filter_new_3arg(&filter, 44100.0f, centre, 4, 1);
        const std::string printed = Captured([&] { getFilterDelay(&filter); });
        EXPECT_EQ("delay = " + std::to_string(filter.delay) + "\n", printed);
        // The top of a slow envelope is flat to single precision over a few samples.
        EXPECT_NEAR(PeakOf(filter), filter.delay, 2.0) << centre;
        EXPECT_LT(filter.delay, last) << "low bands are the slower ones";
        last = filter.delay;
        for (int stage = 0; stage < 4; ++stage) {
            EXPECT_EQ(0.0f, filter.realState[stage]);
            EXPECT_EQ(0.0f, filter.imagState[stage]);
        }
    }
}

// Only 1024 samples are looked at: at 192 kHz the envelope of the lowest band still rises there.
TEST(GammatoneBankDelayTest, ADelayIsLessThan1024) {
    Gfb_Filter filter;
    Gfb_Filter_new_3arg(&filter, 192000.0f, 235.0f, 4, 1);
    ASSERT_GT(PeakOf(filter), 1100.0);
    EXPECT_EQ("delay = 1023\n", Captured([&] { getFilterDelay(&filter); }));
    EXPECT_EQ(1023, filter.delay);
}

// With the pole 1 / 2 the envelope C(n, 3) / 2^(n-3) is 2.5 at 5 and at 6, exactly.
TEST(GammatoneBankDelayTest, OfEqualPeaksTheFirstIsTheDelay) {
    Gfb_Filter filter;
    Gfb_Filter_new_3arg(&filter, 44100.0f, 1000.0f, 4, 1);
    filter.realPole = 0.5f;
    filter.imagPole = 0.0f;
    filter.gain = 1.0f;
    EXPECT_EQ("delay = 5\n", Captured([&] { getFilterDelay(&filter); }));
}

TEST(GammatoneBankDelayTest, AFilterIsDelayedByWhatItLacks) {
    Gfb_Filter filter;
    Gfb_Filter_new_3arg(&filter, 44100.0f, 1000.0f, 4, 1);
    Captured([&] { getFilterDelay(&filter); });
    const int own = filter.delay;
    EXPECT_EQ("additional delay = 7\n",
              Captured([&] { adjustAdditionalFilterDelay(&filter, own + 7); }));
    EXPECT_EQ(7, filter.delay);
    EXPECT_EQ(1u, filter.delayActive);
    for (int i = 0; i < 7; ++i) {
        EXPECT_EQ(0.0f, filter.delayReal[i]);
        EXPECT_EQ(0.0f, filter.delayImag[i]);
    }
    utFree(&filter.delayReal);
    utFree(&filter.delayImag);

    filter.delay = own;
    filter.delayActive = 1;
    EXPECT_EQ("additional delay = 0\n",
              Captured([&] { adjustAdditionalFilterDelay(&filter, own); }));
    EXPECT_EQ(0u, filter.delayActive);

    filter.delay = own;
    filter.delayActive = 1;
    EXPECT_EQ("additional delay = -3\n",
              Captured([&] { adjustAdditionalFilterDelay(&filter, own - 3); }));
    EXPECT_EQ(0u, filter.delayActive);
}

class CompensatedBankTest : public testing::Test {
protected:
    void SetUp() override {
        mPrinted =
            Captured([&] { mBank = std::make_unique<BankOwner>(Compensated(), kLongestBlock); });
        ASSERT_EQ(0, mBank->status);
        ASSERT_EQ(33, Bank()->bandCount);
    }

    static constexpr int kLongestBlock = 2048;

    BankOwner& Bank() { return *mBank; }

    // One band of the compensated bank, in blocks.
    void Run(int band, const std::vector<float>& input, const std::vector<int>& blocks,
             std::vector<float>& real, std::vector<float>& imag) {
        real.assign(input.size(), -9.0f);
        imag.assign(input.size(), -9.0f);
        std::size_t at = 0;
        for (std::size_t i = 0; at < input.size(); ++i) {
            const int count =
                std::min(blocks[i % blocks.size()], static_cast<int>(input.size() - at));
            gfb_Analyze(real.data() + at, imag.data() + at, input.data() + at,
                        Bank()->filters[band], Bank()->scratchReal, Bank()->scratchImag, count);
            at += static_cast<std::size_t>(count);
        }
    }

    std::string mPrinted;
    std::unique_ptr<BankOwner> mBank;
};

TEST_F(CompensatedBankTest, PrintsAllDelaysAndThenAllAdditionalOnes) {
    std::string expected;
    int slowest = 0;
    std::vector<int> delays;
    for (int band = 0; band < 33; ++band) {
        Gfb_Filter filter;
        Gfb_Filter_new_3arg(&filter, 44100.0f, Bank()->centreFrequencies[band], 4, 1);
        expected += Captured([&] { getFilterDelay(&filter); });
        delays.push_back(filter.delay);
        slowest = std::max(slowest, filter.delay);
    }
    for (const int delay : delays) {
        expected += "additional delay = " + std::to_string(slowest - delay) + "\n";
    }
    EXPECT_EQ(expected, mPrinted);
    EXPECT_TRUE(std::is_sorted(delays.rbegin(), delays.rend()));
    EXPECT_GT(delays.front(), delays.back());
}

TEST_F(CompensatedBankTest, LowBandsAreDelayedLess) {
    EXPECT_EQ(0, Bank()->filters[0]->delay);
    EXPECT_EQ(0u, Bank()->filters[0]->delayActive);
    for (int band = 1; band < 33; ++band) {
        EXPECT_GE(Bank()->filters[band]->delay, Bank()->filters[band - 1]->delay) << band;
        EXPECT_EQ(1u, Bank()->filters[band]->delayActive) << band;
    }
    ASSERT_NE(nullptr, Bank()->scratchReal);
    ASSERT_NE(nullptr, Bank()->scratchImag);
}

TEST_F(CompensatedBankTest, TheEnvelopesOfAllBandsPeakTogether) {
    const std::vector<float> impulse = test::Impulses(kLongestBlock, {{0, 1.0f}})[0];
    std::vector<float> real;
    std::vector<float> imag;
    Run(0, impulse, {kLongestBlock}, real, imag);
    const std::size_t together = EnvelopePeak(real, imag);
    EXPECT_NEAR(PeakOf(*Bank()->filters[0]), static_cast<double>(together), 2.0);
    for (int band = 1; band < 33; ++band) {
        Run(band, impulse, {kLongestBlock}, real, imag);
        EXPECT_EQ(together, EnvelopePeak(real, imag)) << band;
    }
}

// Zeros first, then the filter's own output, over any blocks that are no shorter than the delay.
TEST_F(CompensatedBankTest, TheDelayCarriesOverBlocks) {
    for (const int band : {0, 1, 16, 32}) {
        const int delay = Bank()->filters[band]->delay;
        const std::vector<int> blocks = {1000, std::max(delay, 1), 2048, delay + 1, 800};
        const int length = 2 * std::accumulate(blocks.begin(), blocks.end(), 0);
        const std::vector<float> noise =
            test::Noise(0.8f, 1, static_cast<std::size_t>(length), 8)[0];
        Gfb_Filter undelayed;
        Gfb_Filter_new_3arg(&undelayed, 44100.0f, Bank()->centreFrequencies[band], 4, 1);
        std::vector<float> plainReal(noise.size());
        std::vector<float> plainImag(noise.size());
        gfb_Analyze(plainReal.data(), plainImag.data(), noise.data(), &undelayed, nullptr, nullptr,
                    length);
        std::vector<float> real;
        std::vector<float> imag;
        Run(band, noise, blocks, real, imag);
        const auto silent = static_cast<std::size_t>(delay);
        for (std::size_t i = 0; i < noise.size(); ++i) {
            ASSERT_EQ(i < silent ? 0.0f : plainReal[i - silent], real[i]) << band << ' ' << i;
            ASSERT_EQ(i < silent ? 0.0f : plainImag[i - silent], imag[i]) << band << ' ' << i;
        }
    }
}

} // namespace
} // namespace qel::core
