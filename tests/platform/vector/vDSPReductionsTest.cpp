// Sums in single precision against sums in double precision.

#include "InstructionSets.h"
#include "VectorTesting.h"

#include <Accelerate/vDSP.h>

#include <bit>

namespace qel::testing {
namespace {

// A sum of `count` terms is kept in 32 partial sums, each of at most count / 32 + 1 additions,
// which five more additions join; a term may be a rounded product, and a mean is one division more,
// a root another. Every rounding is relative to a number no greater than the sum of magnitudes.
double Tolerance(std::size_t count, double sumOfMagnitudes) {
    return (static_cast<double>(count) / 32.0 + 1.0 + 5.0 + 3.0) * kRounding * sumOfMagnitudes;
}

double Sum(const std::vector<float>& a, double (*term)(double)) {
    double sum = 0.0;
    for (const float x : a) {
        sum += term(static_cast<double>(x));
    }
    return sum;
}

using Reduction = void (*)(const float*, vDSP_Stride, float*, vDSP_Length);

void CheckReduction(Reduction function, double (*term)(double),
                    double (*finish)(double sum, double count)) {
    ForEachShape([&](const Shape& shape) {
        const std::vector<float> a = Noise(shape.count, 11);
        FloatVector in(a, shape.first, shape.offset);
        float actual = -77.0f;
        function(in.Data(), in.Stride(), &actual, shape.count);
        if (shape.count == 0) {
            EXPECT_EQ(actual, 0.0f);
            return;
        }
        const auto count = static_cast<double>(shape.count);
        const double magnitudes = Sum(a, [](double x) { return std::abs(x); });
        EXPECT_NEAR(static_cast<double>(actual), finish(Sum(a, term), count),
                    Tolerance(shape.count, finish(magnitudes, count)));
    });
}

double Identity(double x) {
    return x;
}
double Magnitude(double x) {
    return std::abs(x);
}
double Square(double x) {
    return x * x;
}
double TheSum(double sum, double) {
    return sum;
}
double Mean(double sum, double count) {
    return sum / count;
}
double RootOfMean(double sum, double count) {
    return std::sqrt(sum / count);
}

TEST(vDSPReductionsTest, SveSums) {
    CheckReduction(vDSP_sve, Identity, TheSum);
}

TEST(vDSPReductionsTest, SvemgSumsMagnitudes) {
    CheckReduction(vDSP_svemg, Magnitude, TheSum);
}

TEST(vDSPReductionsTest, SvesqSumsSquares) {
    CheckReduction(vDSP_svesq, Square, TheSum);
}

TEST(vDSPReductionsTest, MeanvIsTheMean) {
    CheckReduction(vDSP_meanv, Identity, Mean);
}

TEST(vDSPReductionsTest, RmsqvIsTheRootOfTheMeanSquare) {
    CheckReduction(vDSP_rmsqv, Square, RootOfMean);
}

TEST(vDSPReductionsTest, DotprSumsProducts) {
    ForEachShape([](const Shape& shape) {
        const std::vector<float> a = Noise(shape.count, 12);
        const std::vector<float> b = Noise(shape.count, 13);
        double expected = 0.0;
        double magnitudes = 0.0;
        for (std::size_t n = 0; n < shape.count; ++n) {
            const double product = static_cast<double>(a[n]) * static_cast<double>(b[n]);
            expected += product;
            magnitudes += std::abs(product);
        }
        FloatVector first(a, shape.first, shape.offset);
        FloatVector second(b, shape.second, shape.offset);
        float actual = -77.0f;
        vDSP_dotpr(first.Data(), first.Stride(), second.Data(), second.Stride(), &actual,
                   shape.count);
        EXPECT_NEAR(static_cast<double>(actual), expected, Tolerance(shape.count, magnitudes));
    });
}

TEST(vDSPReductionsTest, WholeNumbersSumExactly) {
    std::vector<float> a(1000);
    for (std::size_t n = 0; n < a.size(); ++n) {
        a[n] = static_cast<float>(n + 1);
    }
    float sum = 0.0f;
    vDSP_sve(a.data(), 1, &sum, a.size());
    EXPECT_EQ(sum, 500500.0f);
    vDSP_meanv(a.data(), 1, &sum, a.size());
    EXPECT_EQ(sum, 500.5f);
}

TEST(vDSPReductionsTest, AnEmptyVectorIsNotRead) {
    float actual = -77.0f;
    for (const Reduction function : {vDSP_sve, vDSP_svemg, vDSP_svesq, vDSP_meanv, vDSP_rmsqv}) {
        actual = -77.0f;
        function(nullptr, 1, &actual, 0);
        EXPECT_EQ(actual, 0.0f);
    }
    actual = -77.0f;
    vDSP_dotpr(nullptr, 1, nullptr, 1, &actual, 0);
    EXPECT_EQ(actual, 0.0f);
}

TEST(vDSPReductionsTest, TheStrideDoesNotChangeASum) {
    const std::vector<float> a = Noise(1023, 14);
    FloatVector packed(a, 1);
    FloatVector spread(a, 3);
    float first = 0.0f;
    float second = 1.0f;
    vDSP_svesq(packed.Data(), 1, &first, a.size());
    vDSP_svesq(spread.Data(), 3, &second, a.size());
    EXPECT_EQ(first, second);
}

TEST(vDSPReductionsTest, EveryInstructionSetGivesTheSameBits) {
    for (const std::size_t count : kCounts) {
        const std::vector<float> a = Noise(count, 15);
        const std::vector<float> b = Noise(count, 16);
        std::vector<std::uint32_t> sums;
        std::vector<std::uint32_t> products;
        ForEachInstructionSet([&] {
            float sum = -77.0f;
            float product = -77.0f;
            vDSP_sve(a.data(), 1, &sum, count);
            vDSP_dotpr(a.data(), 1, b.data(), 1, &product, count);
            sums.push_back(std::bit_cast<std::uint32_t>(sum));
            products.push_back(std::bit_cast<std::uint32_t>(product));
            EXPECT_EQ(sums.back(), sums.front()) << "sum of " << count;
            EXPECT_EQ(products.back(), products.front()) << "product of " << count;
        });
    }
}

TEST(vDSPReductionsTest, NaNReachesTheSum) {
    for (const std::size_t place : {std::size_t{0}, std::size_t{40}, std::size_t{66}}) {
        std::vector<float> a(67, 1.0f);
        a[place] = NAN;
        float sum = 0.0f;
        vDSP_sve(a.data(), 1, &sum, a.size());
        EXPECT_TRUE(std::isnan(sum)) << place;
    }
}

} // namespace
} // namespace qel::testing
