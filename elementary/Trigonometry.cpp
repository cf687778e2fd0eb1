#include "elementary/DoubleDouble.h"
#include "elementary/Functions.h"

#include <cstdint>
#include <limits>

namespace qel::elementary {
namespace {

// sin r / r - 1 over r^2, and cos r - 1 + r^2 / 2 over r^4, in z = r^2: the power series, whose
// first terms left out are below 1e-19 for r within an eighth of a turn.
double SineSeries(double z) {
    constexpr double kTerms[] = {
        -1.0 / 6,        1.0 / 120,        -1.0 / 5040,          1.0 / 362880,
        -1.0 / 39916800, 1.0 / 6227020800, -1.0 / 1307674368000, 1.0 / 355687428096000};
    double sum = kTerms[7];
    for (int i = 6; i >= 0; --i) {
        sum = sum * z + kTerms[i];
    }
    return sum;
}

double CosineSeries(double z) {
    constexpr double kTerms[] = {
        1.0 / 24,        -1.0 / 720,         1.0 / 40320,         -1.0 / 3628800,
        1.0 / 479001600, -1.0 / 87178291200, 1.0 / 20922789888000};
    double sum = kTerms[6];
    for (int i = 5; i >= 0; --i) {
        sum = sum * z + kTerms[i];
    }
    return sum;
}

double SineWithinEighth(DoubleDouble r) {
    const double z = r.high * r.high;
    const double correction = z * r.high * SineSeries(z) + r.low * (1.0 - 0.5 * z);
    return r.high + correction;
}

double CosineWithinEighth(DoubleDouble r) {
    const double z = r.high * r.high;
    const double half = 0.5 * z;
    const double head = 1.0 - half;
    const double lost = (1.0 - head) - half;
    return head + (lost + (z * z * CosineSeries(z) - r.high * r.low));
}

// An angle less a whole number of quarter turns, and that number modulo 4.
struct Reduced {
    DoubleDouble rest;
    unsigned quarter;
};

// Pi / 2 is the sum of three numbers. Of the first two, 33 bits long, multiples by 20 bits are
// exact.
Reduced WithoutQuarters(double radians) {
    constexpr double kQuartersPerRadian = 0x1.45f306dc9c883p-1;
    constexpr double kFirst = 0x1.921fb544p+0;
    constexpr double kSecond = 0x1.0b4611a6p-34;
    constexpr double kThird = 0x1.3198a2e037073p-69;
    const double quarters = radians * kQuartersPerRadian;
    const auto whole = static_cast<std::int64_t>(quarters + (quarters < 0.0 ? -0.5 : 0.5));
    const auto n = static_cast<double>(whole);
    const DoubleDouble first = Sum(radians - n * kFirst, -(n * kSecond));
    return {SumOfOrdered(first.high, first.low - n * kThird), static_cast<unsigned>(whole & 3)};
}

bool IsReducible(double radians) {
    return radians > -0x1p51 && radians < 0x1p51;
}

// The sine of an angle `quarters` quarter turns further on.
double SineAfter(double radians, unsigned quarters) {
    if (!IsReducible(radians)) {
        return std::numeric_limits<double>::quiet_NaN();
    }
    const Reduced angle = WithoutQuarters(radians);
    const unsigned quarter = (angle.quarter + quarters) & 3;
    const double value =
        (quarter & 1) != 0 ? CosineWithinEighth(angle.rest) : SineWithinEighth(angle.rest);
    return (quarter & 2) != 0 ? -value : value;
}

} // namespace

double Sin(double radians) {
    return radians == 0.0 ? radians : SineAfter(radians, 0); // 0 keeps its sign
}

double Cos(double radians) {
    return SineAfter(radians, 1);
}

SineAndCosine SinCos(double radians) {
    if (radians == 0.0 || !IsReducible(radians)) {
        return {Sin(radians), Cos(radians)};
    }
    const Reduced angle = WithoutQuarters(radians);
    const double sine = SineWithinEighth(angle.rest);
    const double cosine = CosineWithinEighth(angle.rest);
    switch (angle.quarter) {
    case 0:
        return {sine, cosine};
    case 1:
        return {cosine, -sine};
    case 2:
        return {-sine, -cosine};
    default:
        return {-cosine, sine};
    }
}

} // namespace qel::elementary
