// What a vector function passes to its loop: a pointer and a stride in elements.
#pragma once

#include <Accelerate/vDSPTypes.h>

#include <cstddef>

namespace qel::platform {

// A vector that is read.
struct In {
    const float* data;
    vDSP_Stride stride;

    const float* At(std::size_t n) const { return data + static_cast<vDSP_Stride>(n) * stride; }
};

// A vector that is written.
struct Out {
    float* data;
    vDSP_Stride stride;

    float* At(std::size_t n) const { return data + static_cast<vDSP_Stride>(n) * stride; }
};

// A split-complex vector that is read.
struct ComplexIn {
    In re;
    In im;

    ComplexIn(const DSPSplitComplex* vector, vDSP_Stride stride)
        : re{vector->realp, stride}, im{vector->imagp, stride} {}
};

// A split-complex vector that is written.
struct ComplexOut {
    Out re;
    Out im;

    ComplexOut(const DSPSplitComplex* vector, vDSP_Stride stride)
        : re{vector->realp, stride}, im{vector->imagp, stride} {}
};

} // namespace qel::platform
