// The one interface between the transforms and the library that computes them.
//
// A transform is of one size, forward, unscaled, from interleaved to interleaved complex numbers
// and out of place: the form in which both backends do least work. The passes before and after
// turn the split form into it and back, and give the inverse by exchanging real and imaginary
// parts.
#pragma once

#include <memory>

namespace qel::platform {

class ComplexTransform {
public:
    // Prepares a transform of 2^log2Size points, log2Size from 0 to 30.
    // Returns null if memory is exhausted. Any thread.
    static std::unique_ptr<ComplexTransform> Make(unsigned log2Size);

    virtual ~ComplexTransform() = default;
    ComplexTransform(const ComplexTransform&) = delete;
    ComplexTransform& operator=(const ComplexTransform&) = delete;

    // output[k] = sum over n of input[n] e^(-2 pi i k n / size).
    // Both have 2 * size floats and do not overlap. They lie at multiples of kTransformAlignment
    // bytes, but the output of fewer than 8 points may lie 8 * size bytes after one. `input` is
    // only read. Any number of threads at the same time. Up to 2^16 points it allocates nothing;
    // beyond, it may throw std::bad_alloc.
    virtual void Run(const float* input, float* output) const = 0;

protected:
    ComplexTransform() = default;
};

// Bytes.
inline constexpr unsigned kTransformAlignment = 64;

} // namespace qel::platform
