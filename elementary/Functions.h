// The elementary functions of mathematics with the same bits on every machine.
//
// A C library picks its functions by the processor, and another C library has others, so that their
// last bits differ from machine to machine. These are formed of sums, products, quotients and
// conversions alone, each rounded as IEEE 754 asks, with no fused operation among them.
//
// Those of double precision are within kMaxUlp of the exact value. Those of single precision are
// rounded once from double precision: they are the nearest number but where the exact value lies
// within 1e-8 units in the last place of the middle between two.
//
// Ends of the range and what is no number are as in the C library; errno and flags are not
// promised.
#pragma once

#include <concepts>

namespace qel::elementary {

// Units in the last place of the result, if it is normal; of Pow, if it is from 1e-100 to 1e100.
inline constexpr double kMaxUlp = 0.85;

// Above this magnitude the bound of Sin and Cos does not hold: what is left of the angle without
// its whole turns loses a bit with every doubling. Of 2^51 and above they are no numbers.
inline constexpr double kMaxAngle = 1e6;

double Sin(double radians);
double Cos(double radians);

// Both of one angle, for little more than the cost of one.
struct SineAndCosine {
    double sine;
    double cosine;
};
SineAndCosine SinCos(double radians);

double Exp(double x);
double Log(double x);
double Pow(double base, double exponent);

// Of single precision: a float, and nothing that only turns into one.
template <std::same_as<float> Float>
Float Sin(Float radians) {
    return static_cast<float>(Sin(static_cast<double>(radians)));
}

template <std::same_as<float> Float>
Float Cos(Float radians) {
    return static_cast<float>(Cos(static_cast<double>(radians)));
}

template <std::same_as<float> Float>
Float Exp(Float x) {
    return static_cast<float>(Exp(static_cast<double>(x)));
}

template <std::same_as<float> Float>
Float Log(Float x) {
    return static_cast<float>(Log(static_cast<double>(x)));
}

template <std::same_as<float> Float>
Float Pow(Float base, Float exponent) {
    return static_cast<float>(Pow(static_cast<double>(base), static_cast<double>(exponent)));
}

float Log2(float x);
float Log10(float x);

} // namespace qel::elementary
