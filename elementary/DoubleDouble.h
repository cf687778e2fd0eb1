// Numbers of twice the precision: the unevaluated sum of two doubles. Sums and products are those
// of T. J. Dekker, A floating-point technique for extending the available precision, Numerische
// Mathematik 18, 1971.
#pragma once

namespace qel::elementary {

struct DoubleDouble {
    double high;
    double low; // at most half a unit in the last place of `high`
};

// a + b exactly, where a is 0 or its magnitude is not below that of b.
inline DoubleDouble SumOfOrdered(double a, double b) {
    const double sum = a + b;
    return {sum, b - (sum - a)};
}

// a + b exactly.
inline DoubleDouble Sum(double a, double b) {
    const double sum = a + b;
    const double added = sum - a;
    return {sum, (a - (sum - added)) + (b - added)};
}

// The upper 26 bits of a number and the rest, for magnitudes below 1e300.
inline DoubleDouble Split(double a) {
    constexpr double kSplitter = 0x1p27 + 1.0;
    const double scaled = kSplitter * a;
    const double high = scaled - (scaled - a);
    return {high, a - high};
}

// a * b exactly, unless it overflows or its lower half underflows.
inline DoubleDouble Product(double a, double b) {
    const double product = a * b;
    const DoubleDouble x = Split(a);
    const DoubleDouble y = Split(b);
    const double rest = ((x.high * y.high - product) + x.high * y.low + x.low * y.high);
    return {product, rest + x.low * y.low};
}

} // namespace qel::elementary
