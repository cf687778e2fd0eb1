/*
 * Vector arithmetic, reductions, sorting and transforms on single-precision vectors. Usable from
 * C11 and C++20.
 *
 * What holds for all of them:
 *  - A vector is a pointer, a stride in elements, and a count N. Strides may be any number, also
 *    a negative one: element n is at pointer[n * stride].
 *  - Pointers need the alignment of their element only.
 *  - An output may be the same vector as an input, with the same stride. Partial overlap is not
 *    allowed.
 *  - N of 0 reads and writes no element; what a reduction then gives stands with it.
 *  - Nothing is allocated, nothing fails, and any thread may call with data of its own, unless said
 *    otherwise. Sums are single precision, in an order of our choosing.
 */
#pragma once

#include <Accelerate/vDSPTransforms.h>
#include <Accelerate/vDSPTypes.h>

#ifdef __cplusplus
extern "C" {
#endif

#pragma GCC visibility push(default)

/* --- Element by element ----------------------------------------------------------------- */

/* C = A + B. */
extern void vDSP_vadd(const float* A, vDSP_Stride IA, const float* B, vDSP_Stride IB, float* C,
                      vDSP_Stride IC, vDSP_Length N);

/* C = A - B. The vector that is subtracted comes first. */
extern void vDSP_vsub(const float* B, vDSP_Stride IB, const float* A, vDSP_Stride IA, float* C,
                      vDSP_Stride IC, vDSP_Length N);

/* C = A * B. */
extern void vDSP_vmul(const float* A, vDSP_Stride IA, const float* B, vDSP_Stride IB, float* C,
                      vDSP_Stride IC, vDSP_Length N);

/* C = A / B. The divisor comes first. */
extern void vDSP_vdiv(const float* B, vDSP_Stride IB, const float* A, vDSP_Stride IA, float* C,
                      vDSP_Stride IC, vDSP_Length N);

/* E = A * B - C * D, each product rounded before the subtraction. */
extern void vDSP_vmmsb(const float* A, vDSP_Stride IA, const float* B, vDSP_Stride IB,
                       const float* C, vDSP_Stride IC, const float* D, vDSP_Stride ID, float* E,
                       vDSP_Stride IE, vDSP_Length N);

/* C = absolute value of A. */
extern void vDSP_vabs(const float* A, vDSP_Stride IA, float* C, vDSP_Stride IC, vDSP_Length N);

/* C = A * A. */
extern void vDSP_vsq(const float* A, vDSP_Stride IA, float* C, vDSP_Stride IC, vDSP_Length N);

/* C = A + *B. */
extern void vDSP_vsadd(const float* A, vDSP_Stride IA, const float* B, float* C, vDSP_Stride IC,
                       vDSP_Length N);

/* C = A * *B. */
extern void vDSP_vsmul(const float* A, vDSP_Stride IA, const float* B, float* C, vDSP_Stride IC,
                       vDSP_Length N);

/* C = A / *B, a true division of each element. */
extern void vDSP_vsdiv(const float* A, vDSP_Stride IA, const float* B, float* C, vDSP_Stride IC,
                       vDSP_Length N);

/* D = A * *B + C, the product rounded before the addition. */
extern void vDSP_vsma(const float* A, vDSP_Stride IA, const float* B, const float* C,
                      vDSP_Stride IC, float* D, vDSP_Stride ID, vDSP_Length N);

/* D = A * *B + *C, the product rounded before the addition. */
extern void vDSP_vsmsa(const float* A, vDSP_Stride IA, const float* B, const float* C, float* D,
                       vDSP_Stride ID, vDSP_Length N);

/* C = A where A >= *B, and *B everywhere else, so also where A is NaN. */
extern void vDSP_vthr(const float* A, vDSP_Stride IA, const float* B, float* C, vDSP_Stride IC,
                      vDSP_Length N);

/* C[n] = *A + n * *B, from the number n itself: the steps are not accumulated. */
extern void vDSP_vramp(const float* A, const float* B, float* C, vDSP_Stride IC, vDSP_Length N);

/*
 * C[n] = the polynomial of degree P at B[n]; A has P + 1 coefficients, that of the highest power
 * first. Evaluated by Horner's rule.
 */
extern void vDSP_vpoly(const float* A, vDSP_Stride IA, const float* B, vDSP_Stride IB, float* C,
                       vDSP_Stride IC, vDSP_Length N, vDSP_Length P);

/* Reverses the order of the elements of C in place. */
extern void vDSP_vrvrs(float* C, vDSP_Stride IC, vDSP_Length N);

/*
 * C = A as an integer, rounded to the nearest and of two equally near to the even one; in another
 * rounding mode of the processor, on x86, as that mode says. What 32 bits do not hold, NaN among
 * it, gives the smallest integer.
 */
extern void vDSP_vfixr32(const float* A, vDSP_Stride IA, int* C, vDSP_Stride IC, vDSP_Length N);

/* --- Split-complex vectors -------------------------------------------------------------- */

/* C = A + B. */
extern void vDSP_zvadd(const DSPSplitComplex* A, vDSP_Stride IA, const DSPSplitComplex* B,
                       vDSP_Stride IB, const DSPSplitComplex* C, vDSP_Stride IC, vDSP_Length N);

/* C = A * B for Conjugate 1, C = conj(A) * B for Conjugate -1. */
extern void vDSP_zvmul(const DSPSplitComplex* A, vDSP_Stride IA, const DSPSplitComplex* B,
                       vDSP_Stride IB, const DSPSplitComplex* C, vDSP_Stride IC, vDSP_Length N,
                       int Conjugate);

/* C = conj(A) * B. */
extern void vDSP_zvcmul(const DSPSplitComplex* A, vDSP_Stride IA, const DSPSplitComplex* B,
                        vDSP_Stride IB, const DSPSplitComplex* C, vDSP_Stride IC, vDSP_Length N);

/* C = A * B with B real. */
extern void vDSP_zrvmul(const DSPSplitComplex* A, vDSP_Stride IA, const float* B, vDSP_Stride IB,
                        const DSPSplitComplex* C, vDSP_Stride IC, vDSP_Length N);

/* C = sqrt(re^2 + im^2), the squares in single precision. */
extern void vDSP_zvabs(const DSPSplitComplex* A, vDSP_Stride IA, float* C, vDSP_Stride IC,
                       vDSP_Length N);

/* C = re^2 + im^2. */
extern void vDSP_zvmags(const DSPSplitComplex* A, vDSP_Stride IA, float* C, vDSP_Stride IC,
                        vDSP_Length N);

/*
 * The greatest distance of a result of vDSP_zvphas from the exact angle, in units in the last place
 * of the exact angle.
 */
#define kVDSPPhaseMaxUlp 4

/*
 * C = atan2(im, re) in radians, from -pi to pi. An element that is exactly zero has the angle 0,
 * whatever the signs of its zeros.
 */
extern void vDSP_zvphas(const DSPSplitComplex* A, vDSP_Stride IA, float* C, vDSP_Stride IC,
                        vDSP_Length N);

/*
 * Interleaved to split: Z[n] = C[n * IC / 2]. IC counts floats, so that 2 stands for pairs that
 * follow each other.
 */
extern void vDSP_ctoz(const DSPComplex* C, vDSP_Stride IC, const DSPSplitComplex* Z, vDSP_Stride IZ,
                      vDSP_Length N);

/* Split to interleaved: C[n * IC / 2] = Z[n]. IC counts floats, as in vDSP_ctoz. */
extern void vDSP_ztoc(const DSPSplitComplex* Z, vDSP_Stride IZ, DSPComplex* C, vDSP_Stride IC,
                      vDSP_Length N);

/* --- Reductions; the result goes to *C -------------------------------------------------- */

/* Sum; 0 for N = 0. */
extern void vDSP_sve(const float* A, vDSP_Stride IA, float* C, vDSP_Length N);

/* Sum of absolute values; 0 for N = 0. */
extern void vDSP_svemg(const float* A, vDSP_Stride IA, float* C, vDSP_Length N);

/* Sum of squares; 0 for N = 0. */
extern void vDSP_svesq(const float* A, vDSP_Stride IA, float* C, vDSP_Length N);

/* Mean; 0 for N = 0. */
extern void vDSP_meanv(const float* A, vDSP_Stride IA, float* C, vDSP_Length N);

/* Square root of the mean of the squares; 0 for N = 0. */
extern void vDSP_rmsqv(const float* A, vDSP_Stride IA, float* C, vDSP_Length N);

/* Sum of the products A * B; 0 for N = 0. */
extern void vDSP_dotpr(const float* A, vDSP_Stride IA, const float* B, vDSP_Stride IB, float* C,
                       vDSP_Length N);

/* The one element of C = sum of the products A * B; 0 for N = 0. */
extern void vDSP_zdotpr(const DSPSplitComplex* A, vDSP_Stride IA, const DSPSplitComplex* B,
                        vDSP_Stride IB, const DSPSplitComplex* C, vDSP_Length N);

/* The one element of C = sum of the products conj(A) * B; 0 for N = 0. */
extern void vDSP_zidotpr(const DSPSplitComplex* A, vDSP_Stride IA, const DSPSplitComplex* B,
                         vDSP_Stride IB, const DSPSplitComplex* C, vDSP_Length N);

/* --- Extrema; a NaN is passed over, so that only numbers take part --------------------- */

/* Largest element; -infinity for N = 0. */
extern void vDSP_maxv(const float* A, vDSP_Stride IA, float* C, vDSP_Length N);

/* Smallest element; +infinity for N = 0. */
extern void vDSP_minv(const float* A, vDSP_Stride IA, float* C, vDSP_Length N);

/* Largest absolute value; 0 for N = 0. */
extern void vDSP_maxmgv(const float* A, vDSP_Stride IA, float* C, vDSP_Length N);

/* Smallest absolute value; +infinity for N = 0. */
extern void vDSP_minmgv(const float* A, vDSP_Stride IA, float* C, vDSP_Length N);

/*
 * Largest element, as vDSP_maxv, and in *I the index of the first element that has this value,
 * times IA. Without any number in A, *I is 0.
 */
extern void vDSP_maxvi(const float* A, vDSP_Stride IA, float* C, vDSP_Length* I, vDSP_Length N);

/*
 * Largest absolute value, as vDSP_maxmgv, and in *I the index of the first element that has this
 * absolute value, times IA. Without any number in A, *I is 0.
 */
extern void vDSP_maxmgvi(const float* A, vDSP_Stride IA, float* C, vDSP_Length* I, vDSP_Length N);

/*
 * Counts changes of sign between neighbours and stops when B of them are found. An element is
 * negative if it is below 0: zeros of either sign, and NaN, are on the positive side.
 *
 * *C receives the index of the element after the last change found times IA (0 if there is none),
 * *D the count. Only the N elements of A are read.
 */
extern void vDSP_nzcros(const float* A, vDSP_Stride IA, vDSP_Length B, vDSP_Length* C,
                        vDSP_Length* D, vDSP_Length N);

/* --- Sorting. Order 1 ascends, -1 descends; NaN comes last either way ------------------ */

/* Sorts C in place. */
extern void vDSP_vsort(float* C, vDSP_Length N, int Order);

/*
 * Sorts the N indices in I by the elements of C that they name, in place; C stays as it is. Equal
 * elements, and NaN among themselves, stand in the order of their indices. Temporary is not used.
 */
extern void vDSP_vsorti(const float* C, vDSP_Length* I, vDSP_Length* Temporary, vDSP_Length N,
                        int Order);

/* The same for elements of double precision. */
extern void vDSP_vsortiD(const double* C, vDSP_Length* I, vDSP_Length* Temporary, vDSP_Length N,
                         int Order);

/* --- Filters and matrices; C must not overlap an input ---------------------------------- */

/*
 * C[n] = sum over p below P of A[n + p] * F[p], for n below N: a correlation. A has N + P - 1
 * elements. With F at the filter's last element and a negative IF it is a convolution.
 */
extern void vDSP_conv(const float* A, vDSP_Stride IA, const float* F, vDSP_Stride IF, float* C,
                      vDSP_Stride IC, vDSP_Length N, vDSP_Length P);

/*
 * C[n] = sum over p below P of A[n * DF + p] * F[p], for n below N: the same correlation, kept at
 * every DF-th place. A has (N - 1) * DF + P elements; all strides are 1.
 */
extern void vDSP_desamp(const float* A, vDSP_Stride DF, const float* F, float* C, vDSP_Length N,
                        vDSP_Length P);

/*
 * C = A * B: A has M rows of P, B has P rows of N, C has M rows of N, each stored row after row.
 * The strides are those of neighbouring elements within the whole matrix.
 */
extern void vDSP_mmul(const float* A, vDSP_Stride IA, const float* B, vDSP_Stride IB, float* C,
                      vDSP_Stride IC, vDSP_Length M, vDSP_Length N, vDSP_Length P);

#pragma GCC visibility pop

#ifdef __cplusplus
}
#endif
