// What FFTW takes from the C library of mathematics, in whose place the linker puts these: the
// factors of its transforms must not depend on the processor or the C library.

#include "elementary/Functions.h"

extern "C" {

// The names are the linker's, for --wrap.
void __wrap_sincos(double radians, double* sine, double* cosine);
double __wrap_log(double x);

void __wrap_sincos(double radians, double* sine, double* cosine) {
    const auto both = qel::elementary::SinCos(radians);
    *sine = both.sine;
    *cosine = both.cosine;
}

double __wrap_log(double x) {
    return qel::elementary::Log(x);
}

} // extern "C"
