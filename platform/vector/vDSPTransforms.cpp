// The published transforms: a setup, and around the complex transform the passes, the inverse by
// exchange of real and imaginary part, and other strides than 1.

#include "platform/vector/PackedRealPasses.h"
#include "platform/vector/TransformScratch.h"
#include "platform/vector/TransformTables.h"

#include <Accelerate/vDSPTransforms.h>

#include <algorithm>
#include <cstdint>
#include <new>
#include <utility>

struct OpaqueFFTSetup {
    vDSP_Length maxLog2Size;
};

namespace qel::platform {
namespace {

// Up to this size a setup prepares its own length and the scratch of the thread that makes it, so
// that transforms of that length in that thread allocate nothing. Above it the memory would be
// large, and is left to the first transform.
constexpr vDSP_Length kPreparedLog2Size = 16;

// Floats between the two halves of the scratch. The offset keeps them off the same places of the
// processor's caches, which arrays that lie a power of two apart would fight for.
constexpr std::size_t kScratchGap = 64;

constexpr std::size_t ScratchFloats(std::size_t points) {
    return 4 * points + kScratchGap;
}

// The two interleaved vectors that a transform of `points` goes between.
struct Workspace {
    explicit Workspace(std::size_t points)
        : input(TransformScratch::OfThisThread(TransformScratch::Use::kTransform,
                                               ScratchFloats(points))),
          output(input + 2 * points + kScratchGap) {}

    float* input;
    float* output;
};

const ComplexTransform& Transform(unsigned log2Size) {
    const ComplexTransform* transform = FindTransform(log2Size);
    if (transform == nullptr) {
        throw std::bad_alloc();
    }
    return *transform;
}

const PackedRealFactors& Factors(unsigned log2Size) {
    const PackedRealFactors* factors = FindPackedRealFactors(log2Size);
    if (factors == nullptr) {
        throw std::bad_alloc();
    }
    return *factors;
}

// Exchanging real and imaginary part before and after makes the forward transform an inverse one.
void ComplexInPlace(float* re, float* im, unsigned log2Size, FFTDirection direction) {
    if (direction == kFFTDirection_Inverse) {
        std::swap(re, im);
    }
    const std::size_t points = std::size_t{1} << log2Size;
    const Workspace work(points);
    InterleavePass(re, im, work.input, points);
    Transform(log2Size).Run(work.input, work.output);
    DeinterleavePass(work.output, re, im, points);
}

bool IsAligned(const float* samples) {
    return reinterpret_cast<std::uintptr_t>(samples) % kTransformAlignment == 0;
}

// Samples that already lie as the transform takes them, and may be taken from where they are.
void PackedRealFromPairs(const float* samples, float* re, float* im, unsigned log2Size) {
    const std::size_t points = std::size_t{1} << (log2Size - 1);
    const ComplexTransform& transform = Transform(log2Size - 1);
    const PackedRealFactors& factors = Factors(log2Size);
    const Workspace work(points);
    if (!IsAligned(samples)) {
        std::copy_n(samples, 2 * points, work.input);
        samples = work.input;
    }
    transform.Run(samples, work.output);
    SplitPass(work.output, factors, re, im, points);
}

void PackedRealInPlace(float* re, float* im, unsigned log2Size, FFTDirection direction) {
    const std::size_t points = std::size_t{1} << (log2Size - 1);
    const ComplexTransform& transform = Transform(log2Size - 1);
    const PackedRealFactors& factors = Factors(log2Size);
    const Workspace work(points);
    if (direction == kFFTDirection_Inverse) {
        MergePass(re, im, factors, work.input, points);
        transform.Run(work.input, work.output);
        DeinterleavePass(work.output, im, re, points);
    } else {
        InterleavePass(re, im, work.input, points);
        transform.Run(work.input, work.output);
        SplitPass(work.output, factors, re, im, points);
    }
}

// Runs transform(re, im) on a copy of unit stride of `points` elements of a vector of any stride.
template <class InPlace>
void WithUnitStride(const DSPSplitComplex& vector, vDSP_Stride stride, std::size_t points,
                    const InPlace& transform) {
    if (stride == 1) {
        transform(vector.realp, vector.imagp);
        return;
    }
    float* const re =
        TransformScratch::OfThisThread(TransformScratch::Use::kUnitStride, 2 * points);
    float* const im = re + points;
    for (std::size_t n = 0; n < points; ++n) {
        re[n] = vector.realp[static_cast<vDSP_Stride>(n) * stride];
        im[n] = vector.imagp[static_cast<vDSP_Stride>(n) * stride];
    }
    transform(re, im);
    for (std::size_t n = 0; n < points; ++n) {
        vector.realp[static_cast<vDSP_Stride>(n) * stride] = re[n];
        vector.imagp[static_cast<vDSP_Stride>(n) * stride] = im[n];
    }
}

bool Prepare(unsigned log2Size) {
    if (FindTransform(log2Size) == nullptr) {
        return false;
    }
    try {
        TransformScratch::OfThisThread(TransformScratch::Use::kTransform,
                                       ScratchFloats(std::size_t{1} << log2Size));
    } catch (const std::bad_alloc&) {
        return false;
    }
    if (log2Size == 0) {
        return true;
    }
    return FindTransform(log2Size - 1) != nullptr && FindPackedRealFactors(log2Size) != nullptr;
}

bool Covers(FFTSetup setup, vDSP_Length log2Size) {
    return setup != nullptr && log2Size <= setup->maxLog2Size;
}

} // namespace
} // namespace qel::platform

