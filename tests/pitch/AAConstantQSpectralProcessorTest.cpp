// The constant-Q spectrum of frames, against the dense product in double precision and against
// tones of known level.

#include "pitch/AAConstantQSpectralProcessor.h"

#include "tests/harness/DoubleTransform.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <numbers>
#include <vector>

namespace qel::core {
namespace {

using testing::Number;
using testing::Transform;

constexpr UInt32 kFrame = 8192;
constexpr UInt32 kHop = 1024;
constexpr UInt32 kBins = 212;

// One channel's processor that keeps the values and magnitudes of its last frame.
class OpenProcessor : public AAConstantQSpectralProcessor {
public:
    explicit OpenProcessor(double rateHz, UInt32 maxFrames = kFrame)
        : AAConstantQSpectralProcessor(kFrame, kHop, 1, maxFrames, false, false, 90.0f, 5250.0f, 36,
                                       rateHz, 0.0054f) {
        SetSpectralFunction([](SpectralAndAudioBufferList* list,
                               void* self) { static_cast<OpenProcessor*>(self)->Keep(*list); },
                            this);
    }

    int Push(std::vector<float> samples) {
        AudioBufferList list{1, {{1, static_cast<UInt32>(4 * samples.size()), samples.data()}}};
        return ProcessForwards(static_cast<UInt32>(samples.size()), &list);
    }

    UInt32 TransformSize() const { return mKernel->FFTSize(); }

