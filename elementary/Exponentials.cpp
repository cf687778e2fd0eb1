#include "elementary/DoubleDouble.h"
#include "elementary/Functions.h"

#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>

namespace qel::elementary {
namespace {

constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr int kMantissaBits = 52;
constexpr int kExponentBias = 1023;

// The logarithm of 2 in two parts. Multiples of the first, 32 bits long, by exponents are exact.
constexpr double kLog2 = 0x1.62e42feep-1;
constexpr double kRestOfLog2 = 0x1.a39ef35793c76p-33;

double PowerOfTwo(int exponent) {
    return std::bit_cast<double>(static_cast<std::uint64_t>(exponent + kExponentBias)
                                 << kMantissaBits);
}

// (exp r - 1 - r) / r^2 for r within half a logarithm of 2: the power series, whose first term left
// out is below 1e-18 of exp r.
double ExponentialSeries(double r) {
    constexpr double kTerms[] = {1.0 / 2,       1.0 / 6,        1.0 / 24,        1.0 / 120,
                                 1.0 / 720,     1.0 / 5040,     1.0 / 40320,     1.0 / 362880,
                                 1.0 / 3628800, 1.0 / 39916800, 1.0 / 479001600, 1.0 / 6227020800};
    double sum = kTerms[11];
    for (int i = 10; i >= 0; --i) {
        sum = sum * r + kTerms[i];
    }
    return sum;
}

// exp(x.high + x.low). In two steps up or down to the result, as a number of the kind 2^n with n
// beyond the range of exponents may be needed.
double ExpOfSum(DoubleDouble x) {
    constexpr double kPerLog2 = 0x1.71547652b82fep+0;
    constexpr double kOverflows = 710.0;
    constexpr double kUnderflows = -746.0;
    if (x.high > kOverflows) {
        return kInfinity;
    }
    if (x.high < kUnderflows) {
        return 0.0;
    }
    const double steps = x.high * kPerLog2;
    const int n = static_cast<int>(steps + (steps < 0.0 ? -0.5 : 0.5));
    const DoubleDouble r = Sum(x.high - n * kLog2, x.low - n * kRestOfLog2);
    const DoubleDouble head = SumOfOrdered(1.0, r.high);
    const double tail = r.high * r.high * ExponentialSeries(r.high) + r.low * (1.0 + r.high);
    const double value = head.high + (head.low + tail);
    const int half = n / 2;
    return value * PowerOfTwo(half) * PowerOfTwo(n - half);
}

// ln x for positive finite x. With x = 2^e m and m about 1, it is e ln 2 + ln m, and ln m is
// 2 artanh s = 2 (s + s^3 / 3 + s^5 / 5 + ...) for s = (m - 1) / (m + 1), at most 0.172. The first
// term left out is below 1e-19 of the sum.
DoubleDouble LogOfPositive(double x) {
    constexpr double kLeastNormal = 0x1p-1022;
    constexpr double kRaise = 0x1p54;
    constexpr double kRootHalf = 0x1.6a09e667f3bcdp-1;
    constexpr double kTerms[] = {1.0 / 3,  1.0 / 5,  1.0 / 7,  1.0 / 9,  1.0 / 11, 1.0 / 13,
                                 1.0 / 15, 1.0 / 17, 1.0 / 19, 1.0 / 21, 1.0 / 23};
    int raised = 0;
    if (x < kLeastNormal) {
        x *= kRaise;
        raised = 54;
    }
    const auto bits = std::bit_cast<std::uint64_t>(x);
    const auto fromRoot = static_cast<std::int64_t>(bits - std::bit_cast<std::uint64_t>(kRootHalf));
    const std::int64_t exponent = fromRoot >> kMantissaBits;
    const double m =
        std::bit_cast<double>(bits - (static_cast<std::uint64_t>(exponent) << kMantissaBits));

    const DoubleDouble divisor = Sum(m, 1.0);
    const double quotient = (m - 1.0) / divisor.high;
    const DoubleDouble back = Product(quotient, divisor.high);
    const double rest =
        (((m - 1.0) - back.high) - back.low - quotient * divisor.low) / divisor.high;

    const double z = quotient * quotient;
    double series = kTerms[10];
    for (int i = 9; i >= 0; --i) {
        series = series * z + kTerms[i];
    }
    const double twice = 2.0 * quotient;
    const double tail = twice * z * series + 2.0 * rest;
    const auto e = static_cast<double>(exponent - raised);
    const DoubleDouble sum = Sum(e * kLog2, twice);
    return SumOfOrdered(sum.high, sum.low + (tail + e * kRestOfLog2));
}

bool IsWhole(double x) {
    return std::floor(x) == x;
}

bool IsOdd(double x) {
    constexpr double kAllEven = 0x1p53;
    return std::abs(x) < kAllEven && IsWhole(x) && !IsWhole(x / 2.0);
}

// Of a base of 0 or infinity, magnitudes.
double PowOfEnd(bool isInfinite, double exponent) {
    return isInfinite == (exponent > 0.0) ? kInfinity : 0.0;
}

// Of a base of 0 or above and an exponent other than 0.
double PowOfMagnitude(double base, double exponent) {
    if (base == 1.0) {
        return 1.0;
    }
    if (base == 0.0 || base == kInfinity) {
        return PowOfEnd(base != 0.0, exponent);
    }
    if (std::isinf(exponent)) {
        return PowOfEnd(base > 1.0, exponent);
    }
    const DoubleDouble log = LogOfPositive(base);
    // Far beyond where results end; products stay finite.
    constexpr double kFar = 1e300;
    if (std::abs(exponent) > kFar) {
        return PowOfEnd(log.high > 0.0, exponent);
    }
    const DoubleDouble product = Product(exponent, log.high);
    return ExpOfSum(SumOfOrdered(product.high, product.low + exponent * log.low));
}

} // namespace

double Exp(double x) {
    return x != x ? x : ExpOfSum({x, 0.0});
}

double Log(double x) {
    if (!(x >= 0.0)) {
        return kNaN;
    }
    if (x == 0.0) {
        return -kInfinity;
    }
    return x == kInfinity ? x : LogOfPositive(x).high;
}

double Pow(double base, double exponent) {
    if (exponent == 0.0 || base == 1.0) {
        return 1.0;
    }
    if (base != base || exponent != exponent) {
        return kNaN;
    }
    if (!std::signbit(base)) {
        return PowOfMagnitude(base, exponent);
    }
    const bool isFinite = base < 0.0 && base > -kInfinity;
    if (isFinite && !IsWhole(exponent)) {
        return kNaN;
    }
    const double magnitude = PowOfMagnitude(-base, exponent);
    return IsOdd(exponent) ? -magnitude : magnitude;
}

float Log2(float x) {
    constexpr double kPerLog2 = 0x1.71547652b82fep+0;
    return static_cast<float>(Log(static_cast<double>(x)) * kPerLog2);
}

float Log10(float x) {
    constexpr double kPerLog10 = 0x1.bcb7b1526e50ep-2;
    return static_cast<float>(Log(static_cast<double>(x)) * kPerLog10);
}

} // namespace qel::elementary
