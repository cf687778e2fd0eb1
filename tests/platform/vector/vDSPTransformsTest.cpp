#include "VectorTesting.h"

#include <Accelerate/vDSP.h>

#include <complex>
#include <memory>
#include <numbers>
#include <sys/resource.h>

namespace qel::testing {
namespace {

using Number = std::complex<double>;
constexpr double kPi = std::numbers::pi;

struct DestroySetup {
    void operator()(FFTSetup setup) const { vDSP_destroy_fftsetup(setup); }
};
using OwnedSetup = std::unique_ptr<OpaqueFFTSetup, DestroySetup>;

OwnedSetup MakeSetup(vDSP_Length log2Size) {
    return OwnedSetup(vDSP_create_fftsetup(log2Size, kFFTRadix2));
}

// Each of the log2 N stages, and the split pass, adds a few roundings relative to the root mean
// square of what it works on; sums of independent errors stay far below this worst case.
double Tolerance(vDSP_Length log2Size, double rootOfEnergy) {
    return (4.0 * static_cast<double>(log2Size) + 8.0) * kRounding * rootOfEnergy;
}

double RootOfEnergy(const std::vector<Number>& x) {
    double energy = 0.0;
    for (const Number& z : x) {
        energy += std::norm(z);
    }
    return std::sqrt(energy * static_cast<double>(x.size()));
}

std::vector<Number> DirectTransform(const std::vector<Number>& x, double sign) {
    const std::size_t size = x.size();
    std::vector<Number> circle(size);
    for (std::size_t n = 0; n < size; ++n) {
        circle[n] =
            std::polar(1.0, sign * 2.0 * kPi * static_cast<double>(n) / static_cast<double>(size));
    }
    std::vector<Number> spectrum(size);
    for (std::size_t k = 0; k < size; ++k) {
        for (std::size_t n = 0; n < size; ++n) {
            spectrum[k] += x[n] * circle[k * n % size];
        }
    }
    return spectrum;
}

std::vector<Number> ToNumbers(const std::vector<float>& re, const std::vector<float>& im) {
    std::vector<Number> numbers(re.size());
    for (std::size_t n = 0; n < re.size(); ++n) {
        numbers[n] = {static_cast<double>(re[n]), static_cast<double>(im[n])};
    }
    return numbers;
}

std::vector<Number> ToNumbers(const std::vector<float>& re) {
    return ToNumbers(re, std::vector<float>(re.size()));
}

void ExpectNear(const std::vector<Number>& actual, const std::vector<Number>& expected,
                double tolerance) {
    ASSERT_EQ(actual.size(), expected.size());
    for (std::size_t n = 0; n < actual.size(); ++n) {
        ASSERT_NEAR(actual[n].real(), expected[n].real(), tolerance) << "element " << n;
        ASSERT_NEAR(actual[n].imag(), expected[n].imag(), tolerance) << "element " << n;
    }
}

// The packed spectrum that stands for the plain transform of real samples.
std::vector<Number> Packed(const std::vector<Number>& plain) {
    const std::size_t half = plain.size() / 2;
    std::vector<Number> packed(half);
    packed[0] = {2.0 * plain[0].real(), 2.0 * plain[half].real()};
    for (std::size_t k = 1; k < half; ++k) {
        packed[k] = 2.0 * plain[k];
    }
    return packed;
}

// The packed transform of samples, through vDSP_ctoz as callers do it.
std::vector<Number> PackedTransform(FFTSetup setup, const std::vector<float>& samples,
                                    vDSP_Length log2Size, vDSP_Stride stride = 1) {
    const std::size_t half = samples.size() / 2;
    FloatVector re(std::vector<float>(half), stride, 1);
    FloatVector im(std::vector<float>(half), stride, 1);
    const DSPSplitComplex split{re.Data(), im.Data()};
    vDSP_ctoz(reinterpret_cast<const DSPComplex*>(samples.data()), 2, &split, stride, half);
    vDSP_fft_zrip(setup, &split, stride, log2Size, FFT_FORWARD);
    EXPECT_TRUE(re.GapsAreIntact() && im.GapsAreIntact());
    return ToNumbers(re.Values(), im.Values());
}

TEST(vDSPTransformsTest, ComplexTransformsAreThoseOfTheDefinition) {
    const OwnedSetup setup = MakeSetup(10);
    for (vDSP_Length log2Size = 0; log2Size <= 10; ++log2Size) {
        const std::size_t size = std::size_t{1} << log2Size;
        const std::vector<float> re = Noise(size, 81);
        const std::vector<float> im = Noise(size, 82);
        const std::vector<Number> x = ToNumbers(re, im);
        for (const FFTDirection direction : {FFT_FORWARD, FFT_INVERSE}) {
            const std::vector<Number> expected = DirectTransform(x, -direction);
            for (const vDSP_Stride stride : {1L, 2L, 3L, -1L}) {
                FloatVector outRe(re, stride, 1);
                FloatVector outIm(im, stride, 1);
                const DSPSplitComplex split{outRe.Data(), outIm.Data()};
                vDSP_fft_zip(setup.get(), &split, stride, log2Size, direction);
                ExpectNear(ToNumbers(outRe.Values(), outIm.Values()), expected,
                           Tolerance(log2Size, RootOfEnergy(x)));
                EXPECT_TRUE(outRe.GapsAreIntact() && outIm.GapsAreIntact());
            }
        }
    }
}

TEST(vDSPTransformsTest, PackedRealTransformsAreTwiceThoseOfTheDefinition) {
    const OwnedSetup setup = MakeSetup(10);
    for (vDSP_Length log2Size = 1; log2Size <= 10; ++log2Size) {
        const std::vector<float> samples = Noise(std::size_t{1} << log2Size, 83);
        const std::vector<Number> x = ToNumbers(samples);
        const std::vector<Number> expected = Packed(DirectTransform(x, -1.0));
        for (const vDSP_Stride stride : {1L, 2L, -1L}) {
            ExpectNear(PackedTransform(setup.get(), samples, log2Size, stride), expected,
                       2.0 * Tolerance(log2Size, RootOfEnergy(x)));
        }
    }
}

TEST(vDSPTransformsTest, PackedInverseUndoesTheForwardTransformUpToTwiceTheLength) {
    const OwnedSetup setup = MakeSetup(16);
    for (vDSP_Length log2Size = 0; log2Size <= 16; ++log2Size) {
        const std::size_t size = std::size_t{1} << log2Size;
        std::vector<float> samples = Noise(size, 84);
        const std::vector<float> original = samples;
        std::vector<float> re(size / 2 + 1);
        std::vector<float> im(size / 2 + 1);
        if (size == 1) {
            re[0] = samples[0];
        }
        const DSPSplitComplex split{re.data(), im.data()};
        vDSP_ctoz(reinterpret_cast<const DSPComplex*>(samples.data()), 2, &split, 1, size / 2);
        vDSP_fft_zrip(setup.get(), &split, 1, log2Size, FFT_FORWARD);
        vDSP_fft_zrip(setup.get(), &split, 1, log2Size, FFT_INVERSE);
        vDSP_ztoc(&split, 1, reinterpret_cast<DSPComplex*>(samples.data()), 2, size / 2);
        if (size == 1) {
            samples[0] = re[0];
        }
        const double factor = 2.0 * static_cast<double>(size);
        // Both ways, relative to the root mean square of the samples, which is below 1.
        const double tolerance = 2.0 * Tolerance(log2Size, 1.0);
        for (std::size_t n = 0; n < size; ++n) {
            ASSERT_NEAR(static_cast<double>(samples[n]) / factor, static_cast<double>(original[n]),
                        tolerance)
                << "size " << size << ", sample " << n;
        }
    }
}

TEST(vDSPTransformsTest, ComplexInverseUndoesTheForwardTransformUpToTheLength) {
    const OwnedSetup setup = MakeSetup(16);
    for (vDSP_Length log2Size = 0; log2Size <= 16; ++log2Size) {
        const std::size_t size = std::size_t{1} << log2Size;
        const std::vector<float> re = Noise(size, 85);
        const std::vector<float> im = Noise(size, 86);
        std::vector<float> outRe = re;
        std::vector<float> outIm = im;
        const DSPSplitComplex split{outRe.data(), outIm.data()};
        vDSP_fft_zip(setup.get(), &split, 1, log2Size, FFT_FORWARD);
        vDSP_fft_zip(setup.get(), &split, 1, log2Size, FFT_INVERSE);
        std::vector<Number> scaled = ToNumbers(outRe, outIm);
        for (Number& z : scaled) {
            z /= static_cast<double>(size);
        }
        ExpectNear(scaled, ToNumbers(re, im), 2.0 * Tolerance(log2Size, 1.0));
    }
}

TEST(vDSPTransformsTest, AnImpulseHasAFlatSpectrumWithTurningPhase) {
    const OwnedSetup setup = MakeSetup(16);
    for (vDSP_Length log2Size = 2; log2Size <= 16; ++log2Size) {
        const std::size_t size = std::size_t{1} << log2Size;
        for (const std::size_t place : {std::size_t{0}, std::size_t{1}, size / 2, size - 1}) {
            std::vector<float> samples(size);
            samples[place] = 1.0f;
            std::vector<Number> plain(size);
            for (std::size_t k = 0; k < size; ++k) {
                const auto turns = static_cast<double>(k * place % size);
                plain[k] = std::polar(1.0, -2.0 * kPi * turns / static_cast<double>(size));
            }
            ExpectNear(PackedTransform(setup.get(), samples, log2Size), Packed(plain),
                       2.0 * Tolerance(log2Size, 1.0));
        }
    }
}

TEST(vDSPTransformsTest, ACosineOnABinHasOneLine) {
    const OwnedSetup setup = MakeSetup(16);
    for (vDSP_Length log2Size = 3; log2Size <= 16; ++log2Size) {
        const std::size_t size = std::size_t{1} << log2Size;
        const auto length = static_cast<double>(size);
        const double phase = 0.7;
        for (const std::size_t bin : {std::size_t{1}, size / 4, size / 2 - 1}) {
            std::vector<float> samples(size);
            for (std::size_t n = 0; n < size; ++n) {
                const auto turns = static_cast<double>(bin * n % size);
                samples[n] = static_cast<float>(std::cos(2.0 * kPi * turns / length + phase));
            }
            // The plain line is N / 2 e^(i phase), and the packed one twice as high.
            std::vector<Number> expected(size / 2);
            expected[bin] = std::polar(length, phase);
            ExpectNear(PackedTransform(setup.get(), samples, log2Size), expected,
                       2.0 * Tolerance(log2Size, length));
        }
    }
}

TEST(vDSPTransformsTest, DCAndNyquistShareTheFirstElement) {
    const OwnedSetup setup = MakeSetup(12);
    for (vDSP_Length log2Size = 1; log2Size <= 12; ++log2Size) {
        const std::size_t size = std::size_t{1} << log2Size;
        std::vector<float> samples(size);
        for (std::size_t n = 0; n < size; ++n) {
            samples[n] = 0.25f + (n % 2 == 0 ? 0.5f : -0.5f);
        }
        // Powers of two throughout, so that every sum is exact.
        const auto length = static_cast<double>(size);
        const std::vector<Number> packed = PackedTransform(setup.get(), samples, log2Size);
        EXPECT_EQ(packed[0], Number(2.0 * 0.25 * length, 2.0 * 0.5 * length));
        for (std::size_t k = 1; k < packed.size(); ++k) {
            EXPECT_EQ(packed[k], Number()) << k;
        }
    }
}

TEST(vDSPTransformsTest, OneSampleIsDoubledForwardAndKeptInverse) {
    const OwnedSetup setup = MakeSetup(0);
    float re = 3.0f;
    float im = 5.0f;
    const DSPSplitComplex split{&re, &im};
    vDSP_fft_zrip(setup.get(), &split, 1, 0, FFT_FORWARD);
    EXPECT_EQ(re, 6.0f);
    vDSP_fft_zrip(setup.get(), &split, 1, 0, FFT_INVERSE);
    EXPECT_EQ(re, 6.0f);
    EXPECT_EQ(im, 5.0f);
}

TEST(vDSPTransformsTest, TransformsAreLinear) {
    constexpr vDSP_Length kLog2Size = 11;
    const OwnedSetup setup = MakeSetup(kLog2Size);
    const std::vector<float> a = Noise(std::size_t{1} << kLog2Size, 87);
    const std::vector<float> b = Noise(std::size_t{1} << kLog2Size, 88);
    std::vector<float> mixture(a.size());
    for (std::size_t n = 0; n < a.size(); ++n) {
        mixture[n] = 0.5f * a[n] - 2.0f * b[n];
    }
    std::vector<Number> expected = PackedTransform(setup.get(), a, kLog2Size);
    const std::vector<Number> second = PackedTransform(setup.get(), b, kLog2Size);
    for (std::size_t k = 0; k < expected.size(); ++k) {
        expected[k] = 0.5 * expected[k] - 2.0 * second[k];
    }
    ExpectNear(PackedTransform(setup.get(), mixture, kLog2Size), expected,
               4.0 * Tolerance(kLog2Size, RootOfEnergy(ToNumbers(mixture))));
}

// From a plain vector, from split ones with gaps, and back.
TEST(vDSPTransformsTest, FromOneVectorToAnotherIsTheTransformInPlace) {
    const OwnedSetup setup = MakeSetup(10);
    for (vDSP_Length log2Size = 1; log2Size <= 10; ++log2Size) {
        const std::size_t half = (std::size_t{1} << log2Size) / 2;
        std::vector<float> samples = Noise(2 * half, 89);
        const std::vector<float> original = samples;
        const DSPSplitComplex pairs{samples.data(), samples.data() + 1};
        for (const FFTDirection direction : {FFT_FORWARD, FFT_INVERSE}) {
            FloatVector inPlaceRe(std::vector<float>(half), 1, 1);
            FloatVector inPlaceIm(std::vector<float>(half), 1, 1);
            const DSPSplitComplex inPlace{inPlaceRe.Data(), inPlaceIm.Data()};
            vDSP_ctoz(reinterpret_cast<const DSPComplex*>(samples.data()), 2, &inPlace, 1, half);
            FloatVector inRe(inPlaceRe.Values(), 3, 1);
            FloatVector inIm(inPlaceIm.Values(), 3, 1);
            const DSPSplitComplex split{inRe.Data(), inIm.Data()};
            vDSP_fft_zrip(setup.get(), &inPlace, 1, log2Size, direction);
            for (const vDSP_Stride stride : {1L, 2L, -1L}) {
                for (const auto& [input, inputStride] : {std::pair{&pairs, 2L}, {&split, 3L}}) {
                    FloatVector re(std::vector<float>(half), stride, 1);
                    FloatVector im(std::vector<float>(half), stride, 1);
                    const DSPSplitComplex out{re.Data(), im.Data()};
                    vDSP_fft_zrop(setup.get(), input, inputStride, &out, stride, log2Size,
                                  direction);
                    EXPECT_EQ(re.Values(), inPlaceRe.Values());
                    EXPECT_EQ(im.Values(), inPlaceIm.Values());
                    EXPECT_TRUE(re.GapsAreIntact() && im.GapsAreIntact());
                }
            }
        }
        EXPECT_EQ(samples, original);
    }
    float sample = 3.0f;
    float re = 0.0f;
    const DSPSplitComplex one{&sample, nullptr};
    const DSPSplitComplex out{&re, nullptr};
    vDSP_fft_zrop(setup.get(), &one, 1, &out, 1, 0, FFT_FORWARD);
    EXPECT_EQ(re, 6.0f);
    EXPECT_EQ(sample, 3.0f);
}

TEST(vDSPTransformsTest, ASetupServesSmallerTransformsAndNoLargerOnes) {
    const OwnedSetup setup = MakeSetup(3);
    std::vector<float> re(16, 1.0f);
    std::vector<float> im(16, 1.0f);
    const DSPSplitComplex split{re.data(), im.data()};
    vDSP_fft_zip(setup.get(), &split, 1, 2, FFT_FORWARD);
    EXPECT_EQ(re[0], 4.0f);
    EXPECT_EQ(re[4], 1.0f);
    const std::vector<float> before = re;
    vDSP_fft_zip(setup.get(), &split, 1, 4, FFT_FORWARD);
    vDSP_fft_zrip(setup.get(), &split, 1, 4, FFT_FORWARD);
    vDSP_fft_zip(nullptr, &split, 1, 2, FFT_FORWARD);
    const std::vector<float> samples(32, 1.0f);
    const DSPSplitComplex pairs{const_cast<float*>(samples.data()),
                                const_cast<float*>(samples.data()) + 1};
    vDSP_fft_zrop(setup.get(), &pairs, 2, &split, 1, 4, FFT_FORWARD);
    vDSP_fft_zrop(nullptr, &pairs, 2, &split, 1, 2, FFT_FORWARD);
    EXPECT_EQ(re, before);
}

TEST(vDSPTransformsTest, SetupsBeyondTheLimitAndOfOtherRadicesAreRefused) {
    EXPECT_EQ(vDSP_create_fftsetup(31, kFFTRadix2), nullptr);
    EXPECT_EQ(vDSP_create_fftsetup(~vDSP_Length{0}, kFFTRadix2), nullptr);
    EXPECT_EQ(vDSP_create_fftsetup(10, kFFTRadix3), nullptr);
    EXPECT_EQ(vDSP_create_fftsetup(10, kFFTRadix5), nullptr);
    vDSP_destroy_fftsetup(nullptr);
}

// The most memory that the process has had so far, in KiB.
long PeakMemory() {
    rusage usage = {};
    EXPECT_EQ(getrusage(RUSAGE_SELF, &usage), 0);
    return usage.ru_maxrss;
}

TEST(vDSPTransformsTest, TheLargestSetupTakesNoLargeMemoryByItself) {
    const long before = PeakMemory();
    EXPECT_NE(MakeSetup(30), nullptr);
    // The factors of that size are a quarter of the circle's cosines and sines: 2^29 floats, 2 GiB.
    // They are left until they are used, and anything near 1% of them is far too much.
    EXPECT_LT(PeakMemory() - before, 20 * 1024);
}

} // namespace
} // namespace qel::testing
