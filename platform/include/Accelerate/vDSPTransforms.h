/*
 * Fourier transforms of split-complex vectors whose length is a power of two. Usable from C11 and
 * C++20.
 *
 * A setup is made once, serves every length up to its own, and may be used by several threads at
 * the same time. A transform allocates only where a length is used for the first time in its thread
 * or in the process; std::bad_alloc leaves it if that fails, and the vector is then unchanged. With
 * a null setup, or a length beyond that of the setup, a transform leaves the vector as it is.
 */
#pragma once

#include <Accelerate/vDSPTypes.h>

#ifdef __cplusplus
extern "C" {
#endif

#pragma GCC visibility push(default)

typedef struct OpaqueFFTSetup* FFTSetup;

typedef int FFTDirection;
typedef int FFTRadix;

enum { kFFTDirection_Forward = +1, kFFTDirection_Inverse = -1 };
enum { FFT_FORWARD = kFFTDirection_Forward, FFT_INVERSE = kFFTDirection_Inverse };

enum { kFFTRadix2 = 0, kFFTRadix3 = 1, kFFTRadix5 = 2 };
enum { FFT_RADIX2 = kFFTRadix2, FFT_RADIX3 = kFFTRadix3, FFT_RADIX5 = kFFTRadix5 };

/*
 * Makes a setup for transforms of up to 2^Log2n points.
 *
 * Log2n 0 to 30. Radix  kFFTRadix2. Any thread.
 * Returns a setup that vDSP_destroy_fftsetup gives back, or null: Log2n above 30, another radix, or
 * memory exhausted.
 */
extern FFTSetup vDSP_create_fftsetup(vDSP_Length Log2n, FFTRadix Radix);

/* Gives a setup back; null is allowed. Any thread, when no transform uses the setup any more. */
extern void vDSP_destroy_fftsetup(FFTSetup setup);

/*
 * The complex transform of the 2^Log2n elements of C with stride IC, in place:
 *   forward (kFFTDirection_Forward)  X[k] = sum over n of x[n] e^(-2 pi i k n / N)
 *   inverse (kFFTDirection_Inverse)  the same sum with e^(+2 pi i k n / N)
 * Neither is scaled, so that one after the other multiplies by N.
 */
extern void vDSP_fft_zip(FFTSetup setup, const DSPSplitComplex* C, vDSP_Stride IC,
                         vDSP_Length Log2n, FFTDirection Direction);

/*
 * The transform of N = 2^Log2n real samples x, packed into N / 2 complex elements, in place.
 *
 * The samples stand as C[m] = x[2m] + i x[2m + 1] (vDSP_ctoz makes that of a plain vector). With X
 * the plain transform, the packed spectrum is
 *   realp[0] = 2 X[0], imagp[0] = 2 X[N / 2], both real; C[k] = 2 X[k] for 1 <= k < N / 2.
 * Forward goes from samples to spectrum: twice the plain transform. Inverse goes back, unscaled, so
 * that forward and then inverse multiply by 2 N. With N = 1 only realp[0] is used.
 */
extern void vDSP_fft_zrip(FFTSetup setup, const DSPSplitComplex* C, vDSP_Stride IC,
                          vDSP_Length Log2n, FFTDirection Direction);

/*
 * The same from A to C, which do not overlap; A stays as it is. Samples need not be split: with
 * realp at the first, imagp at the second and an IA of 2, A is a plain vector, and that is the
 * quickest way from samples to a spectrum.
 */
extern void vDSP_fft_zrop(FFTSetup setup, const DSPSplitComplex* A, vDSP_Stride IA,
                          const DSPSplitComplex* C, vDSP_Stride IC, vDSP_Length Log2n,
                          FFTDirection Direction);

#pragma GCC visibility pop

#ifdef __cplusplus
}
#endif
