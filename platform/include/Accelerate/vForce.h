/*
 * Elementary functions over whole vectors. Usable from C11 and C++20.
 *
 * Each takes the count by pointer; a count of 0 or below does nothing. Output and input may be the
 * same vector, and need the alignment of a float only. Any thread.
 */
#pragma once

#ifdef __cplusplus
extern "C" {
#endif

#pragma GCC visibility push(default)

/*
 * The greatest distance of a result of vvlogf or vvlog10f from the exact logarithm of its argument,
 * in units in the last place of the exact value. Denormal arguments included, where the thread does
 * not take them as zero.
 */
#define kVForceLogMaxUlp 4

/*
 * The same for vvexpf, where the result is no denormal number.
 */
#define kVForceExpMaxUlp 2

/*
 * y[i] = natural logarithm of x[i], for i below *n. Zero of either sign gives -infinity, +infinity
 * gives itself, a negative argument and a NaN give NaN.
 */
extern void vvlogf(float* y, const float* x, const int* n);

/*
 * y[i] = logarithm to base 10 of x[i], for i below *n, with the same special values as vvlogf.
 */
extern void vvlog10f(float* y, const float* x, const int* n);

/*
 * y[i] = e to the power of x[i], for i below *n. -infinity gives 0, what lies above 88.73 gives
 * infinity, a NaN gives NaN.
 */
extern void vvexpf(float* y, const float* x, const int* n);

#pragma GCC visibility pop

#ifdef __cplusplus
}
#endif
