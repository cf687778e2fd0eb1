// What the designs do to frequencies.

#include "FilterReference.h"
#include "support/audio/SRCFilter.h"

#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <cstddef>
#include <numbers>
#include <vector>

namespace qel::core {
namespace {

using Parameters = KaiserBesselFilterParameters;

constexpr double kPi = std::numbers::pi;

// The magnitude at a fraction of the input's Nyquist frequency, by a sum in double precision over
// the coefficients as they stand at the rate L * input rate.
double Response(const SRCFilter& filter, UInt32 taps, double fractionOfNyquist) {
    const UInt32 up = filter.UpFactor();
    std::complex<double> sum = 0.0;
    for (UInt32 p = 0; p < up; ++p) {
        for (UInt32 k = 0; k < taps; ++k) {
            const double samples = static_cast<double>(p) + static_cast<double>(k) * up;
            sum += static_cast<double>(filter.Branch(0, p)[taps - 1 - k]) *
                   std::polar(1.0, -kPi * fractionOfNyquist / up * samples);
        }
    }
    return std::abs(sum) / up;
}

double Decibels(double magnitude) {
    return 20.0 * std::log10(magnitude);
}

// The design of the meter: 100 Hz out, 94 percent of it used.
Parameters MeterDesign(double rateHz) {
    return Parameters(94.0 / rateHz, 73.0, 12.0 / rateHz, 0u);
}

struct Design {
    UInt32 inputRate;
    UInt32 outputRate;
    double cutoff;
    double attenuation_dB;
    double width;
};
constexpr Design kDesigns[] = {{48000, 48000, 0.5, 40.0, 0.1},  {48000, 48000, 0.25, 80.0, 0.05},
                               {44100, 48000, 0.9, 90.0, 0.1},  {48000, 44100, 0.8, 100.0, 0.1},
                               {48000, 24000, 0.45, 73.0, 0.1}, {8000, 16000, 0.9, 60.0, 0.15}};

// Kaiser's estimates are fits. They, and the tap by which an even prototype is shortened, are good
// to some 2 dB at the edges of the bands.
constexpr double kSlack_dB = 2.5;

double Ripple(double attenuation_dB) {
    return std::pow(10.0, (kSlack_dB - attenuation_dB) / 20.0);
}

// Below 50 dB the window is shaped for more attenuation than asked, by the factor within the power:
// at 40 dB a shape of 4.12 is one for 46 dB, which takes (46 - 7.95) / (40 - 7.95) of the width.
double TransitionWidth(const Design& design) {
    return design.width * (design.attenuation_dB <= 50.0 ? 1.19 : 1.0);
}

TEST(SRCFilterResponseTest, LowPassHasItsAttenuationBeyondTheTransitionAndPassesBelow) {
    for (const Design& design : kDesigns) {
        const Parameters p(design.cutoff, design.attenuation_dB, design.width, 0u);
        const SRCFilter filter(1, design.inputRate, design.outputRate, p);
        const double ripple = Ripple(design.attenuation_dB);
        const double halfWidth = TransitionWidth(design) / 2.0;
        for (int i = 0; i <= 200; ++i) {
            const double pass = (design.cutoff - halfWidth) * i / 200.0;
            EXPECT_NEAR(Response(filter, p.filterLength, pass) / 0.99, 1.0, ripple)
                << design.inputRate << " to " << design.outputRate << " at " << pass;
            const double stopFrom = design.cutoff + halfWidth;
            const double stop = stopFrom + (filter.UpFactor() - stopFrom) * i / 200.0;
            EXPECT_LT(Response(filter, p.filterLength, stop), ripple)
                << design.inputRate << " to " << design.outputRate << " at " << stop;
        }
        EXPECT_NEAR(Decibels(Response(filter, p.filterLength, design.cutoff) / 0.99), -6.02, 0.3);
    }
}

TEST(SRCFilterResponseTest, HighPassIsTheOtherHalf) {
    const Parameters p(0.5, 60.0, 0.1, 1u);
    const SRCFilter filter(1, 48000, 48000, p);
    EXPECT_LT(Decibels(Response(filter, p.filterLength, 0.0)), kSlack_dB - 60.0);
    EXPECT_LT(Decibels(Response(filter, p.filterLength, 0.44)), kSlack_dB - 60.0);
    EXPECT_NEAR(Response(filter, p.filterLength, 0.56) / 0.99, 1.0, Ripple(60.0));
    EXPECT_NEAR(Response(filter, p.filterLength, 1.0) / 0.99, 1.0, Ripple(60.0));
}

TEST(SRCFilterResponseTest, ConstantComesOutAt99Percent) {
    for (const Design& design : kDesigns) {
        const Parameters p(design.cutoff, design.attenuation_dB, design.width, 0u);
        SRCFilter filter(1, design.inputRate, design.outputRate, p);
        const std::vector<float> x(1000, 1.0f);
        std::vector<float> y(2002, 0.0f);
        const float* const input[] = {x.data()};
        float* const output[] = {y.data()};
        ASSERT_EQ(filter.ComputeDeinterleaved(input, output, 1000), SRCFilter::kSRCOK);
        // Images of the constant in the branches are attenuated by that much.
        const double ripple = Ripple(design.attenuation_dB);
        const std::size_t last = std::size_t{1000} * filter.UpFactor() / filter.DownFactor() - 1;
        EXPECT_NEAR(static_cast<double>(y[last]), 0.99, 4.0 * ripple);
    }
}

// The prototype is moved by up to half an output frame so that the delay is whole, which cuts as
// much from one end: 220 of 33000 taps, where the window has come down to 1 / Izero(7.09) = 1 /
// 184.
TEST(SRCFilterResponseTest, MeterDesignPasses44HzAndStops50Hz) {
    constexpr double kStop_dB = kSlack_dB - 73.0;
    for (const UInt32 rate : {8000u, 22050u, 44100u}) {
        const Parameters p = MeterDesign(rate);
        const SRCFilter filter(1, rate, 100, p);
        const double nyquist = rate / 2.0;
        for (double hz = 0.0; hz <= 44.0; hz += 2.75) {
            EXPECT_NEAR(Response(filter, p.filterLength, hz / nyquist) / 0.99, 1.0, Ripple(73.0))
                << hz;
        }
        for (const double hz : {50.0, 50.5, 51.3, 55.0, 60.0, 99.0, 100.0, 101.0, 1000.0, 3999.0}) {
            EXPECT_LT(Decibels(Response(filter, p.filterLength, hz / nyquist)), kStop_dB) << hz;
        }
    }
}

// Output j of a sine of the pass band is the sine at frame j, less the delay in whole frames.
void ExpectSineAt100Hz(UInt32 rate, double hz, double gain, double tolerance) {
    const Parameters p = MeterDesign(rate);
    SRCFilter filter(1, rate, 100, p);
    const UInt32 frames = 4 * rate;
    std::vector<float> x(frames);
    for (UInt32 n = 0; n < frames; ++n) {
        x[n] = static_cast<float>(std::sin(2.0 * kPi * hz * n / rate));
    }
    UInt32 count = 0;
    ASSERT_EQ(filter.GetNumberOfOutFrames(&count, frames), SRCFilter::kSRCOK);
    ASSERT_EQ(count, 400u);
    std::vector<float> y(401);
    const float* const input[] = {x.data()};
    float* const output[] = {y.data()};
    ASSERT_EQ(filter.ComputeDeinterleaved(input, output, frames), SRCFilter::kSRCOK);
    UInt32 delay = 0;
    ASSERT_EQ(filter.GetFilterDelay(&delay, nullptr), SRCFilter::kSRCOK);
    for (UInt32 j = 2 * delay + 1; j < 400; ++j) {
        const double seconds = (static_cast<double>(j) - delay) / 100.0;
        EXPECT_NEAR(static_cast<double>(y[j]), gain * std::sin(2.0 * kPi * hz * seconds), tolerance)
            << rate << " Hz, " << hz << " Hz, output " << j;
    }
}

TEST(SRCFilterResponseTest, SineBelow44HzIsDecimatedInPlace) {
    for (const UInt32 rate : {8000u, 22050u, 44100u}) { // 80, 441 / 2, 441
        ExpectSineAt100Hz(rate, 7.0, 0.99, 5e-4);
        ExpectSineAt100Hz(rate, 43.0, 0.99, 5e-4);
    }
}

TEST(SRCFilterResponseTest, SineAbove50HzIsGone) {
    for (const UInt32 rate : {8000u, 22050u, 44100u}) {
        ExpectSineAt100Hz(rate, 53.0, 0.0, 5e-4);
        ExpectSineAt100Hz(rate, 440.0, 0.0, 5e-4);
    }
}

TEST(SRCFilterResponseTest, MeterDesignGivesARoundedUpNumberOfFrames) {
    const Parameters p = MeterDesign(44100);
    SRCFilter filter(1, 44100, 100, p);
    const std::vector<float> x(44101, 0.5f);
    std::vector<float> y(102, 99.0f);
    const float* const input[] = {x.data()};
    float* const output[] = {y.data()};
    ASSERT_EQ(filter.ComputeDeinterleaved(input, output, 44101), SRCFilter::kSRCOK);
    EXPECT_NE(y[100], 99.0f); // (44101 - 1) / 441 + 1 = 101 frames
    EXPECT_EQ(y[101], 99.0f);
}

} // namespace
} // namespace qel::core