    int frames = 0;
    std::vector<Number> values;
    std::vector<float> magnitudes;
    float least = -1.0f;
    float greatest = -1.0f;

private:
    void Keep(const SpectralAndAudioBufferList& list) {
        ++frames;
        EXPECT_EQ(list.mNumChannels, 1u);
        EXPECT_EQ(list.mAudioBuffers, nullptr);
        values.clear();
        for (UInt32 k = 0; k < GetNumConstantQBins(); ++k) {
            values.emplace_back(static_cast<double>(list.mSpectra[0].realp[k]),
                                static_cast<double>(list.mSpectra[0].imagp[k]));
        }
        magnitudes.assign(GetNumConstantQBins(), -1.0f);
        AudioBufferList out{1, {{1, 4 * GetNumConstantQBins(), magnitudes.data()}}};
        GetMagnitude(&out, &least, &greatest);
    }
};

std::vector<float> Noise(std::size_t length, std::uint32_t seed) {
    std::vector<float> samples(length);
    for (float& sample : samples) {
        seed = seed * 1664525u + 1013904223u;
        sample = static_cast<float>(seed) / 2147483648.0f - 1.0f;
    }
    return samples;
}

std::vector<float> Sine(double hz, double rateHz) {
    std::vector<float> samples(kFrame);
    for (std::size_t n = 0; n < samples.size(); ++n) {
        samples[n] = static_cast<float>(
            std::sin(2 * std::numbers::pi * hz * static_cast<double>(n) / rateHz + 0.4));
    }
    return samples;
}

// The product of the whole matrix with the whole spectrum of the frame.
std::vector<Number> DenseProduct(const ConstantQKernel& kernel, const std::vector<float>& frame) {
    const std::size_t size = kernel.FFTSize();
    std::vector<Number> spectrum(size);
    for (std::size_t n = 0; n < std::min(size, frame.size()); ++n) {
        spectrum[n] = static_cast<double>(frame[n]);
    }
    Transform(spectrum);
    std::vector<DSPComplex> row(size);
    std::vector<Number> product(kernel.NumBins());
    for (UInt32 k = 0; k < kernel.NumBins(); ++k) {
        kernel.FillDenseRow(k, row.data());
        for (std::size_t m = 0; m < size; ++m) {
            product[k] +=
                Number(static_cast<double>(row[m].real), static_cast<double>(row[m].imag)) *
                spectrum[m];
        }
    }
    return product;
}

double Norm(const std::vector<Number>& values) {
    double sum = 0.0;
    for (const Number& value : values) {
        sum += std::norm(value);
    }
    return std::sqrt(sum);
}

// The kernels of the processor are held for its frames, those of the product are whole. From 5000
// Hz down the frame is longer than the transform; below 10463 Hz there are kernels at negative
// frequencies.
TEST(AAConstantQSpectralProcessorTest, FramesAgreeWithTheDenseProduct) {
    for (const double rateHz :
         {44100.0, 48000.0, 192000.0, 11025.0, 8000.0, 5000.0, 1000.0, 100.0, 2.0}) {
        SCOPED_TRACE(rateHz);
        OpenProcessor processor(rateHz);
        const std::vector<float> frame = Noise(kFrame, 7);
        ASSERT_EQ(processor.Push(frame), 1);
        const ConstantQKernel whole({90.0f, 5250.0f, 36, rateHz, 0.0054f});
        const std::vector<Number> expected = DenseProduct(whole, frame);
        std::vector<Number> difference(kBins);
        for (UInt32 k = 0; k < kBins; ++k) {
            difference[k] = processor.values[k] - expected[k];
        }
        EXPECT_GT(Norm(expected), 0.0);
        EXPECT_LE(Norm(difference), ConstantQKernel::kRelativeError * Norm(expected));
    }
}

// Twice the frame's length, however long the kernels are.
TEST(AAConstantQSpectralProcessorTest, TheTransformIsNoLongerThanFramesNeed) {
    for (const double rateHz : {22050.0, 44100.0, 48000.0, 96000.0, 192000.0}) {
        EXPECT_EQ(OpenProcessor(rateHz).TransformSize(), 2 * kFrame) << rateHz;
    }
    EXPECT_EQ(OpenProcessor(11025.0).TransformSize(), kFrame);
    EXPECT_EQ(OpenProcessor(1000.0).TransformSize(), 1024u);
}

// What the threshold clears is below a hundredth of the peak, side lobes of which a pure tone in
// the middle of a bin has none: the inner product in time is 1/2 * 0.54.
TEST(AAConstantQSpectralProcessorTest, ASineAtACentreHasHalfTheMeanOfTheWindowAndPeaksThere) {
    const double rateHz = 44100;
    const double longEnough = 51.438606 * rateHz / kFrame; // Hz, where the kernel fills the frame
    // Lives all the time, so that the others share its kernels instead of designing their own.
    const OpenProcessor holder(rateHz);
    int checked = 0;
    for (UInt32 k = 0; k < kBins; ++k) {
        const double hz = 90.0 * std::exp2(k / 36.0);
        if (hz < longEnough) {
            continue;
        }
        // Each push is a whole frame, of which a hop is consumed: start anew.
        OpenProcessor fresh(rateHz);
        fresh.Push(Sine(hz, rateHz));
        // The step of the threshold, and the tone's image at the negative frequency.
        EXPECT_NEAR(fresh.magnitudes[k], 0.27, 0.004) << k;
        const auto peak = std::max_element(fresh.magnitudes.begin(), fresh.magnitudes.end());
        EXPECT_EQ(peak - fresh.magnitudes.begin(), static_cast<std::ptrdiff_t>(k));
        ++checked;
    }
    EXPECT_EQ(checked, 153);
}

// Of a kernel that is longer than the frame only the first part counts: the integral of the window
// over that part, u = frame / length of it, is 0.54 u - 0.46 / (2 pi) sin(2 pi u).
TEST(AAConstantQSpectralProcessorTest, AKernelLongerThanTheFrameMeetsItWithItsBeginning) {
    const double rateHz = 44100;
    for (const UInt32 k : {0u, 12u, 24u, 36u, 48u}) {
        OpenProcessor processor(rateHz);
        const double hz = 90.0 * std::exp2(k / 36.0);
        processor.Push(Sine(hz, rateHz));
        const double u = kFrame * hz / (51.438606 * rateHz);
        const double part =
            0.54 * u - 0.46 / (2 * std::numbers::pi) * std::sin(2 * std::numbers::pi * u);
        // Where the frame breaks off, its spectrum spreads over what the threshold cleared.
        EXPECT_NEAR(processor.magnitudes[k], part / 2, 0.006) << k;
    }
}

TEST(AAConstantQSpectralProcessorTest, SilenceIsZeroAndPartialFramesGiveNoCall) {
    OpenProcessor processor(44100);
    EXPECT_EQ(processor.Push(std::vector<float>(kFrame - 1)), 0);
    EXPECT_EQ(processor.frames, 0);
    EXPECT_EQ(processor.Push({0.0f}), 1);
    EXPECT_EQ(processor.frames, 1);
    EXPECT_EQ(processor.magnitudes, std::vector<float>(kBins, 0.0f));
    EXPECT_EQ(processor.least, 0.0f);
    EXPECT_EQ(processor.greatest, 0.0f);
    EXPECT_EQ(processor.Push(std::vector<float>(3 * kHop - 1)), 1);
    EXPECT_EQ(processor.frames, 3);
}

TEST(AAConstantQSpectralProcessorTest, MagnitudesAreModuliWithTheirExtremes) {
    OpenProcessor processor(44100);
    processor.Push(Noise(kFrame, 3));
    for (UInt32 k = 0; k < kBins; ++k) {
        // Two squares, a sum and a root in single precision.
        EXPECT_NEAR(processor.magnitudes[k], std::abs(processor.values[k]),
                    3e-7 * std::abs(processor.values[k]));
    }
    EXPECT_EQ(processor.least,
              *std::min_element(processor.magnitudes.begin(), processor.magnitudes.end()));
    EXPECT_EQ(processor.greatest,
              *std::max_element(processor.magnitudes.begin(), processor.magnitudes.end()));
    EXPECT_LT(processor.least, processor.greatest);
}

TEST(AAConstantQSpectralProcessorTest, ASampleThatIsNotFiniteSpoilsAllBinsOfItsFramesOnly) {
    for (const float bad :
         {std::numeric_limits<float>::quiet_NaN(), std::numeric_limits<float>::infinity()}) {
        OpenProcessor processor(44100);
        std::vector<float> frame = Noise(kFrame, 5);
        frame[kHop - 1] = bad;
        processor.Push(frame);
        EXPECT_TRUE(std::all_of(processor.magnitudes.begin(), processor.magnitudes.end(),
                                [](float x) { return std::isnan(x); }));
        processor.Push(Noise(kHop, 6));
        EXPECT_EQ(processor.frames, 2);
        EXPECT_TRUE(std::all_of(processor.magnitudes.begin(), processor.magnitudes.end(),
                                [](float x) { return std::isfinite(x); }));
    }
}

TEST(AAConstantQSpectralProcessorTest, LoudFramesWhoseSumIsNotFiniteStayNumbers) {
    OpenProcessor processor(44100);
    std::vector<float> frame = Noise(kFrame, 5);
    for (float& sample : frame) {
        sample *= 1e35f;
    }
    processor.Push(frame);
    EXPECT_TRUE(std::all_of(processor.values.begin(), processor.values.end(), [](Number x) {
        return std::isfinite(x.real()) && std::isfinite(x.imag());
    }));
}

TEST(AAConstantQSpectralProcessorTest, SampleRatesWithoutKernelsGiveZeros) {
    for (const double rateHz : {0.0, -1.0, 1e12, std::numeric_limits<double>::infinity(),
                                std::numeric_limits<double>::quiet_NaN()}) {
        OpenProcessor processor(rateHz);
        EXPECT_EQ(processor.GetNumConstantQBins(), kBins);
        EXPECT_EQ(processor.Push(Noise(kFrame, 9)), 1);
        EXPECT_EQ(processor.magnitudes, std::vector<float>(kBins, 0.0f));
    }
}

} // namespace
} // namespace qel::core