using namespace qel::platform;

FFTSetup vDSP_create_fftsetup(vDSP_Length Log2n, FFTRadix Radix) {
    if (Log2n > kMaxLog2Size || Radix != kFFTRadix2) {
        return nullptr;
    }
    if (Log2n <= kPreparedLog2Size && !Prepare(static_cast<unsigned>(Log2n))) {
        return nullptr;
    }
    return new (std::nothrow) OpaqueFFTSetup{Log2n};
}

void vDSP_destroy_fftsetup(FFTSetup setup) {
    delete setup;
}

void vDSP_fft_zip(FFTSetup setup, const DSPSplitComplex* C, vDSP_Stride IC, vDSP_Length Log2n,
                  FFTDirection Direction) {
    if (!Covers(setup, Log2n)) {
        return;
    }
    const auto log2Size = static_cast<unsigned>(Log2n);
    WithUnitStride(*C, IC, std::size_t{1} << log2Size, [log2Size, Direction](float* re, float* im) {
        ComplexInPlace(re, im, log2Size, Direction);
    });
}

void vDSP_fft_zrip(FFTSetup setup, const DSPSplitComplex* C, vDSP_Stride IC, vDSP_Length Log2n,
                   FFTDirection Direction) {
    if (!Covers(setup, Log2n)) {
        return;
    }
    if (Log2n == 0) {
        // One sample, whose spectrum is itself; the factors are those of every other size.
        if (Direction != kFFTDirection_Inverse) {
            *C->realp *= 2.0f;
        }
        return;
    }
    const auto log2Size = static_cast<unsigned>(Log2n);
    WithUnitStride(*C, IC, std::size_t{1} << (log2Size - 1),
                   [log2Size, Direction](float* re, float* im) {
                       PackedRealInPlace(re, im, log2Size, Direction);
                   });
}

void vDSP_fft_zrop(FFTSetup setup, const DSPSplitComplex* A, vDSP_Stride IA,
                   const DSPSplitComplex* C, vDSP_Stride IC, vDSP_Length Log2n,
                   FFTDirection Direction) {
    if (!Covers(setup, Log2n)) {
        return;
    }
    const bool arePairs = IA == 2 && A->imagp == A->realp + 1;
    if (arePairs && IC == 1 && Log2n > 0 && Direction != kFFTDirection_Inverse) {
        PackedRealFromPairs(A->realp, C->realp, C->imagp, static_cast<unsigned>(Log2n));
        return;
    }
    *C->realp = *A->realp; // all there is of one sample
    const auto points = static_cast<vDSP_Stride>((std::size_t{1} << Log2n) / 2);
    for (vDSP_Stride n = 0; n < points; ++n) {
        C->realp[n * IC] = A->realp[n * IA];
        C->imagp[n * IC] = A->imagp[n * IA];
    }
    vDSP_fft_zrip(setup, C, IC, Log2n, Direction);
}
