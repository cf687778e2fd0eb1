// Every element is one or two rounded operations, which double precision, rounded once per
// operation, gives to the last bit: expectations are exact.

#include "VectorTesting.h"

#include <Accelerate/vDSP.h>

#include <limits>

namespace qel::testing {
namespace {

double Double(float x) {
    return static_cast<double>(x);
}

using Unary = void (*)(const float*, vDSP_Stride, float*, vDSP_Stride, vDSP_Length);
using Scalar = void (*)(const float*, vDSP_Stride, const float*, float*, vDSP_Stride, vDSP_Length);
using Binary = void (*)(const float*, vDSP_Stride, const float*, vDSP_Stride, float*, vDSP_Stride,
                        vDSP_Length);

template <class Reference>
void CheckUnary(Unary function, const Reference& reference) {
    ForEachShape([&](const Shape& shape) {
        const std::vector<float> a = Noise(shape.count, 1);
        std::vector<float> expected(shape.count);
        for (std::size_t n = 0; n < shape.count; ++n) {
            expected[n] = static_cast<float>(reference(Double(a[n])));
        }
        FloatVector in(a, shape.first, shape.offset);
        FloatVector out(std::vector<float>(shape.count), shape.output, shape.offset);
        function(in.Data(), in.Stride(), out.Data(), out.Stride(), shape.count);
        EXPECT_EQ(out.Values(), expected);
        EXPECT_TRUE(out.GapsAreIntact());
        function(in.Data(), in.Stride(), in.Data(), in.Stride(), shape.count);
        EXPECT_EQ(in.Values(), expected) << "in place";
        EXPECT_TRUE(in.GapsAreIntact());
    });
}

template <class Reference>
void CheckScalar(Scalar function, const Reference& reference) {
    constexpr float kOperand = 0.37f;
    ForEachShape([&](const Shape& shape) {
        const std::vector<float> a = Noise(shape.count, 2);
        std::vector<float> expected(shape.count);
        for (std::size_t n = 0; n < shape.count; ++n) {
            expected[n] = static_cast<float>(reference(Double(a[n]), Double(kOperand)));
        }
        FloatVector in(a, shape.first, shape.offset);
        FloatVector out(std::vector<float>(shape.count), shape.output, shape.offset);
        function(in.Data(), in.Stride(), &kOperand, out.Data(), out.Stride(), shape.count);
        EXPECT_EQ(out.Values(), expected);
        EXPECT_TRUE(out.GapsAreIntact());
        function(in.Data(), in.Stride(), &kOperand, in.Data(), in.Stride(), shape.count);
        EXPECT_EQ(in.Values(), expected) << "in place";
    });
}

// `reference` takes the two vectors in the order of the arguments.
template <class Reference>
void CheckBinary(Binary function, const Reference& reference) {
    ForEachShape([&](const Shape& shape) {
        const std::vector<float> a = Noise(shape.count, 3);
        const std::vector<float> b = Noise(shape.count, 4);
        std::vector<float> expected(shape.count);
        for (std::size_t n = 0; n < shape.count; ++n) {
            expected[n] = static_cast<float>(reference(Double(a[n]), Double(b[n])));
        }
        FloatVector first(a, shape.first, shape.offset);
        FloatVector second(b, shape.second, shape.offset);
        FloatVector out(std::vector<float>(shape.count), shape.output, shape.offset);
        const auto call = [&](FloatVector& result) {
            function(first.Data(), first.Stride(), second.Data(), second.Stride(), result.Data(),
                     result.Stride(), shape.count);
        };
        call(out);
        EXPECT_EQ(out.Values(), expected);
        EXPECT_TRUE(out.GapsAreIntact());
        call(second);
        EXPECT_EQ(second.Values(), expected) << "in place of the second";
        second = FloatVector(b, shape.second, shape.offset);
        call(first);
        EXPECT_EQ(first.Values(), expected) << "in place of the first";
    });
}

TEST(vDSPArithmeticTest, VaddAdds) {
    CheckBinary(vDSP_vadd, [](double a, double b) { return a + b; });
}

TEST(vDSPArithmeticTest, VsubSubtractsItsFirstVectorFromItsSecond) {
    CheckBinary(vDSP_vsub, [](double first, double second) { return second - first; });
}

TEST(vDSPArithmeticTest, VmulMultiplies) {
    CheckBinary(vDSP_vmul, [](double a, double b) { return a * b; });
}

TEST(vDSPArithmeticTest, VdivDividesItsSecondVectorByItsFirst) {
    CheckBinary(vDSP_vdiv, [](double first, double second) { return second / first; });
}

TEST(vDSPArithmeticTest, VabsTakesMagnitudes) {
    CheckUnary(vDSP_vabs, [](double a) { return std::abs(a); });
}

TEST(vDSPArithmeticTest, VsqSquares) {
    CheckUnary(vDSP_vsq, [](double a) { return a * a; });
}

TEST(vDSPArithmeticTest, VsaddAddsAScalar) {
    CheckScalar(vDSP_vsadd, [](double a, double b) { return a + b; });
}

TEST(vDSPArithmeticTest, VsmulMultipliesByAScalar) {
    CheckScalar(vDSP_vsmul, [](double a, double b) { return a * b; });
}

TEST(vDSPArithmeticTest, VsdivDividesByAScalar) {
    CheckScalar(vDSP_vsdiv, [](double a, double b) { return a / b; });
}

TEST(vDSPArithmeticTest, VthrRaisesWhatIsBelowTheThresholdToIt) {
    CheckScalar(vDSP_vthr, [](double a, double b) { return a >= b ? a : b; });
}

TEST(vDSPArithmeticTest, VthrKeepsTheThresholdItselfAndInfinityAndReplacesNaN) {
    const float infinity = std::numeric_limits<float>::infinity();
    const std::vector<float> a = {0.5f, infinity, -infinity, NAN, 0.49f, 0.5f, 0.51f, NAN, 1.0f};
    const std::vector<float> expected = {0.5f, infinity, 0.5f, 0.5f, 0.5f, 0.5f, 0.51f, 0.5f, 1.0f};
    const float threshold = 0.5f;
    std::vector<float> c(a.size());
    vDSP_vthr(a.data(), 1, &threshold, c.data(), 1, a.size());
    EXPECT_EQ(c, expected);
}

TEST(vDSPArithmeticTest, ScalarsMayStandInsideTheVectorThatIsOverwritten) {
    std::vector<float> a(100, 3.0f);
    vDSP_vsdiv(a.data(), 1, &a[0], a.data(), 1, a.size());
    EXPECT_EQ(a, std::vector<float>(100, 1.0f));
}

TEST(vDSPArithmeticTest, VsmaRoundsTheProductBeforeItAdds) {
    constexpr float kFactor = -1.7f;
    ForEachShape([&](const Shape& shape) {
        const std::vector<float> a = Noise(shape.count, 5);
        const std::vector<float> c = Noise(shape.count, 6);
        std::vector<float> expected(shape.count);
        for (std::size_t n = 0; n < shape.count; ++n) {
            const auto product = static_cast<float>(Double(a[n]) * Double(kFactor));
            expected[n] = static_cast<float>(Double(product) + Double(c[n]));
        }
        FloatVector first(a, shape.first, shape.offset);
        FloatVector second(c, shape.second, shape.offset);
        FloatVector out(std::vector<float>(shape.count), shape.output, shape.offset);
        vDSP_vsma(first.Data(), first.Stride(), &kFactor, second.Data(), second.Stride(),
                  out.Data(), out.Stride(), shape.count);
        EXPECT_EQ(out.Values(), expected);
        EXPECT_TRUE(out.GapsAreIntact());
        vDSP_vsma(first.Data(), first.Stride(), &kFactor, second.Data(), second.Stride(),
                  second.Data(), second.Stride(), shape.count);
        EXPECT_EQ(second.Values(), expected) << "in place";
    });
}

TEST(vDSPArithmeticTest, VsmsaMultipliesAndAddsScalars) {
    constexpr float kFactor = 2.3f;
    constexpr float kTerm = -0.9f;
    ForEachShape([&](const Shape& shape) {
        const std::vector<float> a = Noise(shape.count, 7);
        std::vector<float> expected(shape.count);
        for (std::size_t n = 0; n < shape.count; ++n) {
            const auto product = static_cast<float>(Double(a[n]) * Double(kFactor));
            expected[n] = static_cast<float>(Double(product) + Double(kTerm));
        }
        FloatVector in(a, shape.first, shape.offset);
        FloatVector out(std::vector<float>(shape.count), shape.output, shape.offset);
        vDSP_vsmsa(in.Data(), in.Stride(), &kFactor, &kTerm, out.Data(), out.Stride(), shape.count);
        EXPECT_EQ(out.Values(), expected);
        EXPECT_TRUE(out.GapsAreIntact());
    });
}

TEST(vDSPArithmeticTest, VmmsbSubtractsTheSecondProductFromTheFirst) {
    ForEachShape([&](const Shape& shape) {
        std::vector<float> values[4];
        for (unsigned v = 0; v < 4; ++v) {
            values[v] = Noise(shape.count, 8 + v);
        }
        std::vector<float> expected(shape.count);
        for (std::size_t n = 0; n < shape.count; ++n) {
            const auto left = static_cast<float>(Double(values[0][n]) * Double(values[1][n]));
            const auto right = static_cast<float>(Double(values[2][n]) * Double(values[3][n]));
            expected[n] = static_cast<float>(Double(left) - Double(right));
        }
        FloatVector a(values[0], shape.first, shape.offset);
        FloatVector b(values[1], shape.second, shape.offset);
        FloatVector c(values[2], shape.output, shape.offset);
        FloatVector d(values[3], shape.first, shape.offset);
        FloatVector out(std::vector<float>(shape.count), shape.output, shape.offset);
        vDSP_vmmsb(a.Data(), a.Stride(), b.Data(), b.Stride(), c.Data(), c.Stride(), d.Data(),
                   d.Stride(), out.Data(), out.Stride(), shape.count);
        EXPECT_EQ(out.Values(), expected);
        EXPECT_TRUE(out.GapsAreIntact());
    });
}

} // namespace
} // namespace qel::testing
