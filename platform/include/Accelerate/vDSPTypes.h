/* The types of the vector functions. Usable from C11 and C++20. */
#pragma once

#ifdef __cplusplus
extern "C" {
#endif

typedef unsigned long vDSP_Length;
typedef long vDSP_Stride;

/* One complex number; arrays of it are "interleaved". */
typedef struct DSPComplex {
    float real;
    float imag;
} DSPComplex;

/* A complex vector as two real ones, which the record does not own: the "split" form. */
typedef struct DSPSplitComplex {
    float* realp;
    float* imagp;
} DSPSplitComplex;

#ifdef __cplusplus
}
#endif
