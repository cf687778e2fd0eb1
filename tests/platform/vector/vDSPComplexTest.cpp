#include "InstructionSets.h"
#include "VectorTesting.h"

#include <Accelerate/vDSP.h>

#include <complex>
#include <numbers>
#include <set>
#include <utility>

namespace qel::testing {
namespace {

using Number = std::complex<double>;

// A split-complex vector for the functions under test.
class SplitVector {
public:
    SplitVector(std::size_t count, unsigned seed, vDSP_Stride stride, std::size_t offset)
        : mRe(Noise(count, seed), stride, offset), mIm(Noise(count, seed + 100), stride, offset) {}

    DSPSplitComplex Split() { return {mRe.Data(), mIm.Data()}; }
    vDSP_Stride Stride() const { return mRe.Stride(); }
    bool GapsAreIntact() const { return mRe.GapsAreIntact() && mIm.GapsAreIntact(); }

    std::vector<Number> Values() const {
        const std::vector<float> re = mRe.Values();
        const std::vector<float> im = mIm.Values();
        std::vector<Number> values(re.size());
        for (std::size_t n = 0; n < values.size(); ++n) {
            values[n] = {static_cast<double>(re[n]), static_cast<double>(im[n])};
        }
        return values;
    }

private:
    FloatVector mRe;
    FloatVector mIm;
};

// A sum of two products of numbers below sqrt(2) in magnitude: two rounded products, each below 1
// in its parts, and one rounded sum below 2 give at most 2 + 2 roundings relative to 1.
constexpr double kProductError = 4 * kRounding;

void ExpectNear(const std::vector<Number>& actual, const std::vector<Number>& expected,
                double tolerance) {
    ASSERT_EQ(actual.size(), expected.size());
    for (std::size_t n = 0; n < actual.size(); ++n) {
        ASSERT_NEAR(actual[n].real(), expected[n].real(), tolerance) << "element " << n;
        ASSERT_NEAR(actual[n].imag(), expected[n].imag(), tolerance) << "element " << n;
    }
}

// function(A, IA, B, IB, C, IC, N), out of place and in place of B.
template <class Function, class Reference>
void CheckBinary(const Function& function, const Reference& reference, double tolerance) {
    ForEachShape([&](const Shape& shape) {
        SplitVector a(shape.count, 1, shape.first, shape.offset);
        SplitVector b(shape.count, 2, shape.second, shape.offset);
        SplitVector c(shape.count, 3, shape.output, shape.offset);
        const std::vector<Number> left = a.Values();
        const std::vector<Number> right = b.Values();
        std::vector<Number> expected(shape.count);
        for (std::size_t n = 0; n < shape.count; ++n) {
            expected[n] = reference(left[n], right[n]);
        }
        const auto call = [&](SplitVector& result) {
            const DSPSplitComplex splitA = a.Split();
            const DSPSplitComplex splitB = b.Split();
            const DSPSplitComplex splitC = result.Split();
            function(&splitA, a.Stride(), &splitB, b.Stride(), &splitC, result.Stride(),
                     shape.count);
        };
        call(c);
        ExpectNear(c.Values(), expected, tolerance);
        EXPECT_TRUE(c.GapsAreIntact());
        call(b);
        ExpectNear(b.Values(), expected, tolerance);
    });
}

template <class Function, class Check>
void CheckToReal(const Function& function, const Check& check) {
    ForEachShape([&](const Shape& shape) {
        SplitVector a(shape.count, 4, shape.first, shape.offset);
        FloatVector c(std::vector<float>(shape.count), shape.output, shape.offset);
        const DSPSplitComplex split = a.Split();
        function(&split, a.Stride(), c.Data(), c.Stride(), shape.count);
        const std::vector<Number> in = a.Values();
        const std::vector<float> out = c.Values();
        for (std::size_t n = 0; n < shape.count; ++n) {
            check(in[n], out[n]);
        }
        EXPECT_TRUE(c.GapsAreIntact());
    });
}

TEST(vDSPComplexTest, ZvaddAdds) {
    // One rounding of a sum below 2.
    CheckBinary(
        vDSP_zvadd, [](Number a, Number b) { return a + b; }, 2 * kRounding);
}

TEST(vDSPComplexTest, ZvmulWithFlagOneIsThePlainProduct) {
    CheckBinary([](auto... arguments) { vDSP_zvmul(arguments..., 1); },
                [](Number a, Number b) { return a * b; }, kProductError);
}

TEST(vDSPComplexTest, ZvmulWithFlagMinusOneConjugatesTheFirstFactor) {
    CheckBinary([](auto... arguments) { vDSP_zvmul(arguments..., -1); },
                [](Number a, Number b) { return std::conj(a) * b; }, kProductError);
}

TEST(vDSPComplexTest, ZvcmulConjugatesTheFirstFactor) {
    CheckBinary(
        vDSP_zvcmul, [](Number a, Number b) { return std::conj(a) * b; }, kProductError);
}

TEST(vDSPComplexTest, ZrvmulMultipliesBothPartsByARealVector) {
    ForEachShape([&](const Shape& shape) {
        SplitVector a(shape.count, 5, shape.first, shape.offset);
        const std::vector<float> factors = Noise(shape.count, 6);
        FloatVector b(factors, shape.second, shape.offset);
        std::vector<Number> expected = a.Values();
        for (std::size_t n = 0; n < shape.count; ++n) {
            expected[n] *= static_cast<double>(factors[n]);
        }
        const DSPSplitComplex split = a.Split();
        vDSP_zrvmul(&split, a.Stride(), b.Data(), b.Stride(), &split, a.Stride(), shape.count);
        ExpectNear(a.Values(), expected, kRounding);
        EXPECT_TRUE(a.GapsAreIntact());
    });
}

// Sums of `count` products of parts below 1, each with two roundings, in single precision.
template <class Function, class Product>
void CheckSumOfProducts(const Function& function, const Product& product) {
    ForEachInstructionSet([&] {
        ForEachShape([&](const Shape& shape) {
            SplitVector a(shape.count, 7, shape.first, shape.offset);
            SplitVector b(shape.count, 8, shape.second, shape.offset);
            const std::vector<Number> aValues = a.Values();
            const std::vector<Number> bValues = b.Values();
            Number expected = 0.0;
            for (std::size_t n = 0; n < shape.count; ++n) {
                expected += product(aValues[n], bValues[n]);
            }
            float re = -1.0f;
            float im = -1.0f;
            const DSPSplitComplex aSplit = a.Split();
            const DSPSplitComplex bSplit = b.Split();
            const DSPSplitComplex sum{&re, &im};
            function(&aSplit, a.Stride(), &bSplit, b.Stride(), &sum, shape.count);
            const double tolerance = kProductError * static_cast<double>(shape.count);
            ASSERT_NEAR(static_cast<double>(re), expected.real(), tolerance);
            ASSERT_NEAR(static_cast<double>(im), expected.imag(), tolerance);
        });
    });
}

TEST(vDSPComplexTest, ZdotprSumsProducts) {
    CheckSumOfProducts(vDSP_zdotpr, [](Number a, Number b) { return a * b; });
}

TEST(vDSPComplexTest, ZidotprConjugatesTheFirstFactor) {
    CheckSumOfProducts(vDSP_zidotpr, [](Number a, Number b) { return std::conj(a) * b; });
}

TEST(vDSPComplexTest, SumsOfProductsAreTheSameOnEveryInstructionSet) {
    SplitVector a(77, 9, 1, 0);
    SplitVector b(77, 10, 1, 1);
    std::set<std::pair<float, float>> results;
    ForEachInstructionSet([&] {
        float re = 0.0f;
        float im = 0.0f;
        const DSPSplitComplex aSplit = a.Split();
        const DSPSplitComplex bSplit = b.Split();
        const DSPSplitComplex sum{&re, &im};
        vDSP_zdotpr(&aSplit, a.Stride(), &bSplit, b.Stride(), &sum, 77);
        results.emplace(re, im);
    });
    EXPECT_EQ(results.size(), 1u);
}

TEST(vDSPComplexTest, ZvmagsGivesSquaredModuli) {
    CheckToReal(vDSP_zvmags, [](Number z, float actual) {
        ASSERT_NEAR(static_cast<double>(actual), std::norm(z), 2.5 * kRounding * std::norm(z));
    });
}

TEST(vDSPComplexTest, ZvabsGivesModuli) {
    CheckToReal(vDSP_zvabs, [](Number z, float actual) {
        // The root halves the relative error of the squared modulus and is rounded itself.
        ASSERT_NEAR(static_cast<double>(actual), std::abs(z), 2.5 * kRounding * std::abs(z));
    });
}

TEST(vDSPComplexTest, ZvphasKeepsItsBound) {
    ForEachInstructionSet([] {
        CheckToReal(vDSP_zvphas, [](Number z, float actual) {
            ASSERT_LE(UlpDistance(actual, std::atan2(z.imag(), z.real())), kVDSPPhaseMaxUlp) << z;
        });
    });
}

TEST(vDSPComplexTest, ZvphasKeepsItsBoundForPartsOfVeryDifferentSize) {
    std::vector<float> re;
    std::vector<float> im;
    for (int e = -40; e <= 40; ++e) {
        for (const float x : Noise(64, static_cast<unsigned>(e + 50))) {
            for (const float sign : {-1.0f, 1.0f}) {
                re.push_back(sign * x);
                im.push_back(std::ldexp(0.7f + x / 4, e));
            }
        }
    }
    std::vector<float> angles(re.size());
    const DSPSplitComplex split{re.data(), im.data()};
    ForEachInstructionSet([&] {
        vDSP_zvphas(&split, 1, angles.data(), 1, angles.size());
        for (std::size_t n = 0; n < re.size(); ++n) {
            const double exact = std::atan2(static_cast<double>(im[n]), static_cast<double>(re[n]));
            ASSERT_LE(UlpDistance(angles[n], exact), kVDSPPhaseMaxUlp) << re[n] << " " << im[n];
        }
    });
}

TEST(vDSPComplexTest, ZvphasOfAxesZerosAndInfinities) {
    constexpr float kPi = std::numbers::pi_v<float>;
    struct Case {
        float re, im, angle;
    };
    const std::vector<Case> cases = {
        {0.0f, 0.0f, 0.0f},
        {-0.0f, 0.0f, 0.0f},
        {0.0f, -0.0f, 0.0f},
        {-0.0f, -0.0f, 0.0f},
        {1.0f, 0.0f, 0.0f},
        {-1.0f, 0.0f, kPi},
        {-1.0f, -0.0f, -kPi},
        {0.0f, 2.0f, kPi / 2},
        {-0.0f, -2.0f, -kPi / 2},
        {INFINITY, 1.0f, 0.0f},
        {-INFINITY, 1.0f, kPi},
        {1.0f, -INFINITY, -kPi / 2},
        {INFINITY, INFINITY, kPi / 4},
        {-INFINITY, -INFINITY, -3 * kPi / 4},
        {0x1p-149f, 0x1p-149f, kPi / 4},
    };
    for (const Case& c : cases) {
        // Once by the vector loop, once by the single lane.
        for (const std::size_t count : {std::size_t{1}, std::size_t{64}}) {
            std::vector<float> re(count, c.re);
            std::vector<float> im(count, c.im);
            std::vector<float> angles(count, 99.0f);
            const DSPSplitComplex split{re.data(), im.data()};
            vDSP_zvphas(&split, 1, angles.data(), 1, count);
            EXPECT_FLOAT_EQ(angles.back(), c.angle) << c.re << " " << c.im;
            EXPECT_EQ(std::signbit(angles.front()), std::signbit(c.angle)) << c.re << " " << c.im;
        }
    }
}

TEST(vDSPComplexTest, AnAngleOfNoNumberIsNoNumber) {
    for (const float other : {1.0f, 0.0f, -0.0f, INFINITY}) {
        for (const std::size_t count : {std::size_t{1}, std::size_t{64}}) {
            std::vector<float> nan(count, NAN);
            std::vector<float> number(count, other);
            std::vector<float> angles(count, 99.0f);
            for (const DSPSplitComplex split : {DSPSplitComplex{nan.data(), number.data()},
                                                DSPSplitComplex{number.data(), nan.data()}}) {
                vDSP_zvphas(&split, 1, angles.data(), 1, count);
                EXPECT_TRUE(std::isnan(angles.front())) << other;
                EXPECT_TRUE(std::isnan(angles.back())) << other;
            }
        }
    }
}

TEST(vDSPComplexTest, CtozAndZtocGoBetweenPairsAndSplitForm) {
    for (const std::size_t count : kCounts) {
        for (const vDSP_Stride pairStride : {2L, 4L}) {
            for (const vDSP_Stride splitStride : {1L, 2L, -1L}) {
                const std::size_t step = static_cast<std::size_t>(pairStride) / 2;
                std::vector<DSPComplex> pairs(count * step, DSPComplex{-5.0f, -6.0f});
                std::vector<float> re(count);
                std::vector<float> im(count);
                for (std::size_t n = 0; n < count; ++n) {
                    re[n] = static_cast<float>(n) + 0.25f;
                    im[n] = -static_cast<float>(n) - 0.5f;
                    pairs[n * step] = {re[n], im[n]};
                }
                FloatVector splitRe(std::vector<float>(count), splitStride, 1);
                FloatVector splitIm(std::vector<float>(count), splitStride, 1);
                const DSPSplitComplex split{splitRe.Data(), splitIm.Data()};
                vDSP_ctoz(pairs.data(), pairStride, &split, splitStride, count);
                EXPECT_EQ(splitRe.Values(), re);
                EXPECT_EQ(splitIm.Values(), im);
                EXPECT_TRUE(splitRe.GapsAreIntact() && splitIm.GapsAreIntact());

                std::vector<DSPComplex> back(count * step, DSPComplex{-5.0f, -6.0f});
                vDSP_ztoc(&split, splitStride, back.data(), pairStride, count);
                for (std::size_t n = 0; n < back.size(); ++n) {
                    EXPECT_EQ(back[n].real, pairs[n].real);
                    EXPECT_EQ(back[n].imag, pairs[n].imag);
                }
            }
        }
    }
}

} // namespace
} // namespace qel::testing
